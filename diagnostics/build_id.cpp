#include "diagnostics/build_id.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>

#include <elf.h>
#include <link.h>

namespace
{

constexpr int kMostCharacters = 60;    // of the version
constexpr std::size_t kMostBytes = 32; // of the build id; SHA-1 has 20

/// Finds the build id among the notes of a segment, empty if there is none. A note is a head, its
/// owner's name and its contents; the name and the contents are padded to the segment's alignment.
std::string_view FindBuildID(std::string_view svNotes, std::size_t uAlignment)
{
    using namespace std::string_view_literals;
    constexpr std::string_view kOwner = "GNU\0"sv;
    const auto skip = [&](std::size_t uSize)
    {
        const std::size_t uPadded = (uSize + uAlignment - 1) / uAlignment * uAlignment;
        svNotes.remove_prefix(std::min(uPadded, svNotes.size()));
    };
    ElfW(Nhdr) head;
    while (svNotes.size() >= sizeof(head))
    {
        std::memcpy(&head, svNotes.data(), sizeof(head));
        svNotes.remove_prefix(sizeof(head));
        const bool bBuildID =
            head.n_type == NT_GNU_BUILD_ID && svNotes.substr(0, head.n_namesz) == kOwner;
        skip(head.n_namesz);
        if (bBuildID)
        {
            return svNotes.substr(0, head.n_descsz);
        }
        skip(head.n_descsz);
    }
    return {};
}

/// dl_iterate_phdr() calls this for the program and then for each library, until it returns 1: here
/// after the program.
int TakeBuildID(dl_phdr_info* pObject, std::size_t, void* pResult)
{
    auto& svBuildID = *static_cast<std::string_view*>(pResult);
    for (int i = 0; i < pObject->dlpi_phnum; ++i)
    {
        const ElfW(Phdr)& segment = pObject->dlpi_phdr[i];
        if (segment.p_type == PT_NOTE)
        {
            const std::uintptr_t uNotes = pObject->dlpi_addr + segment.p_vaddr;
            // NOLINTNEXTLINE(performance-no-int-to-ptr)
            const auto* pNotes = reinterpret_cast<const char*>(uNotes);
            const std::size_t uAlignment = std::max<std::size_t>(segment.p_align, 4);
            const std::string_view svFound = FindBuildID({pNotes, segment.p_memsz}, uAlignment);
            svBuildID = svFound.empty() ? svBuildID : svFound;
        }
    }
    return 1;
}

} // namespace

const char* mu::GetVersionWithBuildID(const char* szVersion)
{
    static char s_szVersion[128];
    static_assert(sizeof(s_szVersion) > kMostCharacters + 1 + 2 * kMostBytes);
    std::string_view svBuildID;
    ::dl_iterate_phdr(TakeBuildID, &svBuildID);
    int iLength = std::snprintf(s_szVersion, sizeof(s_szVersion), "%.*s%s", kMostCharacters,
                                szVersion, svBuildID.empty() ? "" : "+");
    for (const char ch : svBuildID.substr(0, kMostBytes))
    {
        iLength += std::snprintf(s_szVersion + iLength, 3, "%02x", static_cast<unsigned char>(ch));
    }
    return s_szVersion;
}
