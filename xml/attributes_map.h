#ifndef ZOR_XML_ATTRIBUTES_MAP_H
#define ZOR_XML_ATTRIBUTES_MAP_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "xml/tree_text.h"

namespace mu
{

struct SNodeAttribute
{
    STreeText m_name;
    STreeText m_value;
};

template <typename TChar>
class CDocumentParser;

} // namespace mu

/// An element's attributes: qualified names and unescaped values, in ascending order of the names
/// by unsigned units, each name once. Stored as one sorted array.
///
/// Changing operations throw std::bad_alloc and then leave the map as it was.
class CNodeAttributesMap
{
public:
    CNodeAttributesMap() = default;
    CNodeAttributesMap(const CNodeAttributesMap& source);
    CNodeAttributesMap& operator=(const CNodeAttributesMap&) = delete;
    ~CNodeAttributesMap();

    const mu::SNodeAttribute* begin() const { return m_pItems; }
    const mu::SNodeAttribute* end() const { return m_pItems + m_uCount; }
    std::size_t size() const { return m_uCount; }
    bool empty() const { return m_uCount == 0; }

    /// Null if there is none of that name.
    const mu::SNodeAttribute* Find(std::wstring_view wsName) const;
    /// Adds the attribute or replaces its value.
    void Set(std::wstring_view wsName, std::wstring_view wsValue);
    /// Adds the attributes of the other map; where a name is in both, the other's value replaces
    /// this one's if bReplace. Linear in both.
    void Add(const CNodeAttributesMap& other, bool bReplace);
    /// Drops the attributes whose names the predicate accepts.
    template <typename TPredicate>
    void EraseIf(TPredicate isDropped)
    {
        std::uint32_t uKept = 0;
        for (mu::SNodeAttribute* p = m_pItems; p != m_pItems + m_uCount; ++p)
        {
            if (isDropped(p->m_name.View()))
            {
                p->m_name.Release();
                p->m_value.Release();
            }
            else
            {
                m_pItems[uKept] = *p;
                ++uKept;
            }
        }
        m_uCount = uKept;
    }

    /// Reads attributes (name = "value" or 'value', entities decoded) from *ppos up to "/", ">" or
    /// chEnd and adds those whose names are not present. On success *ppos stands at the character
    /// that ended the list. With a chEnd of NUL only "/" and ">" end the list. A text that ends
    /// before the list fails. On failure the map and *ppos are as they were.
    bool Parse(const wchar_t** ppos, wchar_t chEnd);

    /// Appends the attributes as they stand in a tag, each with a blank before it.
    void ToTagAttributes(std::wstring& wsOut) const;
    int ToTagAttributesLength() const; ///< the units that this appends

    /// Adds the other map's attributes, which replace those of the same name. The attributes that
    /// steer a merge ("__merge_options", "erase_children") stay behind.
    void MergeWith(const CNodeAttributesMap& other);

private:
    template <typename TChar>
    friend class mu::CDocumentParser;

    mu::SNodeAttribute* LowerBound(std::wstring_view wsName) const;
    bool OwnsItems() const { return m_uHeapCapacity != 0; }
    void ReserveOneMore();

    // Sorted. With a heap capacity of 0 the array lies in the document's arena, without spare room.
    mu::SNodeAttribute* m_pItems = nullptr;
    std::uint32_t m_uCount = 0;
    std::uint32_t m_uHeapCapacity = 0;
};

#endif
