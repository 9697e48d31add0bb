#include "mu/file_system.h"

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <cwchar>

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>
#include <utime.h>

#include "diagnostics/function_state.h"
#include "io/file_access.h"
#include "logging/logger.h"
#include "mu/unicode.h"

namespace
{

// The errno that CreateDir() logged last: a full or read-only disk must not flood the log when a
// directory is made before every write. A lost update only repeats a message.
std::atomic<int> g_iCreateDirError{0};

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

} // namespace mu
