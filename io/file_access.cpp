#include "io/file_access.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "diagnostics/function_state.h"
#include "logging/logger.h"
#include "mu/file_system.h"
#include "mu/memory_block.h"
#include "mu/unicode.h"

static_assert(sizeof(off_t) == 8, "positions beyond 4 GiB");

namespace
{

constexpr int kCopyChunk = 512;
constexpr int kContentChunk = 4096;

int OpenDescriptor(const char* szPath, CFileAccess::FileMode eMode)
{
    int iFlags = O_RDONLY;
    switch (eMode)
    {
    case CFileAccess::FM_READ:
        break;
    case CFileAccess::FM_CREATE:
        iFlags = O_RDWR | O_CREAT | O_TRUNC;
        break;
    case CFileAccess::FM_OPEN_OR_CREATE:
        iFlags = O_RDWR | O_CREAT;
        break;
    case CFileAccess::FM_READ_WRITE:
        iFlags = O_RDWR;
        break;
    }
    return ::open(szPath, iFlags | O_CLOEXEC, 0600);
}

bool IsSameRegularFile(const struct stat& a, const struct stat& b)
{
    return S_ISREG(a.st_mode) && a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

void WarnShortWrite(int iWritten, int iRequested)
{
    if (ITextLogger* const ptlLogger = mu::TextLoggerFor(IBaseLogger::Warning))
    {
        ptlLogger->LogMessageF(IBaseLogger::Warning,
                               "Wrote %d bytes out of %d requested bytes to file.", iWritten,
                               iRequested);
    }
}

// Bytes up to iLength, the end of the file or an error; -1 on an error.
int ReadAll(CFileAccess& file, char* pBuffer, int iLength)
{
    int iTotal = 0;
    while (iTotal < iLength)
    {
        const int iRead = file.Read(pBuffer + iTotal, iLength - iTotal);
        if (iRead < 0)
        {
            return -1;
        }
        if (iRead == 0)
        {
            break;
        }
        iTotal += iRead;
    }
    return iTotal;
}

// False without memory.
bool DecodeUTF8(const char* szText, int iLength, std::wstring& wsText)
{
    // Six bytes are the longest sequence: longer texts give a character or a malformed sequence.
    const char* szError = nullptr;
    return mu::ConvertString(szText, iLength, wsText, &szError) > 0 || szError != nullptr ||
           iLength <= 6;
}

bool DecodeUTF16(const char* pText, int iLength, bool bLittleEndian, std::wstring& wsText)
{
    try
    {
        wsText.resize(static_cast<std::size_t>(iLength / 2));
    }
    catch (const std::exception&)
    {
        return false;
    }
    const auto* const pBytes = reinterpret_cast<const unsigned char*>(pText);
    const std::size_t uHigh = bLittleEndian ? 1 : 0;
    for (std::size_t u = 0; u < wsText.size(); ++u)
    {
        wsText[u] = static_cast<wchar_t>((pBytes[2 * u + uHigh] << 8) | pBytes[2 * u + 1 - uHigh]);
    }
    return true;
}

} // namespace

bool CFileAccess::Open(const wchar_t* wszFileName, FileMode eMode, bool)
{
    CFunctionSwitch fsOpen("FA::Op");
    CFunctionParam fpFileName(fsOpen, "wszFileName", wszFileName);

    return OpenPath(mu::WideStringToNarrow(wszFileName).c_str(), eMode);
}

bool CFileAccess::Open(const char* szFileName, FileMode eMode, bool)
{
    CFunctionSwitch fsOpen("FA::Op");
    CFunctionParam fpFileName(fsOpen, "szFileName", szFileName);

    return OpenPath(szFileName, eMode);
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
    if (!IsValid())
    {
        const int iError = errno;
        if (ITextLogger* const ptlLogger = LoggerForError(iError))
        {
            ptlLogger->LogMessageF(IBaseLogger::Error, "Error opening file %s: (%d) %s", szPath,
                                   iError, std::strerror(iError));
        }
        return false;
    }
    m_iLastError = 0;
    return true;
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

// The error becomes the last one. The logger is null when nobody is to be told: no logger, or the
// same error as before.
ITextLogger* CFileAccess::LoggerForError(int iError)
{
    if (iError == m_iLastError)
    {
        return nullptr;
    }
    m_iLastError = iError;
    return mu::TextLoggerFor(IBaseLogger::Error);
}

bool CFileAccess::WriteBlock(unsigned long long llPosition, unsigned int uSize, const void* pData)
{
    const int iLastError = m_iLastError;
    if (!SetPosition(llPosition))
    {
        return false;
    }
    // Finding the place is no success yet: a full disk must not be told again for each block.
    m_iLastError = iLastError;
    const int iSize = uSize <= INT_MAX ? static_cast<int>(uSize) : -1; // -1: Write() refuses
    return Write(pData, iSize) == iSize && iSize >= 0;
}

int CFileAccess::Write(const void* pData, int iMessageLength)
{
    CFunctionSwitch fsWrite("FA::Wrt");
    CFunctionParam fpMessageLength(fsWrite, "iMessageLength", iMessageLength);

    errno = EINVAL;
    const ssize_t iWritten = iMessageLength < 0 ? -1
                                                : ::write(m_iDescriptor, pData,
                                                          static_cast<std::size_t>(iMessageLength));
    if (iWritten < 0)
    {
        const int iError = errno;
        if (ITextLogger* const ptlLogger = LoggerForError(iError))
        {
            ptlLogger->LogMessageF(IBaseLogger::Error, "Error writing to file: (%d) %s", iError,
                                   std::strerror(iError));
        }
        return -1;
    }
    if (iWritten < iMessageLength)
    {
        WarnShortWrite(static_cast<int>(iWritten), iMessageLength);
    }
    m_iLastError = 0;
    return static_cast<int>(iWritten);
}

int CFileAccess::Read(void* pBuffer, int iBufferLength)
{
    CFunctionSwitch fsRead("FA::Rd");
    CFunctionParam fpBufferLength(fsRead, "iBufferLength", iBufferLength);

    errno = EINVAL;
    const ssize_t iRead =
        iBufferLength < 0 ? -1
                          : ::read(m_iDescriptor, pBuffer, static_cast<std::size_t>(iBufferLength));
    if (iRead < 0)
    {
        ReportReadError(errno);
        return -1;
    }
    m_iLastError = 0;
    return static_cast<int>(iRead);
}

void CFileAccess::ReportReadError(int iError)
{
    if (ITextLogger* const ptlLogger = LoggerForError(iError))
    {
        ptlLogger->LogMessageF(IBaseLogger::Error, "Error reading from file: (%d) %s", iError,
                               std::strerror(iError));
    }
}

bool CFileAccess::SetPosition(unsigned long long llPosition)
{
    CFunctionSwitch fsSetPosition("FA::SetPos");

    // A position that off_t cannot hold is negative there, which the system refuses.
    if (::lseek(m_iDescriptor, static_cast<off_t>(llPosition), SEEK_SET) < 0)
    {
        const int iError = errno;
        if (ITextLogger* const ptlLogger = LoggerForError(iError))
        {
            ptlLogger->LogMessageF(
                IBaseLogger::Error, "Error setting file position to %lld: (%d) %s",
                static_cast<long long>(llPosition), iError, std::strerror(iError));
        }
        return false;
    }
    m_iLastError = 0;
    return true;
}

bool CFileAccess::Flush()
{
    CFunctionSwitch fsFlush("FA::Fl");

    if (::fsync(m_iDescriptor) != 0)
    {
        const int iError = errno;
        if (ITextLogger* const ptlLogger = LoggerForError(iError))
        {
            ptlLogger->LogMessageF(IBaseLogger::Error, "Error flushing file: (%d) %s", iError,
                                   std::strerror(iError));
        }
        return false;
    }
    m_iLastError = 0;
    return true;
}

unsigned long long CFileAccess::GetPosition()
{
    CFunctionSwitch fsGetPosition("FA::GetPos");

    const off_t iPosition = ::lseek(m_iDescriptor, 0, SEEK_CUR);
    if (iPosition < 0)
    {
        const int iError = errno;
        if (ITextLogger* const ptlLogger = LoggerForError(iError))
        {
            ptlLogger->LogMessageF(IBaseLogger::Error, "Error getting file position: (%d) %s",
                                   iError, std::strerror(iError));
        }
        return 0;
    }
    m_iLastError = 0;
    return static_cast<unsigned long long>(iPosition);
}

unsigned long long CFileAccess::GetSize()
{
    CFunctionSwitch fsGetSize("FA::GetSz");

    struct stat status = {};
    if (::fstat(m_iDescriptor, &status) != 0)
    {
        m_iLastError = errno;
        return 0;
    }
    return static_cast<unsigned long long>(status.st_size);
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
    return Write("\xEF\xBB\xBF", 3) == 3;
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
    const char* const szError = std::strerror(m_iLastError);
    std::size_t uLength = std::min(std::strlen(szError), static_cast<std::size_t>(iLength) - 1);
    while (uLength > 0 && (szError[uLength] & 0xC0) == 0x80)
    {
        --uLength;
    }
    std::memcpy(szText, szError, uLength);
    szText[uLength] = 0;
}

bool CFileAccess::DetectTextFileEncoding(ETextFileEncoding& eEncoding, int& iHeaderLength)
{
    CFunctionSwitch fsDetect("FA::DTFE1");

    unsigned char aBytes[3] = {};
    const int iBytes = static_cast<int>(std::min<unsigned long long>(GetSize(), sizeof(aBytes)));
    if (Read(aBytes, iBytes) < iBytes || iBytes < 2)
    {
        return false;
    }

    const auto begins = [&](unsigned char uFirst, unsigned char uSecond)
    { return aBytes[0] == uFirst && aBytes[1] == uSecond; };
    if (iBytes == 3 && begins(0xEF, 0xBB) && aBytes[2] == 0xBF)
    {
        eEncoding = TFE_UTF8;
        iHeaderLength = 3;
    }
    else if (begins(0xFF, 0xFE) || begins(0xFE, 0xFF))
    {
        eEncoding = aBytes[0] == 0xFF ? TFE_UTF16LE : TFE_UTF16BE;
        iHeaderLength = 2;
    }
    else if (begins(0, 0))
    {
        return false;
    }
    else
    {
        eEncoding = aBytes[0] == 0 ? TFE_UTF16BE : aBytes[1] == 0 ? TFE_UTF16LE : TFE_UTF8;
        iHeaderLength = 0;
    }
    return true;
}

unsigned int CFileAccess::Copy(IFileReader* pReader)
{
    CFunctionSwitch fsCopy("FA::Cp");

    // A file moves by itself, and one on a pipe would complain of being asked where it is.
    const auto* const pFile = dynamic_cast<const CFileAccess*>(pReader);
    bool bMayStay = pFile == nullptr;
    if (pFile != nullptr)
    {
        struct stat source = {};
        struct stat target = {};
        if (::fstat(pFile->m_iDescriptor, &source) == 0 && ::fstat(m_iDescriptor, &target) == 0 &&
            IsSameRegularFile(source, target))
        {
            return 0; // it could grow for ever
        }
    }

    char aChunk[kCopyChunk];
    unsigned int uTotal = 0;
    for (;;)
    {
        const unsigned long long llPosition = bMayStay ? pReader->GetPosition() : 0;
        const int iRead = pReader->Read(aChunk, kCopyChunk);
        if (iRead < 1 || iRead > kCopyChunk)
        {
            break;
        }
        if (bMayStay && pReader->GetPosition() == llPosition)
        {
            // A reader that cannot be moved has no position to speak of, as a pipe has none.
            bMayStay = pReader->SetPosition(llPosition + static_cast<unsigned int>(iRead));
        }
        const int iWritten = Write(aChunk, iRead);
        if (iWritten < 1)
        {
            break;
        }
        uTotal += static_cast<unsigned int>(iWritten);
        if (iWritten < iRead || iRead < kCopyChunk)
        {
            break;
        }
    }
    return uTotal;
}

bool CFileAccess::Truncate(const wchar_t* wszPath)
{
    CFileAccess file;
    return file.Open(wszPath, FM_CREATE, false);
}

int CFileAccess::ToBuffer(const wchar_t* wszPath, CMemBlockPtr& block)
{
    CFileAccess file;
    if (!file.Open(wszPath, FM_READ, true))
    {
        return -1;
    }
    const unsigned long long llSize = file.GetSize();
    if (llSize > INT_MAX)
    {
        file.ReportReadError(EFBIG);
        return -1;
    }
    void* const pData = block.Resize(static_cast<unsigned int>(llSize));
    if (llSize == 0)
    {
        return 0;
    }
    if (pData == nullptr)
    {
        file.ReportReadError(ENOMEM);
        return -1;
    }
    const int iRead = file.Read(pData, static_cast<int>(llSize));
    if (iRead < static_cast<int>(llSize))
    {
        block.Resize(static_cast<unsigned int>(std::max(iRead, 0))); // no bytes that nobody wrote
    }
    return iRead;
}

bool CFileAccess::Copy(const wchar_t* wszSource, const wchar_t* wszTarget)
{
    CFunctionSwitch fsCopy("FA::Cp");
    CFunctionParam fpSource(fsCopy, "wszSource", wszSource);
    CFunctionParam fpTarget(fsCopy, "wszTarget", wszTarget);

    CFileAccess source;
    char aChunk[kCopyChunk];
    // A directory can be opened but not read: find out before the target is emptied.
    if (!source.Open(wszSource, FM_READ, true) || source.Read(aChunk, 0) < 0)
    {
        return false;
    }
    struct stat statusOfSource = {};
    struct stat statusOfTarget = {};
    const std::string strTarget = mu::WideStringToNarrow(wszTarget);
    if (::fstat(source.m_iDescriptor, &statusOfSource) == 0 &&
        ::stat(strTarget.c_str(), &statusOfTarget) == 0 &&
        IsSameRegularFile(statusOfSource, statusOfTarget))
    {
        if (ITextLogger* const ptlLogger = mu::TextLoggerFor(IBaseLogger::Error))
        {
            ptlLogger->LogMessageF(IBaseLogger::Error, "Error copying file %s onto itself: (%d) %s",
                                   strTarget.c_str(), EINVAL, std::strerror(EINVAL));
        }
        return false;
    }

    CFileAccess target;
    if (!target.Open(wszTarget, FM_CREATE, false))
    {
        return false;
    }
    for (unsigned long long llRest = source.GetSize(); llRest > 0;)
    {
        const int iChunk = static_cast<int>(std::min<unsigned long long>(llRest, kCopyChunk));
        if (source.Read(aChunk, iChunk) != iChunk || target.Write(aChunk, iChunk) != iChunk)
        {
            return false;
        }
        llRest -= static_cast<unsigned int>(iChunk);
    }
    source.Close();
    target.Close();

    unsigned long long llChangeTime = 0;
    unsigned long long llAccessTime = 0;
    unsigned long long llModifyTime = 0;
    if (mu::GetFileTimesByPath(wszSource, llChangeTime, llAccessTime, llModifyTime))
    {
        mu::SetFileTimesByPath(wszTarget, llChangeTime, llAccessTime, llModifyTime);
    }
    return true;
}

bool CFileAccess::DetectTextFileEncoding(const wchar_t* wszPath, ETextFileEncoding& eEncoding,
                                         int& iHeaderLength)
{
    CFunctionSwitch fsDetect("FA::DTFE2");
    CFunctionParam fpPath(fsDetect, "wszPath", wszPath);

    CFileAccess file;
    return file.Open(wszPath, FM_READ, true) &&
           file.DetectTextFileEncoding(eEncoding, iHeaderLength);
}

bool CFileAccess::ToString(const wchar_t* wszPath, std::wstring& wsContent)
{
    CFunctionSwitch fsToString("FA::TOS");
    CFunctionParam fpPath(fsToString, "wszPath", wszPath);

    CFileAccess file;
    if (!file.Open(wszPath, FM_READ, true))
    {
        return false;
    }
    ETextFileEncoding eEncoding = TFE_NONE;
    int iHeaderLength = 0;
    if (!file.DetectTextFileEncoding(eEncoding, iHeaderLength))
    {
        if (ITextLogger* const ptlLogger = mu::TextLoggerFor(IBaseLogger::Error))
        {
            ptlLogger->LogMessageF(IBaseLogger::Error, "No detection of text encoding for file: %s",
                                   mu::WideStringToNarrow(wszPath).c_str());
        }
        return false;
    }

    const auto uHeaderLength = static_cast<unsigned int>(iHeaderLength);
    const unsigned long long llSize = std::max<unsigned long long>(file.GetSize(), uHeaderLength);
    if (llSize > INT_MAX)
    {
        file.ReportReadError(EFBIG);
        return false;
    }
    const std::size_t uMaxLength = static_cast<std::size_t>(llSize) - uHeaderLength;
    const std::unique_ptr<char[]> pText(new (std::nothrow) char[uMaxLength]);
    if (pText == nullptr)
    {
        file.ReportReadError(ENOMEM);
        return false;
    }
    const int iLength = file.SetPosition(uHeaderLength)
                            ? ReadAll(file, pText.get(), static_cast<int>(uMaxLength))
                            : -1;
    if (iLength < 0)
    {
        return false;
    }
    std::wstring wsText;
    const bool bDecoded = eEncoding == TFE_UTF16LE || eEncoding == TFE_UTF16BE
                              ? DecodeUTF16(pText.get(), iLength, eEncoding == TFE_UTF16LE, wsText)
                              : DecodeUTF8(pText.get(), iLength, wsText);
    if (!bDecoded)
    {
        file.ReportReadError(ENOMEM);
        return false;
    }
    wsContent = std::move(wsText);
    return true;
}

bool CFileAccess::GetStrFileContent(const char* szFileName, std::string& strContent)
{
    CFunctionSwitch fsGetContent("FA::GSFC");
    CFunctionParam fpFileName(fsGetContent, "szFileName", szFileName);

    CFileAccess file;
    file.m_iDescriptor = OpenDescriptor(szFileName, FM_READ);
    if (!file.IsValid())
    {
        return false;
    }
    strContent.clear();
    char aChunk[kContentChunk];
    int iRead = 0;
    do
    {
        iRead = file.Read(aChunk, kContentChunk);
        strContent.append(aChunk, static_cast<std::size_t>(std::max(iRead, 0)));
    } while (iRead == kContentChunk);
    return true;
}

bool CFileAccess::SetStrFileContent(const char* szFileName, const char* szValue)
{
    CFunctionSwitch fsSetContent("FA::SSFC");
    CFunctionParam fpFileName(fsSetContent, "szFileName", szFileName);
    CFunctionParam fpValue(fsSetContent, "szValue", szValue);

    CFileAccess file;
    file.m_iDescriptor = OpenDescriptor(szFileName, FM_CREATE);
    if (!file.IsValid())
    {
        const int iError = errno;
        if (ITextLogger* const ptlLogger = mu::TextLoggerFor(IBaseLogger::Error))
        {
            ptlLogger->LogMessageF(IBaseLogger::Error, "File %s open failure: (%d) %s", szFileName,
                                   iError, std::strerror(iError));
        }
        return false;
    }
    const std::size_t uLength = std::strlen(szValue);
    errno = EFBIG;
    const ssize_t iWritten = uLength > INT_MAX ? -1 : ::write(file.m_iDescriptor, szValue, uLength);
    if (iWritten < 0)
    {
        const int iError = errno;
        if (ITextLogger* const ptlLogger = mu::TextLoggerFor(IBaseLogger::Error))
        {
            ptlLogger->LogMessageF(IBaseLogger::Error, "File %s write failure: (%d) %s", szFileName,
                                   iError, std::strerror(iError));
        }
        return false;
    }
    if (static_cast<std::size_t>(iWritten) < uLength)
    {
        WarnShortWrite(static_cast<int>(iWritten), static_cast<int>(uLength));
        return false;
    }
    return true;
}
