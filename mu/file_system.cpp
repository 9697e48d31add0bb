#include "mu/file_system.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <clocale>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <cwchar>
#include <memory>
#include <mutex>
#include <new>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>
#include <utime.h>

#include "diagnostics/function_state.h"
#include "io/file_access.h"
#include "logging/logger.h"
#include "mu/calendar.h"
#include "mu/hex.h"
#include "mu/text.h"
#include "mu/unicode.h"

namespace
{

// The errno that CreateDir() logged last: a full or read-only disk must not flood the log when a
// directory is made before every write. A lost update only repeats a message.
std::atomic<int> g_iCreateDirError{0};

std::mutex g_mutexOfSerialNumber;
std::string g_strSerialNumber;

bool IsDirectory(const char* szPath)
{
    struct stat status = {};
    return ::stat(szPath, &status) == 0 && S_ISDIR(status.st_mode);
}

bool MakeDirectory(const char* szPath)
{
    constexpr int kMostTries = 100; // of those that a signal interrupts
    int iError = EINTR;
    for (int i = 0; i < kMostTries && iError == EINTR; ++i)
    {
        iError = ::mkdir(szPath, 0777) == 0 ? 0 : errno;
    }
    if (iError == EEXIST && IsDirectory(szPath))
    {
        iError = 0;
    }
    if (iError == 0)
    {
        g_iCreateDirError.store(0, std::memory_order_relaxed);
        return true;
    }
    if (mu::TextLoggerFor(IBaseLogger::Error) != nullptr &&
        g_iCreateDirError.exchange(iError, std::memory_order_relaxed) != iError)
    {
        mu::LogSystemError(iError, "Failed to create directory %s", szPath);
    }
    return false;
}

struct SDirectoryCloser
{
    void operator()(DIR* pDirectory) const { ::closedir(pDirectory); }
};

// fnmatch() sees characters as the thread's locale does; for a scope that is UTF-8.
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

// Empty if no wide name leads back to this one. Throws without memory, where the conversions of
// strings would leave a name out.
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

// The type of an entry (S_IFREG), of a symbolic link what it leads to: S_IFLNK if that is nowhere.
// 0 if it vanished meanwhile. False if the system does not tell.
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
template <class TAccept>
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

template <class TAccept>
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

std::string PathToUTF8(const wchar_t* wszPath)
{
    std::string strPath;
    ConvertString(wszPath, static_cast<int>(std::wcslen(wszPath)), strPath);
    return strPath;
}

void GetExecutableDirectory(std::wstring& wsDirectory)
{
    wsDirectory.clear();
}

void GetTemporaryFilesDirectory(std::wstring& wsDirectory)
{
    wsDirectory = L"/usr/tmp/";
}

bool FileExists(const char* pszFileName)
{
    CFunctionSwitch fsExists("PD::FEX");
    CFunctionParam fpFileName(fsExists, "pszFileName", pszFileName);

    struct stat status = {};
    return ::stat(pszFileName, &status) == 0;
}

bool FileExists(const wchar_t* pwszFileName)
{
    return FileExists(PathToUTF8(pwszFileName).c_str());
}

unsigned long long FileSize(const char* pszFileName)
{
    CFunctionSwitch fsSize("PD::FS");
    CFunctionParam fpFileName(fsSize, "pszFileName", pszFileName);

    struct stat status = {};
    if (::stat(pszFileName, &status) != 0)
    {
        LogSystemError(errno, "Failed to acquire file size of file %s", pszFileName);
        return 0;
    }
    return static_cast<unsigned long long>(status.st_size);
}

unsigned long long GetFileSizeByPath(const wchar_t* wszFilePath)
{
    CFunctionSwitch fsSize("PD::GFSBP");
    CFunctionParam fpFilePath(fsSize, "wszFilePath", wszFilePath);

    return FileSize(PathToUTF8(wszFilePath).c_str());
}

bool CreateDir(const wchar_t* pwszDirectory)
{
    return MakeDirectory(PathToUTF8(pwszDirectory).c_str());
}

bool CreateDirectoriesPath(const std::wstring& wsPath)
{
    CFunctionSwitch fsCreate("MU::CDP");
    const char* szStep = "create directory path 1"; // look for what exists
    CFunctionParam fpStep(fsCreate, "szStep", szStep);

    std::string strPath = PathToUTF8(wsPath.c_str());
    if (IsDirectory(strPath.c_str()))
    {
        return true;
    }

    // The levels above the last.
    szStep = "create directory path 2"; // NOLINT(clang-analyzer-deadcode.DeadStores): for reports
    for (std::size_t uEnd = strPath.find('/', 1); uEnd != std::string::npos;
         uEnd = strPath.find('/', uEnd + 1))
    {
        strPath[uEnd] = 0;
        const bool bThere = IsDirectory(strPath.c_str()) || MakeDirectory(strPath.c_str());
        strPath[uEnd] = '/';
        if (!bThere)
        {
            return false;
        }
    }

    // The last, unless the path ended in a separator.
    szStep = "create directory path 3"; // NOLINT(clang-analyzer-deadcode.DeadStores): for reports
    return MakeDirectory(strPath.c_str());
}

bool DeleteDirectory(const wchar_t* pwszDir)
{
    CFunctionSwitch fsDelete("PD::DD");
    CFunctionParam fpDir(fsDelete, "pwszDir", pwszDir);

    const std::string strDirectory = PathToUTF8(pwszDir);
    if (::rmdir(strDirectory.c_str()) == 0)
    {
        return true;
    }
    LogSystemError(errno, "Failed to remove directory %s", strDirectory.c_str());
    return false;
}

bool RenameFilePath(const wchar_t* wszOriginalName, const wchar_t* wszNewName)
{
    CFunctionSwitch fsRename("PD::RFP");
    CFunctionParam fpOriginalName(fsRename, "wszOriginalName", wszOriginalName);
    CFunctionParam fpNewName(fsRename, "wszNewName", wszNewName);

    const std::string strOriginalName = PathToUTF8(wszOriginalName);
    const std::string strNewName = PathToUTF8(wszNewName);
    if (::rename(strOriginalName.c_str(), strNewName.c_str()) == 0)
    {
        return true;
    }
    LogSystemError(errno, "Failed to rename file \"%s\" to \"%s\"", strOriginalName.c_str(),
                   strNewName.c_str());
    return false;
}

bool DeleteFilePath(const wchar_t* pwszFileName)
{
    CFunctionSwitch fsDelete("PD::DFP");
    CFunctionParam fpFileName(fsDelete, "pwszFileName", pwszFileName);

    const std::string strFileName = PathToUTF8(pwszFileName);
    if (::unlink(strFileName.c_str()) == 0)
    {
        return true;
    }
    LogSystemError(errno, "Failed to delete file \"%s\"", strFileName.c_str());
    return false;
}

bool CopyFileByPath(const wchar_t* wszSource, const wchar_t* wszTarget)
{
    return CFileAccess::Copy(wszSource, wszTarget);
}

bool GetFileTimesByPath(const wchar_t* wszFilePath, unsigned long long& llChangeTime,
                        unsigned long long& llAccessTime, unsigned long long& llModifyTime)
{
    struct stat status = {};
    if (::stat(PathToUTF8(wszFilePath).c_str(), &status) != 0)
    {
        return false;
    }
    llChangeTime = static_cast<unsigned long long>(status.st_ctime);
    llAccessTime = static_cast<unsigned long long>(status.st_atime);
    llModifyTime = static_cast<unsigned long long>(status.st_mtime);
    return true;
}

bool SetFileTimesByPath(const wchar_t* wszFilePath, const unsigned long long&,
                        const unsigned long long& llAccessTime,
                        const unsigned long long& llModifyTime)
{
    const utimbuf times = {static_cast<std::time_t>(static_cast<std::uint32_t>(llAccessTime)),
                           static_cast<std::time_t>(static_cast<std::uint32_t>(llModifyTime))};
    return ::utime(PathToUTF8(wszFilePath).c_str(), &times) == 0;
}

bool GetDiskSpaceAvailable(const wchar_t* pwszDirectory, unsigned long long& llTotalBytes,
                           unsigned long long& llFreeBytes)
{
    CFunctionSwitch fsSpace("PD::GDSA");
    CFunctionParam fpDirectory(fsSpace, "pwszDirectory", pwszDirectory);

    struct statvfs status = {};
    if (::statvfs(PathToUTF8(pwszDirectory).c_str(), &status) != 0)
    {
        LogSystemError(errno, "Failed to acquire disk space available size");
        llTotalBytes = 0;
        llFreeBytes = 0;
        return false;
    }
    llTotalBytes = static_cast<unsigned long long>(status.f_blocks) * status.f_frsize;
    llFreeBytes = static_cast<unsigned long long>(status.f_bfree) * status.f_bsize;
    return true;
}

bool FindSubDirectories(const wchar_t* wszDirectory, std::vector<std::wstring>& vNames)
{
    CFunctionSwitch fsFind("PD::FSD");
    int iNumEntries = 0;
    CFunctionParam fpDirectory(fsFind, "wszDirectory", wszDirectory);
    CFunctionParam fpNumEntries(fsFind, "iNumEntries", iNumEntries);

    const auto countAll = [&](const char*)
    {
        ++iNumEntries;
        return true;
    };
    return ListDirectory(wszDirectory, S_IFDIR, countAll, vNames);
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
    const auto matches = [&](const char* szName)
    {
        const int iResult = ::fnmatch(strPattern.c_str(), szName, 0);
        if (iResult != 0 && iResult != FNM_NOMATCH)
        {
            throw std::bad_alloc(); // a long pattern takes memory
        }
        return iResult == 0;
    };
    return ListDirectory(wszDirectory, S_IFREG, matches, vNames);
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

bool GetMainStorageSerialNumber(std::string& strSerialNumber)
{
    CFunctionSwitch fsSerialNumber("PD::GMSSN");

    strSerialNumber.clear();
    std::string strPath = "/proc/ide/hd?/identify";
    char& cDrive = strPath[strPath.find('?')];
    std::string strIdentify;
    for (cDrive = 'a'; cDrive <= 'z'; ++cDrive)
    {
        if (CFileAccess::GetStrFileContent(strPath.c_str(), strIdentify) &&
            ParseIdentifySerialNumber(strIdentify, strSerialNumber))
        {
            return true;
        }
    }
    return false;
}

bool ParseIdentifySerialNumber(const std::string& strIdentify, std::string& strSerialNumber)
{
    constexpr int kFirstWord = 10;
    constexpr int kEndWord = 20;
    constexpr std::size_t kWordLength = 5; // four digits and a blank or line end

    strSerialNumber.clear();
    if (strIdentify.size() < kEndWord * kWordLength)
    {
        return false;
    }
    std::string strCharacters;
    for (std::size_t u = kFirstWord * kWordLength; u < kEndWord * kWordLength; u += kWordLength)
    {
        for (const std::size_t uDigit : {u, u + 2})
        {
            const int iCharacter = HexCharsToInt(&strIdentify[uDigit], 2);
            if (iCharacter < ' ' || iCharacter > '~')
            {
                return false;
            }
            strCharacters += static_cast<char>(iCharacter);
        }
    }
    const std::size_t uFirst = strCharacters.find_first_not_of(' ');
    if (uFirst == std::string::npos)
    {
        return false;
    }
    strSerialNumber =
        strCharacters.substr(uFirst, strCharacters.find_last_not_of(' ') + 1 - uFirst);
    return true;
}

void SetMainStorageSerialNumber(const std::string& strSerialNumber)
{
    const std::scoped_lock lock(g_mutexOfSerialNumber);
    g_strSerialNumber = strSerialNumber;
}

std::string GetSavedMainStorageSerialNumber()
{
    const std::scoped_lock lock(g_mutexOfSerialNumber);
    return g_strSerialNumber;
}

} // namespace mu
