#ifndef ZOR_XML_TREE_TEXT_H
#define ZOR_XML_TREE_TEXT_H

#include <cstdint>
#include <string>
#include <string_view>

namespace mu
{

/// A text of an element tree: a name, a value or an element's text. It either lies in the memory
/// of its document or owns a heap block. A plain record, so that arrays of it are moved as bytes:
/// whoever holds it calls Release().
struct STreeText
{
    wchar_t* m_pText = nullptr;
    std::uint32_t m_uLength = 0;
    std::uint32_t m_uHeapCapacity = 0; ///< 0: the text owns nothing

    std::wstring_view View() const { return {m_pText, m_uLength}; }

    /// Takes over a copy of the text, which may be a piece of this one. Memory is used again where
    /// the new text fits. Throws std::bad_alloc, also from 2^30 units up; the old text then stays.
    void Assign(std::wstring_view wsText);
    void Release();
};

/// The order of names on every machine: by unsigned units, a prefix first.
bool IsTextBefore(std::wstring_view wsA, std::wstring_view wsB);

struct STextLess
{
    using is_transparent = void;
    bool operator()(std::wstring_view wsA, std::wstring_view wsB) const
    {
        return IsTextBefore(wsA, wsB);
    }
};

} // namespace mu

#endif
