#include "diagnostics/build_id.h"

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
    const auto pad = [=](std::size_t u) { return (u + uAlignment - 1) / uAlignment * uAlignment; };
    ElfW(Nhdr) head;
    while (svNotes.size() >= sizeof(head))
    {
        std::memcpy(&head, svNotes.data(), sizeof(head));
        svNotes.remove_prefix(sizeof(head));
        if (head.n_namesz > svNotes.size() || head.n_descsz > svNotes.size())
        {
            break;
        }
        const std::size_t uContents = pad(head.n_namesz);
        const std::size_t uEnd = uContents + pad(head.n_descsz);
        if (uEnd > svNotes.size())
        {
            break;
        }
        if (head.n_type == NT_GNU_BUILD_ID && svNotes.substr(0, head.n_namesz) == kOwner)
        {
            return svNotes.substr(uContents, head.n_descsz);
        }
        svNotes.remove_prefix(uEnd);
    }
    return {};
}

/// dl_iterate_phdr() calls this for the program and then for each library, until it returns 1: here
/// after the program.
int TakeBuildID(dl_phdr_info* pObject, std::size_t, void* pResult)
{
    auto& svBuildID = *static_cast<std::string_view*>(pResult);
    for (int i = 0; i < pObject->dlpi_phnum && svBuildID.empty(); ++i)
    {
        const ElfW(Phdr)& segment = pObject->dlpi_phdr[i];
        if (segment.p_type == PT_NOTE)
        {
            const std::uintptr_t uNotes = pObject->dlpi_addr + segment.p_vaddr;
            // NOLINTNEXTLINE(performance-no-int-to-ptr)
            const auto* pNotes = reinterpret_cast<const char*>(uNotes);
            svBuildID = FindBuildID({pNotes, segment.p_memsz}, segment.p_align == 8 ? 8 : 4);
        }
    }
    return 1;
}

} // namespace

const char* mu::GetVersionWithBuildID(const char* szVersion)
{
    static char s_szVersion[kMostCharacters + 1 + 2 * kMostBytes + 1];
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
