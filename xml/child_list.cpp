// The list of an element's children.

#include "xml/element_tree.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <new>
#include <stdexcept>

CVariablesSubTreesVector::~CVariablesSubTreesVector()
{
    Clear();
}

void CVariablesSubTreesVector::Reserve(std::size_t uCount)
{
    if (uCount <= m_uHeapCapacity)
    {
        return;
    }
    const std::size_t uCapacity = std::max(uCount, std::size_t{m_uHeapCapacity} * 2);
    if (uCapacity > INT_MAX / sizeof(CVariablesSubTree*))
    {
        throw std::bad_alloc();
    }
    auto** const ppItems = static_cast<CVariablesSubTree**>(
        std::realloc(m_uHeapCapacity != 0 ? static_cast<void*>(m_ppItems) : nullptr,
                     uCapacity * sizeof(CVariablesSubTree*)));
    if (ppItems == nullptr)
    {
        throw std::bad_alloc();
    }
    if (m_uHeapCapacity == 0)
    {
        std::copy(begin(), end(), ppItems);
    }
    m_ppItems = ppItems;
    m_uHeapCapacity = static_cast<std::uint32_t>(uCapacity);
}

void CVariablesSubTreesVector::Append(CVariablesSubTree* pElement)
{
    Reserve(std::size_t{m_uCount} + 1);
    m_ppItems[m_uCount] = pElement;
    ++m_uCount;
}

void CVariablesSubTreesVector::Clear()
{
    for (CVariablesSubTree* const pElement : *this)
    {
        delete pElement;
    }
    if (m_uHeapCapacity != 0)
    {
        std::free(m_ppItems);
    }
    m_ppItems = nullptr;
    m_uCount = 0;
    m_uHeapCapacity = 0;
}

int CVariablesSubTreesVector::GetNodeCount() const
{
    int iCount = 0;
    for (const CVariablesSubTree* const pElement : *this)
    {
        iCount += pElement != nullptr ? pElement->GetNodeCount() : 0;
    }
    return iCount;
}

int CVariablesSubTreesVector::FindSubTreeEx(const std::wstring& wsName, int iStart, int iEnd) const
{
    const auto FindIn = [&](int iFirst, int iLast)
    {
        for (int i = iFirst; i < iLast; ++i)
        {
            if (i < 0 || i >= size())
            {
                throw std::out_of_range("vector::_M_range_check");
            }
            if (m_ppItems[i] != nullptr && m_ppItems[i]->GetName() == wsName)
            {
                return i;
            }
        }
        return -1;
    };
    const int iFound = FindIn(iStart, iEnd);
    return iFound >= 0 ? iFound : FindIn(0, iStart);
}
