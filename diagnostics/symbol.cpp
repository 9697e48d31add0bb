#include "diagnostics/symbol.h"

#include <cstddef>
#include <cstdio>

#include <dlfcn.h>
#include <link.h>

namespace mu
{

namespace
{

struct SLookUp
{
    const void* m_pAddress;
    bool m_bFound = false; // in a program or library
    Dl_info m_info = {};
    std::uintptr_t m_uObject = 0; // where the program or library is loaded
};

// Probed, because the crash may have damaged the loader's tables.
SLookUp LookUp(CMemoryProbe& probe, std::uintptr_t uAddress)
{
    // NOLINTNEXTLINE(performance-no-int-to-ptr)
    SLookUp lookUp = {reinterpret_cast<const void*>(uAddress)};
    const bool bDone = probe.Call(
        [](void* pArgument)
        {
            auto& result = *static_cast<SLookUp*>(pArgument);
            void* pMap = nullptr;
            result.m_bFound =
                ::dladdr1(result.m_pAddress, &result.m_info, &pMap, RTLD_DL_LINKMAP) != 0 &&
                *result.m_info.dli_fname != '\0';
            result.m_uObject = result.m_bFound ? static_cast<link_map*>(pMap)->l_addr : 0;
        },
        &lookUp);
    lookUp.m_bFound = lookUp.m_bFound && bDone;
    return lookUp;
}

} // namespace

std::uintptr_t FindFunction(CMemoryProbe& probe, std::uintptr_t uAddress)
{
    const SLookUp lookUp = LookUp(probe, uAddress);
    return lookUp.m_bFound ? reinterpret_cast<std::uintptr_t>(lookUp.m_info.dli_saddr) : 0;
}

bool AppendSymbol(CMemoryProbe& probe, CFixedText& text, std::uintptr_t uAddress,
                  std::uintptr_t uInside)
{
    const SLookUp lookUp = LookUp(probe, uInside);
    const Dl_info& info = lookUp.m_info;
    char szNumbers[64]; // has room for two addresses
    // NOLINTNEXTLINE(performance-no-int-to-ptr)
    const void* const pAddress = reinterpret_cast<const void*>(uAddress);
    if (!lookUp.m_bFound)
    {
        std::snprintf(szNumbers, sizeof(szNumbers), "[%p]", pAddress);
        return text.Append(szNumbers);
    }
    const std::uintptr_t uFrom = info.dli_sname != nullptr
                                     ? reinterpret_cast<std::uintptr_t>(info.dli_saddr)
                                     : lookUp.m_uObject;
    if (uFrom == 0)
    {
        std::snprintf(szNumbers, sizeof(szNumbers), ") [%p]", pAddress);
    }
    else
    {
        const bool bBefore = uAddress < uFrom;
        std::snprintf(szNumbers, sizeof(szNumbers), "%c%#zx) [%p]", bBefore ? '-' : '+',
                      static_cast<std::size_t>(bBefore ? uFrom - uAddress : uAddress - uFrom),
                      pAddress);
    }
    const int iStart = text.Length();
    if (text.Append(info.dli_fname) && text.Append("(") &&
        text.Append(info.dli_sname != nullptr ? info.dli_sname : "") && text.Append(szNumbers))
    {
        return true;
    }
    text.CutBackTo(iStart);
    return false;
}

} // namespace mu
