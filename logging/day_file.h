#ifndef ZOR_LOGGING_DAY_FILE_H
#define ZOR_LOGGING_DAY_FILE_H

#include <atomic>
#include <cstddef>
#include <string>

#include "io/file_access.h"
#include "mu/calendar.h"
#include "threading/thread_id.h"
#include "threading/thread_safety.h"

namespace mu
{

/// The file in which a daily log keeps a day: UTF-8 with a byte-order mark, appended to.
///
/// The bytes of the log's text are numbered, on and on from day to day. By these numbers a crash
/// knows how far the flush had come that it interrupted, so that no line is written twice or left
/// out.
///
/// One thread at a time, and inside a CTurn, except where an operation says otherwise.
class ZOR_CAPABILITY("turn") CDayFile
{
public:
    /// Holds the file for a scope, if it is free. Once a crash has taken it, it is never free
    /// again.
    class ZOR_SCOPED_CAPABILITY CTurn
    {
    public:
        explicit CTurn(CDayFile& file) ZOR_ACQUIRE(file);
        ~CTurn() ZOR_RELEASE();

        CTurn(const CTurn&) = delete;
        CTurn& operator=(const CTurn&) = delete;

        bool IsMine() const { return m_bMine; }

    private:
        CDayFile& m_file;
        const unsigned long m_dwThreadID;
        const bool m_bMine;
    };

    CDayFile() = default;

    CDayFile(const CDayFile&) = delete;
    CDayFile& operator=(const CDayFile&) = delete;

    /// Adds "DebugLog_2026_11_15.txt" to a directory. Throws std::bad_alloc.
    static void AddFileName(std::wstring& wsDirectory, const STimeComponents& date);

    /// Where a crash finds the file while it is not open; empty for nowhere. The directories need
    /// not exist. No turn is needed, but one thread at a time.
    void SetPathForCrash(std::string strPath);

    bool IsOpen() const { return m_iDescriptor.load(std::memory_order_relaxed) >= 0; }
    /// Makes the file if it is missing. ullNext is the number of the first byte to be written.
    bool Open(const std::wstring& wsPath, unsigned long long ullNext) ZOR_REQUIRES(this);
    void Close() ZOR_REQUIRES(this);
    /// Returns the bytes written, which may be fewer, or -1 if an error came before the first. What
    /// was interrupted by a signal goes on.
    int Write(const void* pText, int iSize) ZOR_REQUIRES(this);
    /// Makes what was written survive a power cut. Needs no turn.
    bool Flush();

    // In a crash: system calls only, no lock without a limit, no allocation. One thread.

    /// Takes the file for good. Waits a moment for the owner of a turn; then makes and opens the
    /// file if it is not open. If the owner was stopped inside a write, ullNext becomes the number
    /// of the next byte to write; else it is not changed.
    void TakeForCrash(unsigned long long& ullNext);
    /// False also if there is no file.
    bool AppendInCrash(const char* pText, std::size_t uSize);

private:
    static constexpr unsigned long kCrash = 0; // no thread's id

#ifndef NDEBUG
    bool IsInTurn() const;
#endif
    bool WaitForOwner();
    void OpenForCrash();
    void Begin(int iDescriptor, unsigned long long llEnd);
    template <typename TCall>
    void RepeatIfInterrupted(TCall call);
    int Put(const void* pBytes, int iSize);

    CFileAccess m_file;
    std::atomic<unsigned long> m_dwOwnerID{kNoThreadID};
    // Set last when the file opens, cleared first when it closes.
    std::atomic<int> m_iDescriptor{-1};
    unsigned long long m_llTextStart = 0; // the position at which the text begins
    unsigned long long m_ullFirst = 0;    // the number of the byte there
    int m_iMarkLeft = 0;                  // bytes of the byte-order mark that are not written
    std::string m_astrCrashPaths[2];      // the one in use and the one before
    std::size_t m_uCrashPath = 0;
    std::atomic<char*> m_szCrashPath{nullptr}; // null: nowhere
};

} // namespace mu

#endif
