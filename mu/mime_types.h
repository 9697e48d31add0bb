#ifndef ZOR_MU_MIME_TYPES_H
#define ZOR_MU_MIME_TYPES_H

#include <string>

namespace mu
{

struct SMimeTypeForFileExtensions
{
    const char* m_szExtensions; ///< separated by commas, in lower case
    const char* m_szMimeType;
};

inline constexpr SMimeTypeForFileExtensions g_MimeTypesForFileExtensions[] = {
    {"jpg,jpeg", "image/jpeg"}, {"gif", "image/gif"},         {"png", "image/png"},
    {"h264", "video/H264"},     {"flv", "video/x-flv"},       {"mp4", "video/mp4"},
    {"aac", "audio/aac"},       {"txt", "text/plain"},        {"mfd", "text/xml"},
    {"gz", "application/gzip"}, {"tar", "application/x-tar"}, {"js", "application/javascript"},
    {"htm,html", "text/html"},  {"css", "text/css"},
};

/// The MIME type of a file extension, which is given without its dot and in any case. False, with
/// the string as it was, for one that the table does not have.
bool FindContentTypeForFileExt(const char* szExtension, int iLength, std::string& strContentType);

/// Whether the extension has a type that begins with "image/".
bool IsImageFileExtension(const char* szExtension, int iLength);

} // namespace mu

#endif
