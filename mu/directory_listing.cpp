// The file system's functions that list directories and sort what they list.

#include "mu/file_system.h"

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <memory>
#include <new>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <sys/stat.h>

#include "diagnostics/function_state.h"
#include "mu/calendar.h"
#include "mu/text.h"
#include "mu/unicode.h"

namespace
{

struct SDirectoryCloser
{
    void operator()(DIR* pDirectory) const { ::closedir(pDirectory); }
};

// fnmatch() takes the encoding from the thread's locale. While an object of this class lives, that
// is UTF-8.
class CUTF8Locale
{
public:
    CUTF8Locale() : m_previous(::uselocale(GetUTF8())) {}
    ~CUTF8Locale() { ::uselocale(m_previous); }

    CUTF8Locale(const CUTF8Locale&) = delete;
    CUTF8Locale& operator=(const CUTF8Locale&) = delete;

private:
    static locale_t GetUTF8()
    {
        static const locale_t s_locale = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
        return s_locale; // null, which changes nothing, where the system lacks it
    }

    const locale_t m_previous;
};

// The name as wide text; empty if its conversion back gives another name. Throws without memory:
// the conversions into strings would give an empty text, and the name would be missing.
std::wstring WidenName(const char* szName)
{
    std::wstring wsName(std::strlen(szName), L'\0');
    const auto iLength = static_cast<int>(wsName.size());
    const int iUnits = mu::ConvertString(szName, iLength, wsName.data(), iLength);
    wsName.resize(static_cast<std::size_t>(iUnits));
    const int iBytes = mu::GetConvertedStringLength(wsName.data(), iUnits);
    std::string strBack(static_cast<std::size_t>(iBytes), '\0');
    mu::ConvertString(wsName.data(), iUnits, strBack.data(), iBytes + 1);
    return strBack == szName ? wsName : std::wstring();
}

// The type of an entry, such as S_IFREG. For a symbolic link it is the type of what the link leads
// to, S_IFLNK if that is not there. 0 if the entry has vanished meanwhile. False if the system
// fails.
bool GetEntryType(int iDirectory, const char* szName, mode_t& uType)
{
    struct stat status = {};
    if (::fstatat(iDirectory, szName, &status, 0) != 0 &&
        ::fstatat(iDirectory, szName, &status, AT_SYMLINK_NOFOLLOW) != 0)
    {
        uType = 0;
        return errno == ENOENT;
    }
    uType = status.st_mode & S_IFMT;
    return true;
}

// Adds the entries of one type (S_IFDIR, S_IFREG) whose UTF-8 name is accepted. Throws without
// memory.
template <typename TAccept>
bool ReadNames(DIR* pDirectory, mode_t uType, TAccept accept, std::vector<std::wstring>& vNames)
{
    for (;;)
    {
        errno = 0;
        const dirent* const pEntry = ::readdir(pDirectory);
        if (pEntry == nullptr)
        {
            return errno == 0;
        }
        const char* const szName = pEntry->d_name;
        if (std::strcmp(szName, ".") == 0 || std::strcmp(szName, "..") == 0 || !accept(szName))
        {
            continue;
        }
        mode_t uEntryType = 0;
        if (!GetEntryType(::dirfd(pDirectory), szName, uEntryType))
        {
            return false;
        }
        std::wstring wsName = uEntryType == uType ? WidenName(szName) : std::wstring();
        if (!wsName.empty())
        {
            vNames.push_back(std::move(wsName));
        }
    }
}

template <typename TAccept>
bool ListDirectory(const wchar_t* wszDirectory, mode_t uType, TAccept accept,
                   std::vector<std::wstring>& vNames)
{
    vNames.clear();
    bool bRead = false;
    try
    {
        const std::unique_ptr<DIR, SDirectoryCloser> pDirectory(
            ::opendir(mu::PathToUTF8(wszDirectory).c_str()));
        bRead = pDirectory != nullptr && ReadNames(pDirectory.get(), uType, accept, vNames);
    }
    catch (const std::bad_alloc&)
    {
        // bRead is false.
    }
    if (!bRead)
    {
        vNames.clear();
    }
    mu::SortFileNames(vNames);
    return bRead;
}

// By code point: the units compare as unsigned, whatever wchar_t is.
bool IsNameBefore(const std::wstring& wsA, const std::wstring& wsB)
{
    return std::lexicographical_compare(
        wsA.begin(), wsA.end(), wsB.begin(), wsB.end(),
        [](wchar_t wcA, wchar_t wcB)
        { return static_cast<std::uint32_t>(wcA) < static_cast<std::uint32_t>(wcB); });
}

} // namespace

namespace mu
{

bool FindSubDirectories(const wchar_t* wszDirectory, std::vector<std::wstring>& vNames)
{
    CFunctionSwitch fsFind("PD::FSD");
    int iNumEntries = 0;
    CFunctionParam fpDirectory(fsFind, "wszDirectory", wszDirectory);
    CFunctionParam fpNumEntries(fsFind, "iNumEntries", iNumEntries);

    const auto CountAll = [&](const char*)
    {
        ++iNumEntries;
        return true;
    };
    return ListDirectory(wszDirectory, S_IFDIR, CountAll, vNames);
}

bool FindFiles(const wchar_t* wszDirectory, const wchar_t* wszPattern,
               std::vector<std::wstring>& vNames)
{
    CFunctionSwitch fsFind("PD::FF");
    CFunctionParam fpDirectory(fsFind, "wszDirectory", wszDirectory);

    const CUTF8Locale locale;
    const std::string strPattern = PathToUTF8(wszPattern);
    if (strPattern.empty() &&
        GetConvertedStringLength(wszPattern, static_cast<int>(std::wcslen(wszPattern))) != 0)
    {
        vNames.clear();
        return false; // no memory
    }
    const auto Matches = [&](const char* szName)
    {
        const int iResult = ::fnmatch(strPattern.c_str(), szName, 0);
        if (iResult != 0 && iResult != FNM_NOMATCH)
        {
            throw std::bad_alloc(); // a long pattern takes memory
        }
        return iResult == 0;
    };
    return ListDirectory(wszDirectory, S_IFREG, Matches, vNames);
}

void SortFileNames(std::vector<std::wstring>& vNames)
{
    std::sort(vNames.begin(), vNames.end(), IsNameBefore);
}

void SortFileNamesDescending(std::vector<std::wstring>& vNames)
{
    std::sort(vNames.rbegin(), vNames.rend(), IsNameBefore);
}

void SortFileNamesByFileTime(std::vector<std::wstring>& vNames, const std::wstring& wsDirectory)
{
    std::vector<SFileAndTime> vFiles;
    try
    {
        std::wstring wsPrefix = wsDirectory;
        AddFolderSeparator(wsPrefix);
        for (const std::wstring& wsName : vNames)
        {
            unsigned long long llChangeTime = 0;
            unsigned long long llAccessTime = 0;
            unsigned long long llModifyTime = 0;
            GetFileTimesByPath((wsPrefix + wsName).c_str(), llChangeTime, llAccessTime,
                               llModifyTime);
            vFiles.push_back({wsName, llModifyTime});
        }
    }
    catch (const std::bad_alloc&)
    {
        return;
    }
    std::stable_sort(vFiles.begin(), vFiles.end(), IsTimeBefore);
    std::transform(vFiles.begin(), vFiles.end(), vNames.begin(),
                   [](SFileAndTime& file) { return std::move(file.m_wsName); });
}

} // namespace mu
