// The operations of CFileAccess on whole files: detecting, loading, storing and copying.

#include "io/file_access.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

#include "diagnostics/function_state.h"
#include "logging/logger.h"
#include "mu/file_system.h"
#include "mu/memory_block.h"
#include "mu/unicode.h"

namespace
{

constexpr int kCopyChunk = 512;
constexpr int kContentChunk = 4096;

bool IsSameRegularFile(const struct stat& a, const struct stat& b)
{
    return S_ISREG(a.st_mode) && a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// Reads until iLength bytes or the end of the file. Returns the bytes read, -1 after an error.
int ReadAll(CFileAccess& file, char* pBuffer, int iLength)
{
    int iTotal = 0;
    int iRead = 1;
    while (iRead > 0 && iTotal < iLength)
    {
        iRead = file.Read(pBuffer + iTotal, iLength - iTotal);
        iTotal += iRead;
    }
    return iRead < 0 ? -1 : iTotal;
}

// False without memory.
bool DecodeUTF8(const char* szText, int iLength, std::wstring& wsText)
{
    // ConvertString() returns 0 without memory, but also for a text that is the beginning of one
    // sequence. No sequence is longer than six bytes, so a longer text that gives neither
    // characters nor an error means that there was no memory.
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

bool CFileAccess::DetectTextFileEncoding(ETextFileEncoding& eEncoding, int& iHeaderLength)
{
    CFunctionSwitch fsDetect("FA::DTFE1");

    unsigned char aBytes[3] = {};
    const int iBytes = static_cast<int>(std::min<unsigned long long>(GetSize(), sizeof(aBytes)));
    if (Read(aBytes, iBytes) < iBytes || iBytes < 2)
    {
        return false;
    }

    const auto Begins = [&](unsigned char uFirst, unsigned char uSecond)
    { return aBytes[0] == uFirst && aBytes[1] == uSecond; };
    if (iBytes == 3 && Begins(0xEF, 0xBB) && aBytes[2] == 0xBF)
    {
        eEncoding = TFE_UTF8;
        iHeaderLength = 3;
    }
    else if (Begins(0xFF, 0xFE) || Begins(0xFE, 0xFF))
    {
        eEncoding = aBytes[0] == 0xFF ? TFE_UTF16LE : TFE_UTF16BE;
        iHeaderLength = 2;
    }
    else if (Begins(0, 0))
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

    if (pReader == nullptr)
    {
        return 0;
    }
    // A CFileAccess moves its position with each read, so it is not moved here; one on a pipe
    // would even log an error when asked for its position.
    const auto* const pFile = dynamic_cast<const CFileAccess*>(pReader);
    bool bMayStay = pFile == nullptr;
    if (pFile != nullptr)
    {
        struct stat source = {};
        struct stat target = {};
        if (::fstat(pFile->m_iDescriptor, &source) != 0 || ::fstat(m_iDescriptor, &target) != 0 ||
            IsSameRegularFile(source, target))
        {
            return 0; // a file that is copied onto itself grows for ever
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
            // A reader that cannot be moved has no position, as a pipe: its next read goes on.
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

// -1, reported, for a file whose size is not known or that an int cannot count.
int CFileAccess::GetSizeToLoad()
{
    unsigned long long llSize = 0;
    const bool bKnown = QuerySize(llSize);
    if (!bKnown || llSize > INT_MAX)
    {
        ReportReadError(bKnown ? EFBIG : errno);
        return -1;
    }
    return static_cast<int>(llSize);
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
    const int iSize = file.GetSizeToLoad();
    if (iSize < 0)
    {
        return -1;
    }
    void* const pData = block.Resize(static_cast<unsigned int>(iSize));
    if (iSize == 0)
    {
        return 0;
    }
    if (pData == nullptr)
    {
        file.ReportReadError(ENOMEM);
        return -1;
    }
    const int iRead = file.Read(pData, iSize);
    // The block ends where the read ended: the bytes after that were never written.
    block.Resize(static_cast<unsigned int>(std::max(iRead, 0)));
    return iRead;
}

bool CFileAccess::CopyContents(const wchar_t* wszSource, const wchar_t* wszTarget)
{
    // What cannot be copied must show before the target is emptied: a directory, which can be
    // opened but not read, and a source of unknown size.
    CFileAccess source;
    char aChunk[kCopyChunk];
    if (!source.Open(wszSource, FM_READ, true) || source.Read(aChunk, 0) < 0)
    {
        return false;
    }
    struct stat statusOfSource = {};
    if (::fstat(source.m_iDescriptor, &statusOfSource) != 0)
    {
        source.ReportReadError(errno);
        return false;
    }
    struct stat statusOfTarget = {};
    const std::string strTarget = mu::PathToUTF8(wszTarget);
    if (::stat(strTarget.c_str(), &statusOfTarget) == 0 &&
        IsSameRegularFile(statusOfSource, statusOfTarget))
    {
        mu::LogSystemError(EINVAL, "Error copying file %s onto itself", strTarget.c_str());
        return false;
    }

    CFileAccess target;
    if (!target.Open(wszTarget, FM_CREATE, false))
    {
        return false;
    }
    for (off_t iRest = statusOfSource.st_size; iRest > 0;)
    {
        const int iChunk = static_cast<int>(std::min<off_t>(iRest, kCopyChunk));
        if (source.Read(aChunk, iChunk) != iChunk || target.Write(aChunk, iChunk) != iChunk)
        {
            return false;
        }
        iRest -= iChunk;
    }
    return true;
}

bool CFileAccess::Copy(const wchar_t* wszSource, const wchar_t* wszTarget)
{
    CFunctionSwitch fsCopy("FA::Cp");
    mu::CFunctionParam fpSource(fsCopy, "wszSource", wszSource);
    mu::CFunctionParam fpTarget(fsCopy, "wszTarget", wszTarget);

    if (!CopyContents(wszSource, wszTarget))
    {
        return false;
    }
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
    mu::CFunctionParam fpPath(fsDetect, "wszPath", wszPath);

    CFileAccess file;
    return file.Open(wszPath, FM_READ, true) &&
           file.DetectTextFileEncoding(eEncoding, iHeaderLength);
}

bool CFileAccess::ToString(const wchar_t* wszPath, std::wstring& wsContent)
{
    CFunctionSwitch fsToString("FA::TOS");
    mu::CFunctionParam fpPath(fsToString, "wszPath", wszPath);

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
                                   mu::PathToUTF8(wszPath).c_str());
        }
        return false;
    }

    const int iSize = file.GetSizeToLoad();
    if (iSize < 0)
    {
        return false;
    }
    // The file may have shrunk meanwhile.
    const auto uMaxLength = static_cast<std::size_t>(std::max(iSize - iHeaderLength, 0));
    const std::unique_ptr<char[]> pText(new (std::nothrow) char[uMaxLength]);
    if (pText == nullptr)
    {
        file.ReportReadError(ENOMEM);
        return false;
    }
    const int iLength = file.SetPosition(static_cast<unsigned int>(iHeaderLength))
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
    mu::CFunctionParam fpFileName(fsGetContent, "szFileName", szFileName);

    CFileAccess file;
    file.m_iDescriptor = OpenDescriptor(szFileName, FM_READ);
    if (!file.IsValid())
    {
        return false;
    }
    strContent.clear();
    char aChunk[kContentChunk];
    int iRead = 0;
    try
    {
        do
        {
            iRead = file.Read(aChunk, kContentChunk);
            strContent.append(aChunk, static_cast<std::size_t>(std::max(iRead, 0)));
        } while (iRead == kContentChunk);
    }
    catch (const std::exception&)
    {
        file.ReportReadError(ENOMEM);
        return false;
    }
    return true;
}

bool CFileAccess::SetStrFileContent(const char* szFileName, const char* szValue)
{
    CFunctionSwitch fsSetContent("FA::SSFC");
    mu::CFunctionParam fpFileName(fsSetContent, "szFileName", szFileName);
    mu::CFunctionParam fpValue(fsSetContent, "szValue", szValue);

    CFileAccess file;
    file.m_iDescriptor = OpenDescriptor(szFileName, FM_CREATE);
    if (!file.IsValid())
    {
        mu::LogSystemError(errno, "File %s open failure", szFileName);
        return false;
    }
    const std::size_t uLength = std::strlen(szValue);
    errno = EFBIG;
    const ssize_t iWritten = uLength > INT_MAX ? -1 : ::write(file.m_iDescriptor, szValue, uLength);
    if (iWritten < 0)
    {
        mu::LogSystemError(errno, "File %s write failure", szFileName);
        return false;
    }
    if (static_cast<std::size_t>(iWritten) < uLength)
    {
        WarnShortWrite(static_cast<int>(iWritten), static_cast<int>(uLength));
        return false;
    }
    return true;
}
