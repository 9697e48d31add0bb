#include <cstddef>
#include <cstdint>
#include <cstring>
#include <set>
#include <string>

#include <fuzzer/FuzzedDataProvider.h>

#include "diagnostics/state_report.h"
#include "fuzz/support/law.h"
#include "fuzz/support/plain_report.h"
#include "tests/support/guarded_page.h"

// Reports on damaged chains, beside the plainest writer. Chains lie at the end of a page; the input
// says for each word there whether it is a pointer into them, a number or nothing that makes sense.

namespace
{

constexpr std::size_t kWords = 64;

/// The last entry along a link; null from one that cannot be read.
const SFuncStateEntry* PlainEnd(const SFuncStateEntry* pEntry,
                                SFuncStateEntry* SFuncStateEntry::*pLink, bool& bCircle)
{
    std::set<const void*> visited;
    const SFuncStateEntry* pLast = nullptr;
    SFuncStateEntry entry;
    for (; Get(entry, pEntry) && !bCircle; pEntry = entry.*pLink)
    {
        pLast = pEntry;
        bCircle = !visited.insert(pEntry).second;
    }
    return pLast;
}

std::uintptr_t Word(FuzzedDataProvider& input, const char* pChains)
{
    const auto u = input.ConsumeIntegral<std::uint8_t>();
    const auto uChains = reinterpret_cast<std::uintptr_t>(pChains);
    return u < 0x80   ? uChains + std::uintptr_t{4} * u // the beginning of something
           : u < 0xC0 ? uChains + 8 * kWords - 0xA0 + u // around the end, at any byte
           : u < 0xF0 ? u % 16U                         // null, the types
                      : input.ConsumeIntegral<std::uintptr_t>();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t uSize)
{
    static const CGuardedPage s_page;
    std::uintptr_t aWords[kWords];
    char* const pChains = s_page.End() - sizeof(aWords);
    FuzzedDataProvider input(pData, uSize);
    const std::uintptr_t uEntry = Word(input, pChains);
    SFuncStateEntry* pEntry = nullptr;
    std::memcpy(&pEntry, &uEntry, sizeof(pEntry)); // whatever it is worth
    const int iSize = input.ConsumeIntegralInRange(0, 1500);
    for (std::uintptr_t& uWord : aWords)
    {
        uWord = Word(input, pChains);
    }
    std::memcpy(pChains, aWords, sizeof(aWords));

    CPlainReport plain(iSize);
    plain.Write(pEntry);
    std::string strReport(static_cast<std::size_t>(iSize) + 1, '\x7E');
    const int iLength = WriteStateReport(pEntry, strReport.data(), iSize);
    Law(iLength >= 0 && iLength <= iSize && strReport.back() == '\x7E', "stays in its buffer");
    strReport.resize(static_cast<std::size_t>(iLength));
    Law(plain.m_bCircle ? strReport.starts_with(plain.m_strText) : strReport == plain.m_strText,
        "says what the chain says");

    for (const bool bFirst : {true, false})
    {
        bool bCircle = false;
        const SFuncStateEntry* const pPlain = PlainEnd(
            pEntry, bFirst ? &SFuncStateEntry::m_pPrevious : &SFuncStateEntry::m_pNext, bCircle);
        const SFuncStateEntry* const pEnd =
            bFirst ? GetFirstStateEntry(pEntry) : GetLastStateEntry(pEntry);
        Law(bCircle || pEnd == pPlain, "finds the end of a chain");
    }
    return 0;
}
