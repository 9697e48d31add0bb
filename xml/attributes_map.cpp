#include "xml/attributes_map.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace
{

mu::SNodeAttribute* AllocateItems(mu::SNodeAttribute* pOld, std::size_t uCount)
{
    if (uCount > PTRDIFF_MAX / sizeof(mu::SNodeAttribute))
    {
        throw std::bad_alloc();
    }
    void* const pItems =
        std::realloc(static_cast<void*>(pOld), uCount * sizeof(mu::SNodeAttribute));
    if (pItems == nullptr)
    {
        throw std::bad_alloc();
    }
    return static_cast<mu::SNodeAttribute*>(pItems);
}

} // namespace

CNodeAttributesMap::CNodeAttributesMap(const CNodeAttributesMap& source) : CNodeAttributesMap()
{
    Add(source, false);
}

CNodeAttributesMap::~CNodeAttributesMap()
{
    for (std::size_t i = 0; i < m_uCount; ++i)
    {
        m_pItems[i].m_name.Release();
        m_pItems[i].m_value.Release();
    }
    if (OwnsItems())
    {
        std::free(m_pItems);
    }
}

mu::SNodeAttribute* CNodeAttributesMap::LowerBound(std::wstring_view wsName) const
{
    return std::lower_bound(m_pItems, m_pItems + m_uCount, wsName,
                            [](const mu::SNodeAttribute& attribute, std::wstring_view ws)
                            { return mu::IsTextBefore(attribute.m_name.View(), ws); });
}

const mu::SNodeAttribute* CNodeAttributesMap::Find(std::wstring_view wsName) const
{
    const mu::SNodeAttribute* const pFound = LowerBound(wsName);
    return pFound != end() && pFound->m_name.View() == wsName ? pFound : nullptr;
}

void CNodeAttributesMap::ReserveOneMore()
{
    if (m_uCount < m_uHeapCapacity)
    {
        return;
    }
    const std::size_t uCapacity = m_uCount < 2 ? 2 : std::size_t{m_uCount} * 2;
    if (OwnsItems())
    {
        m_pItems = AllocateItems(m_pItems, uCapacity);
    }
    else
    {
        mu::SNodeAttribute* const pItems = AllocateItems(nullptr, uCapacity);
        std::copy(begin(), end(), pItems);
        m_pItems = pItems;
    }
    m_uHeapCapacity = static_cast<std::uint32_t>(uCapacity);
}

void CNodeAttributesMap::Set(std::wstring_view wsName, std::wstring_view wsValue)
{
    mu::SNodeAttribute* pAttribute = LowerBound(wsName);
    if (pAttribute != end() && pAttribute->m_name.View() == wsName)
    {
        pAttribute->m_value.Assign(wsValue);
        return;
    }

    mu::SNodeAttribute added;
    try
    {
        added.m_name.Assign(wsName);
        added.m_value.Assign(wsValue);
        const auto uPosition = pAttribute - m_pItems;
        ReserveOneMore();
        pAttribute = m_pItems + uPosition;
    }
    catch (...)
    {
        added.m_name.Release();
        added.m_value.Release();
        throw;
    }
    std::copy_backward(pAttribute, m_pItems + m_uCount, m_pItems + m_uCount + 1);
    *pAttribute = added;
    ++m_uCount;
}

void CNodeAttributesMap::Add(const CNodeAttributesMap& other, bool bReplace)
{
    if (other.empty())
    {
        return;
    }

    CNodeAttributesMap merged;
    merged.m_pItems = AllocateItems(nullptr, std::size_t{m_uCount} + other.m_uCount);
    merged.m_uHeapCapacity = m_uCount + other.m_uCount;
    const mu::SNodeAttribute* pOwn = begin();
    const mu::SNodeAttribute* pOther = other.begin();
    while (pOwn != end() || pOther != other.end())
    {
        const bool bOther =
            pOwn == end() || (pOther != other.end() &&
                              !mu::IsTextBefore(pOwn->m_name.View(), pOther->m_name.View()));
        const bool bBoth = bOther && pOwn != end() && pOwn->m_name.View() == pOther->m_name.View();
        const mu::SNodeAttribute& named = bOther ? *pOther : *pOwn;
        const mu::SNodeAttribute& valued = bBoth && !bReplace ? *pOwn : named;
        mu::SNodeAttribute& added = *new (&merged.m_pItems[merged.m_uCount]) mu::SNodeAttribute;
        ++merged.m_uCount;
        added.m_name.Assign(named.m_name.View());
        added.m_value.Assign(valued.m_value.View());
        pOwn += !bOther || bBoth ? 1 : 0;
        pOther += bOther ? 1 : 0;
    }
    std::swap(m_pItems, merged.m_pItems);
    std::swap(m_uCount, merged.m_uCount);
    std::swap(m_uHeapCapacity, merged.m_uHeapCapacity);
}

void CNodeAttributesMap::MergeWith(const CNodeAttributesMap& other)
{
    CNodeAttributesMap lasting(other);
    lasting.EraseIf([](std::wstring_view wsName)
                    { return wsName == L"__merge_options" || wsName == L"erase_children"; });
    Add(lasting, true);
}
