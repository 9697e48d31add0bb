#include "io/file_access.h"

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstring>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "diagnostics/function_state.h"
#include "logging/logger.h"
#include "mu/file_system.h"
#include "mu/open_file.h"
#include "mu/unicode.h"

static_assert(sizeof(off_t) == 8, "positions beyond 4 GiB");

namespace
{

constexpr char kReadError[] = "Error reading from file";

} // namespace

bool CFileAccess::Open(const wchar_t* wszFileName, FileMode eMode, bool)
{
    CFunctionSwitch fsOpen("FA::Op");
    mu::CFunctionParam fpFileName(fsOpen, "wszFileName", wszFileName);

    return OpenPath(mu::PathToUTF8(wszFileName).c_str(), eMode);
}

bool CFileAccess::Open(const char* szFileName, FileMode eMode, bool)
{
    CFunctionSwitch fsOpen("FA::Op");
    mu::CFunctionParam fpFileName(fsOpen, "szFileName", szFileName);

    return OpenPath(szFileName, eMode);
}

int CFileAccess::OpenDescriptor(const char* szPath, FileMode eMode)
{
    int iFlags = O_RDONLY;
    switch (eMode)
    {
    case FM_READ:
        break;
    case FM_CREATE:
        iFlags = O_RDWR | O_CREAT | O_TRUNC;
        break;
    case FM_OPEN_OR_CREATE:
        iFlags = O_RDWR | O_CREAT;
        break;
    case FM_READ_WRITE:
        iFlags = O_RDWR;
        break;
    }
    return mu::OpenFile(szPath, iFlags);
}

bool CFileAccess::OpenPath(const char* szPath, FileMode eMode)
{
    // Closing forgets the last error. A file that never opened must remember it, or the same
    // failure would be told at each attempt.
    if (IsValid())
    {
        Close();
    }
    m_iDescriptor = OpenDescriptor(szPath, eMode);
    return Settle(IsValid(), "Error opening file %s", szPath);
}

void CFileAccess::Close()
{
    CFunctionSwitch fsClose("FA::Cl");

    if (IsValid())
    {
        ::close(m_iDescriptor);
    }
    m_iDescriptor = -1;
    m_iLastError = 0;
}

// How every operation ends. A full disk fails every write: an error (errno) is told once, and again
// after a success.
bool CFileAccess::Settle(bool bSucceeded, const char* szFormat, ...)
{
    const int iError = bSucceeded ? 0 : errno;
    if (std::exchange(m_iLastError, iError) != iError && !bSucceeded)
    {
        va_list args;
        va_start(args, szFormat);
        mu::LogSystemErrorV(iError, szFormat, args);
        va_end(args);
    }
    return bSucceeded;
}

bool CFileAccess::WriteBlock(unsigned long long llPosition, unsigned int uSize, const void* pData)
{
    const int iLastError = m_iLastError;
    if (!SetPosition(llPosition))
    {
        return false;
    }
    // A seek that succeeds would forget the error, and then a full disk would be told again for
    // each block. So the error is put back for Write() to compare.
    m_iLastError = iLastError;
    const int iSize = uSize <= INT_MAX ? static_cast<int>(uSize) : -1; // -1: Write() refuses
    return Write(pData, iSize) == iSize && iSize >= 0;
}

void CFileAccess::WarnShortWrite(int iWritten, int iRequested)
{
    if (ITextLogger* const ptlLogger = mu::TextLoggerFor(IBaseLogger::Warning))
    {
        ptlLogger->LogMessageF(IBaseLogger::Warning,
                               "Wrote %d bytes out of %d requested bytes to file.", iWritten,
                               iRequested);
    }
}

int CFileAccess::Write(const void* pData, int iMessageLength)
{
    CFunctionSwitch fsWrite("FA::Wrt");
    mu::CFunctionParam fpMessageLength(fsWrite, "iMessageLength", iMessageLength);

    errno = EINVAL;
    const ssize_t iWritten = iMessageLength < 0 ? -1
                                                : ::write(m_iDescriptor, pData,
                                                          static_cast<std::size_t>(iMessageLength));
    if (!Settle(iWritten >= 0, "Error writing to file"))
    {
        return -1;
    }
    if (iWritten < iMessageLength)
    {
        WarnShortWrite(static_cast<int>(iWritten), iMessageLength);
    }
    return static_cast<int>(iWritten);
}

int CFileAccess::Read(void* pBuffer, int iBufferLength)
{
    CFunctionSwitch fsRead("FA::Rd");
    mu::CFunctionParam fpBufferLength(fsRead, "iBufferLength", iBufferLength);

    errno = EINVAL;
    const ssize_t iRead =
        iBufferLength < 0 ? -1
                          : ::read(m_iDescriptor, pBuffer, static_cast<std::size_t>(iBufferLength));
    return Settle(iRead >= 0, kReadError) ? static_cast<int>(iRead) : -1;
}

void CFileAccess::ReportReadError(int iError)
{
    errno = iError;
    Settle(false, kReadError);
}

bool CFileAccess::SetPosition(unsigned long long llPosition)
{
    CFunctionSwitch fsSetPosition("FA::SetPos");

    // A position that off_t cannot hold turns negative, and the system refuses it.
    return Settle(::lseek(m_iDescriptor, static_cast<off_t>(llPosition), SEEK_SET) >= 0,
                  "Error setting file position to %lld", static_cast<long long>(llPosition));
}

bool CFileAccess::SetPositionToEnd(unsigned long long& llPosition)
{
    return Seek(SEEK_END, llPosition);
}

bool CFileAccess::Flush()
{
    CFunctionSwitch fsFlush("FA::Fl");

    return Settle(::fsync(m_iDescriptor) == 0, "Error flushing file");
}

unsigned long long CFileAccess::GetPosition()
{
    CFunctionSwitch fsGetPosition("FA::GetPos");

    unsigned long long llPosition = 0;
    Seek(SEEK_CUR, llPosition);
    return llPosition;
}

bool CFileAccess::Seek(int iWhence, unsigned long long& llPosition)
{
    const off_t iPosition = ::lseek(m_iDescriptor, 0, iWhence);
    if (!Settle(iPosition >= 0, "Error getting file position"))
    {
        return false;
    }
    llPosition = static_cast<unsigned long long>(iPosition);
    return true;
}

unsigned long long CFileAccess::GetSize()
{
    CFunctionSwitch fsGetSize("FA::GetSz");

    unsigned long long llSize = 0;
    if (!QuerySize(llSize))
    {
        m_iLastError = errno;
    }
    return llSize;
}

bool CFileAccess::QuerySize(unsigned long long& llSize) const
{
    struct stat status = {};
    if (::fstat(m_iDescriptor, &status) != 0)
    {
        return false;
    }
    llSize = static_cast<unsigned long long>(status.st_size);
    return true;
}

bool CFileAccess::Truncate(unsigned long long llLength)
{
    const auto iLength = static_cast<off_t>(llLength);
    const off_t iPosition = ::lseek(m_iDescriptor, 0, SEEK_CUR);
    if (iPosition < 0 || ::ftruncate(m_iDescriptor, iLength) != 0 ||
        (iPosition > iLength && ::lseek(m_iDescriptor, iLength, SEEK_SET) < 0))
    {
        m_iLastError = errno;
        return false;
    }
    return true;
}

bool CFileAccess::WriteUTF8Header()
{
    constexpr auto kSize = static_cast<int>(mu::kByteOrderMark.size());
    return Write(mu::kByteOrderMark.data(), kSize) == kSize;
}

void CFileAccess::GetLastErrorString(wchar_t* wszText, int iLength) const
{
    if (iLength <= 0)
    {
        return;
    }
    const char* const szError = std::strerror(m_iLastError);
    std::wstring wsError;
    mu::ConvertString(szError, static_cast<int>(std::strlen(szError)), wsError);
    wszText[wsError.copy(wszText, static_cast<std::size_t>(iLength) - 1)] = 0;
}

void CFileAccess::GetLastErrorString(char* szText, int iLength) const
{
    if (iLength <= 0)
    {
        return;
    }
    const std::string_view svError =
        mu::CutText(std::strerror(m_iLastError), static_cast<std::size_t>(iLength) - 1);
    szText[svError.copy(szText, svError.size())] = 0;
}
