#include "logging/day_file.h"

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <iterator>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include "diagnostics/crash_file.h"
#include "mu/text.h"
#include "mu/unicode.h"
#include "threading/sleep.h"

namespace mu
{

namespace
{

constexpr auto kMarkSize = static_cast<int>(kByteOrderMark.size());

} // namespace

CDayFile::CTurn::CTurn(CDayFile& file)
    : m_file(file),
      m_dwThreadID(GetCurrentThreadID()),
      m_bMine(
          [this]
          {
              unsigned long dwNobody = kNoThreadID;
              return m_file.m_dwOwnerID.compare_exchange_strong(dwNobody, m_dwThreadID);
          }())
{
}

CDayFile::CTurn::~CTurn()
{
    unsigned long dwOwnerID = m_dwThreadID;
    if (m_bMine)
    {
        m_file.m_dwOwnerID.compare_exchange_strong(dwOwnerID, kNoThreadID);
    }
}

void CDayFile::AddFileName(std::wstring& wsDirectory, const STimeComponents& date)
{
    AddFolderSeparator(wsDirectory);
    wchar_t wszName[31];
    SWPrintF(wszName, static_cast<int>(std::size(wszName)), L"DebugLog_%04d_%02d_%02d.txt",
             date.m_iYear, date.m_iMonth, date.m_iDay);
    wsDirectory += wszName;
}

// A crash may be using the path that it has found. So the new path goes into the other string, and
// the old one stays until the next change.
void CDayFile::SetPathForCrash(std::string strPath)
{
    m_uCrashPath = 1 - m_uCrashPath;
    std::string& strOwn = m_astrCrashPaths[m_uCrashPath];
    strOwn = std::move(strPath);
    m_szCrashPath = strOwn.empty() ? nullptr : strOwn.data();
}

#ifndef NDEBUG
// A crash may take the file in the middle of a turn.
bool CDayFile::IsInTurn() const
{
    const unsigned long dwOwnerID = m_dwOwnerID;
    return dwOwnerID == GetCurrentThreadID() || dwOwnerID == kCrash;
}
#endif

bool CDayFile::Open(const std::wstring& wsPath, unsigned long long ullNext)
{
    assert(IsInTurn());
    unsigned long long llEnd = 0;
    bool bAtEnd = false;
    if (m_file.Open(wsPath.c_str(), CFileAccess::FM_OPEN_OR_CREATE, true))
    {
        RepeatIfInterrupted([&] { bAtEnd = m_file.SetPositionToEnd(llEnd); });
    }
    if (!bAtEnd)
    {
        m_file.Close();
        return false;
    }
    m_ullFirst = ullNext;
    Begin(m_file.GetDescriptor(), llEnd);
    return true;
}

void CDayFile::Begin(int iDescriptor, unsigned long long llEnd)
{
    m_iMarkLeft = llEnd == 0 ? kMarkSize : 0;
    m_llTextStart = llEnd + static_cast<unsigned int>(m_iMarkLeft);
    m_iDescriptor = iDescriptor;
}

void CDayFile::Close()
{
    assert(IsInTurn());
    m_iDescriptor = -1;
    m_file.Close();
}

int CDayFile::Write(const void* pText, int iSize)
{
    assert(IsInTurn());
    if (m_iMarkLeft > 0)
    {
        const int iWritten = Put(kByteOrderMark.data() + kMarkSize - m_iMarkLeft, m_iMarkLeft);
        m_iMarkLeft -= std::max(iWritten, 0);
        if (m_iMarkLeft > 0)
        {
            return std::min(iWritten, 0);
        }
    }
    return Put(pText, iSize);
}

// Repeats a call that a signal interrupted, but not for ever: a signal that comes again and again
// must not hang the flush.
template <typename TCall>
void CDayFile::RepeatIfInterrupted(TCall call)
{
    constexpr int kMostTries = 100;
    for (int i = 0; i < kMostTries && (i == 0 || m_file.GetLastError() == EINTR); ++i)
    {
        call();
    }
}

int CDayFile::Put(const void* pBytes, int iSize)
{
    int iWritten = -1;
    RepeatIfInterrupted([&] { iWritten = m_file.Write(pBytes, iSize); });
    return iWritten;
}

bool CDayFile::Flush()
{
    bool bFlushed = false;
    RepeatIfInterrupted([&] { bFlushed = m_file.Flush(); });
    return bFlushed;
}

void CDayFile::TakeForCrash(unsigned long long& ullNext)
{
    const bool bOwnerDone = WaitForOwner();
    m_dwOwnerID = kCrash;
    if (!IsOpen())
    {
        OpenForCrash();
        return;
    }
    if (bOwnerDone)
    {
        return;
    }
    // The owner was stopped inside a write, and only the file's position tells how far it came.
    // lseek() waits for the end of a write that is still under way.
    const off_t iPosition = ::lseek(m_iDescriptor, 0, SEEK_CUR);
    if (iPosition >= 0)
    {
        const auto llPosition = static_cast<unsigned long long>(iPosition);
        const unsigned long long llText = std::max(llPosition, m_llTextStart);
        m_iMarkLeft =
            static_cast<int>(std::min<unsigned long long>(llText - llPosition, kMarkSize));
        ullNext = m_ullFirst + (llText - m_llTextStart);
    }
}

// Waits a second at most until the owner is done. False if it is not, or if the calling thread is
// the owner and crashed in its own turn.
bool CDayFile::WaitForOwner()
{
    constexpr int kTries = 200;
    unsigned long dwOwnerID = kNoThreadID;
    for (int i = 0; i < kTries && dwOwnerID != GetCurrentThreadID(); ++i)
    {
        SleepMS(i == 0 ? 0 : 5);
        dwOwnerID = kNoThreadID;
        if (m_dwOwnerID.compare_exchange_strong(dwOwnerID, kCrash))
        {
            return true;
        }
    }
    return false;
}

void CDayFile::OpenForCrash()
{
    if (char* const szPath = m_szCrashPath)
    {
        MakeDirectoriesInCrash(szPath);
        const int iDescriptor = OpenFileInCrash(szPath, 0);
        const off_t iEnd = ::lseek(iDescriptor, 0, SEEK_END);
        if (iEnd >= 0)
        {
            Begin(iDescriptor, static_cast<unsigned long long>(iEnd));
        }
    }
}

bool CDayFile::AppendInCrash(const char* pText, std::size_t uSize)
{
    const auto uMarkLeft = static_cast<std::size_t>(std::exchange(m_iMarkLeft, 0));
    return WriteAllInCrash(m_iDescriptor, kByteOrderMark.data() + kByteOrderMark.size() - uMarkLeft,
                           uMarkLeft) &&
           WriteAllInCrash(m_iDescriptor, pText, uSize);
}

} // namespace mu
