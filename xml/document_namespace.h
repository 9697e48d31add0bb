#ifndef ZOR_XML_DOCUMENT_NAMESPACE_H
#define ZOR_XML_DOCUMENT_NAMESPACE_H

namespace mu
{

/// What every document of the system binds to the prefix "zor".
inline constexpr wchar_t g_wszDocumentNamespace[] = L"http://zor.example/documents";

} // namespace mu

#endif
