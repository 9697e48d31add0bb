#ifndef ZOR_MU_FILE_SYSTEM_H
#define ZOR_MU_FILE_SYSTEM_H

#include <string>
#include <vector>

namespace mu
{

// The file system (POSIX). Paths and names are wide text, or UTF-8 in the narrow overloads. A
// function tells a failure, also a failed allocation, by its result. One whose result cannot tell
// it, as it gives a text, throws std::bad_alloc; nothing else is thrown. Where a function says
// "logged" the failure is also a message, in UTF-8, to the process's text logger. Any thread may
// call any function.

/// A path as the system takes it. Without memory it is empty, which is no file's path.
std::string PathToUTF8(const wchar_t* wszPath);

/// Empty: the program uses no directory of its executable.
void GetExecutableDirectory(std::wstring& wsDirectory);
/// "/usr/tmp/"
void GetTemporaryFilesDirectory(std::wstring& wsDirectory);

/// Whether the path leads to anything at all.
bool FileExists(const char* pszFileName);
bool FileExists(const wchar_t* pwszFileName);

/// In bytes; 0 on failure, which is logged.
unsigned long long FileSize(const char* pszFileName);
unsigned long long GetFileSizeByPath(const wchar_t* wszFilePath);

/// Makes a directory (mode 0777 under the umask). True also if it is there already. A failure is
/// logged, but not with the same errno twice in a row in the process; a success forgets the errno.
bool CreateDir(const wchar_t* pwszDirectory);
/// Makes every missing directory along the path. Stops at the first that fails, as CreateDir()
/// does.
bool CreateDirectoriesPath(const std::wstring& wsPath);
/// The directory must be empty. A failure is logged.
bool DeleteDirectory(const wchar_t* pwszDir);

/// Replaces a file of the new name. A failure is logged.
bool RenameFilePath(const wchar_t* wszOriginalName, const wchar_t* wszNewName);
/// A failure is logged.
bool DeleteFilePath(const wchar_t* pwszFileName);
/// CFileAccess::Copy().
bool CopyFileByPath(const wchar_t* wszSource, const wchar_t* wszTarget);

/// Status change, last access and last modification in seconds since 1970-01-01, UTC (a time before
/// is negative when read as signed). On failure the results are untouched.
bool GetFileTimesByPath(const wchar_t* wszFilePath, unsigned long long& llChangeTime,
                        unsigned long long& llAccessTime, unsigned long long& llModifyTime);
/// Sets access and modification time, of which the low 32 bits count: seconds since 1970-01-01,
/// UTC, up to 2106. The change time cannot be set and is ignored.
bool SetFileTimesByPath(const wchar_t* wszFilePath, const unsigned long long& llChangeTime,
                        const unsigned long long& llAccessTime,
                        const unsigned long long& llModifyTime);

/// Of the file system that holds the directory; the free bytes include those that only the
/// superuser may use. On failure, which is logged, both are 0.
bool GetDiskSpaceAvailable(const wchar_t* pwszDirectory, unsigned long long& llTotalBytes,
                           unsigned long long& llFreeBytes);

/// The names of a directory's subdirectories, and of its regular files that match the pattern as
/// fnmatch(3) has it ("*", "?", "[...]"), in the order of SortFileNames(). Symbolic links count as
/// what they lead to. "?" is one character, whatever the locale. Names that are not UTF-8 are left
/// out: no wide name would lead back to them. False, with an empty list, if the directory cannot be
/// read or memory is short.
bool FindSubDirectories(const wchar_t* wszDirectory, std::vector<std::wstring>& vNames);
bool FindFiles(const wchar_t* wszDirectory, const wchar_t* wszPattern,
               std::vector<std::wstring>& vNames);

/// By code point.
void SortFileNames(std::vector<std::wstring>& vNames);
void SortFileNamesDescending(std::vector<std::wstring>& vNames);
/// By modification time, the oldest first; a file that has none (it is gone) counts as the oldest,
/// and equal times keep their order. Without memory the names stay as they are.
void SortFileNamesByFileTime(std::vector<std::wstring>& vNames, const std::wstring& wsDirectory);

/// The serial number of the first IDE disk, hda to hdz, that has one. The string is empty on
/// failure.
bool GetMainStorageSerialNumber(std::string& strSerialNumber);
/// The serial number in a disk's "/proc/ide/hd?/identify": the 256 words of ATA's IDENTIFY DEVICE
/// as four hexadecimal digits each, eight a line. Words 10 to 19 hold 20 printable ASCII
/// characters, the first of each pair in the high byte, padded with blanks, which are trimmed. The
/// string is empty on failure: text of another form, or no serial number.
bool ParseIdentifySerialNumber(const std::string& strIdentify, std::string& strSerialNumber);
/// A copy that the process keeps, empty at first.
void SetMainStorageSerialNumber(const std::string& strSerialNumber);
std::string GetSavedMainStorageSerialNumber();

} // namespace mu

#endif
