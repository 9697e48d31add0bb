#include "xml/tree_text.h"

#include <algorithm>
#include <cstdlib>
#include <cwchar>
#include <new>

namespace mu
{

namespace
{

constexpr std::size_t kMaxLength = (std::size_t{1} << 30) - 1; // in bytes it fits 32 bits

} // namespace

void STreeText::Assign(std::wstring_view wsText)
{
    if (wsText.size() > std::max(m_uLength, m_uHeapCapacity))
    {
        const std::size_t uCapacity = std::max(
            wsText.size(), std::min<std::size_t>(kMaxLength, std::size_t{m_uHeapCapacity} * 2));
        auto* const pNew = uCapacity <= kMaxLength
                               ? static_cast<wchar_t*>(std::malloc(uCapacity * sizeof(wchar_t)))
                               : nullptr;
        if (pNew == nullptr)
        {
            throw std::bad_alloc();
        }
        std::wmemcpy(pNew, wsText.data(), wsText.size());
        Release();
        m_pText = pNew;
        m_uHeapCapacity = static_cast<std::uint32_t>(uCapacity);
    }
    else if (!wsText.empty())
    {
        std::wmemmove(m_pText, wsText.data(), wsText.size());
    }
    m_uLength = static_cast<std::uint32_t>(wsText.size());
}

void STreeText::Release()
{
    if (m_uHeapCapacity != 0)
    {
        std::free(m_pText);
    }
    *this = {};
}

bool IsTextBefore(std::wstring_view wsA, std::wstring_view wsB)
{
    const std::size_t uCommon = std::min(wsA.size(), wsB.size());
    for (std::size_t i = 0; i < uCommon; ++i)
    {
        if (wsA[i] != wsB[i])
        {
            return static_cast<std::uint32_t>(wsA[i]) < static_cast<std::uint32_t>(wsB[i]);
        }
    }
    return wsA.size() < wsB.size();
}

} // namespace mu
