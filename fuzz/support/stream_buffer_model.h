#ifndef ZOR_FUZZ_SUPPORT_STREAM_BUFFER_MODEL_H
#define ZOR_FUZZ_SUPPORT_STREAM_BUFFER_MODEL_H

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <deque>
#include <stdexcept>
#include <string>
#include <vector>

#include "diagnostics/function_state.h"
#include "io/safe_stream_buffer.h"
#include "threading/auto_delete.h"

/// A CSafeStreamBuffer beside a plain queue of its unread bytes and of where each must lie. Every
/// step does one operation of either side and checks every law; it throws one that is broken.
class CStreamBufferModel
{
public:
    CStreamBufferModel() { SetMemory(24); }

    /// Any numbers will do; sizes that matter are from -1 to 60.
    void Step(unsigned int uOperation, int n)
    {
        using M = CStreamBufferModel;
        static constexpr void (M::*kOperations[])(int) = {
            &M::Allocate, &M::CommitWritten, &M::CommitWrittenOverEnd,
            &M::Write,    &M::Take,          &M::CommitRead,
            &M::Skip,     &M::CopyOut,       &M::Freeze,
            &M::End,      &M::SetMemory};
        static constexpr char kWeights[] = "aaaaaabbbbbcddeeeeefffghhhiijk";
        m_cOperation = kWeights[uOperation % (sizeof(kWeights) - 1)];
        const auto pOperation = kOperations[m_cOperation - 'a'];
        (this->*pOperation)(n);
        CheckLaws();
    }

private:
    struct SBlock
    {
        char* p = nullptr;
        int iSize = 0;
        bool bHeld = false;  // not given back
        bool bValid = false; // can be committed, held or not
    };

    void Check(bool bHolds, const char* szLaw) const
    {
        if (!bHolds)
        {
            char szState[200];
            m_pBuffer->PrintState(szState, sizeof(szState), szLaw);
            throw std::runtime_error(std::string("operation ") + m_cOperation + ": " + szState);
        }
    }

    int Size() const { return static_cast<int>(m_vecMemory.size()); }
    int Unread() const { return static_cast<int>(m_queue.size()); }
    int Readable() const { return m_bFrozen ? 0 : Unread(); }
    bool IsWrapped() const { return m_iRead > m_iWrite || (m_iRead == m_iWrite && Unread() > 0); }
    int FreeAhead() const { return (IsWrapped() ? m_iRead : Size()) - m_iWrite; }
    int Free() const { return FreeAhead() + (IsWrapped() ? 0 : m_iRead); }
    int Largest() const
    {
        return Unread() == 0 ? Size() : std::max(FreeAhead(), IsWrapped() ? 0 : m_iRead);
    }
    bool IsWritable() const { return !m_bFrozen && (!m_read.bHeld || m_read.bValid); }
    char* At(int iOffset) { return m_vecMemory.data() + iOffset % std::max(Size(), 1); }

    void Fill(int iOffset, int iSize)
    {
        for (int i = 0; i < iSize; ++i)
        {
            *At(iOffset + i) = ++m_cNext;
        }
    }
    void Written(bool bResult, bool bTaken, int iOffset, int n)
    {
        Check(bResult == (bTaken || n == 0) && !m_pBuffer->CommitWrittenBlock(&m_cNext, 1, 1),
              "commits what was allocated");
        m_written.bHeld = false;
        for (int i = 0; bTaken && i < n; ++i)
        {
            m_queue.push_back(At(iOffset + i));
            m_strUnread += *m_queue.back();
            m_iWrite = (iOffset + n) % Size();
            m_written = {};
        }
    }
    void Allocate(int n)
    {
        char* const p = static_cast<char*>(m_pBuffer->AllocateBlock(n));
        Check((p != nullptr) == (IsWritable() && n > 0 && n <= Largest()), "grants what is free");
        if (p != nullptr)
        {
            const int iOffset = n <= FreeAhead() ? m_iWrite : 0;
            Check(p == At(iOffset), "grants at the write offset, else at the start");
            m_iWrite = n <= std::max(FreeAhead(), m_iRead) ? m_iWrite : 0;
            Fill(iOffset, n);
            m_written = {p, n, true, true};
        }
    }
    void CommitWritten(int n)
    {
        const SBlock& block = m_written;
        const int iAllocated = n % 8 == 3 ? n : block.iSize; // or what it was not asked for with
        n = n % 4 < 1 ? n : iAllocated;
        const bool bFits = iAllocated <= FreeAhead()
                               ? block.p == At(m_iWrite)
                               : !IsWrapped() && block.p == At(0) && iAllocated <= m_iRead;
        const bool bTaken = block.bValid && !m_bFrozen && bFits && n > 0 && n <= iAllocated;
        const bool bResult =
            block.bHeld && block.bValid && iAllocated == block.iSize && n % 2 == 1
                ? m_pBuffer->HandleTransportDone(block.p, n)
            : block.p == nullptr
                ? m_pBuffer->CommitWrittenBlock(nullptr, n, iAllocated)
                : m_pBuffer->CommitWrittenBlockByEndPtr(block.p, block.p + n, iAllocated);
        Written(bResult, bTaken, static_cast<int>(block.p - At(0)), n);
    }
    void CommitWrittenOverEnd(int n)
    {
        char* const p = m_written.bValid && m_written.p == At(m_iWrite) ? m_written.p : nullptr;
        const bool bFits = p != nullptr && n > 0 && n <= Free();
        Fill(m_iWrite, bFits ? n : 0);
        Written(m_pBuffer->CommitWrittenBlockBufferOverflow(p, n), bFits && !m_bFrozen, m_iWrite,
                n);
    }
    void Write(int n)
    {
        const std::string strData(static_cast<std::size_t>(std::max(n, 0)), ++m_cNext);
        const bool bRefused = n < 0 || m_bEnded || Size() == 0;
        const int iTaken = bRefused ? -1 : IsWritable() ? std::min(n, Free()) : 0;
        Check(m_pBuffer->Write(strData.data(), n) == iTaken, "writes what fits");
        if (iTaken > 0)
        {
            Written(true, true, m_iWrite, iTaken);
            Check(m_strUnread.ends_with(strData.substr(0, static_cast<std::size_t>(iTaken))),
                  "writes what it is given");
        }
    }

    void Consumed(int n)
    {
        m_read.bHeld = false;
        m_queue.erase(m_queue.begin(), m_queue.begin() + n);
        m_strUnread.erase(0, static_cast<std::size_t>(n));
        m_read = n > 0 || !m_read.bValid ? SBlock{} : m_read;
    }
    void Committed(bool bResult, bool bTaken, int n)
    {
        Check(bResult == (bTaken || n == 0) && !m_pBuffer->CommitReadBlock(&m_cNext, 1),
              "consumes what is unread");
        Consumed(bTaken ? n : 0);
    }
    void Take(int n)
    {
        // Only where it would not wait.
        const bool bGet = n % 2 == 0 && (Readable() > 0 || m_bEnded);
        void* const p = bGet ? m_pBuffer->GetBlockToRead(m_read.iSize)
                             : m_pBuffer->PollBlockToRead(m_read.iSize);
        m_read.p = static_cast<char*>(p);
        m_read.bHeld = m_read.bValid = p != nullptr;
        int i = 0;
        while (i < Readable() && m_queue[static_cast<std::size_t>(i)] == m_queue.front() + i)
        {
            ++i;
        }
        Check(p == (i > 0 ? m_queue.front() : nullptr) && m_read.iSize == i,
              "gives the unread bytes that lie in one piece");
        m_strHeld = m_strUnread.substr(0, static_cast<std::size_t>(i));
    }
    void CommitRead(int n)
    {
        // No more than it had: what was written since belongs to it by now.
        n = n % 4 == 0 ? std::min(n, m_read.iSize) : m_read.iSize;
        Committed(m_read.bHeld && n % 2 == 1 ? m_pBuffer->HandleTransportDone(m_read.p, n)
                                             : m_pBuffer->CommitReadBlock(m_read.p, n),
                  m_read.bValid && !m_bFrozen && n > 0, n);
    }
    void Skip(int n)
    {
        Committed(m_read.bValid && n % 2 == 0
                      ? m_pBuffer->CommitReadBlockBufferOverflow(m_read.p, n)
                      : m_pBuffer->SetReadRelativePosition(n),
                  n > 0 && n <= Readable(), n);
    }
    void CopyOut(int n)
    {
        const bool bRead = n % 3 != 0;
        const int iMinSize = n / 2 <= Readable() ? n / 2 : 0;
        const auto uCopied = static_cast<std::size_t>(std::clamp(n, 0, Readable()));
        std::string strTo(static_cast<std::size_t>(std::max(n, 0)), ' ');
        const int iResult =
            bRead ? m_pBuffer->Read(strTo.data(), n, iMinSize) : m_pBuffer->Copy(strTo.data(), n);
        Check(iResult == (n < 0 ? -1 : static_cast<int>(uCopied)) &&
                  strTo.compare(0, uCopied, m_strUnread, 0, uCopied) == 0,
              "copies the first unread bytes");
        if (n > 0)
        {
            Consumed(bRead ? iResult : 0);
        }
    }

    void Freeze(int n)
    {
        m_bFrozen = n % 3 == 0;
        m_bFrozen ? m_pBuffer->Freeze() : m_pBuffer->UnFreeze();
    }
    void End(int n)
    {
        m_bEnded = n % 3 != 0;
        if (n % 3 == 1)
        {
            return m_pBuffer->SetEndOfStream();
        }
        m_bEnded ? m_pBuffer->FullStop() : m_pBuffer->Reset();
        m_queue.clear();
        m_strUnread.clear();
        m_iWrite = 0;
        m_bEnabled = true;
        m_bFrozen = m_read.bValid = m_written.bValid = false;
        m_written.bHeld = m_written.bHeld && m_bEnded;
        m_read = m_bEnded && m_read.bHeld ? m_read : SBlock{};
        Check(m_bEnded || m_pBuffer->GetTotalWritten() + m_pBuffer->GetTotalRead() == 0, "resets");
    }
    void SetMemory(int n)
    {
        std::vector<char> vecMemory(static_cast<std::size_t>(std::max(n, 0)));
        const bool bUnused = m_queue.empty() && !m_read.bHeld && !m_written.bHeld;
        Check(m_pBuffer->SetExternalBuffer(vecMemory.data(), n) == (bUnused && n >= 0),
              "changes only memory that nobody uses");
        if (bUnused && n >= 0)
        {
            m_vecMemory.swap(vecMemory);
            m_bEnabled = n > 0;
            m_iWrite = 0;
            m_read = m_written = {};
        }
    }

    void CheckLaws()
    {
        const CSafeStreamBuffer& buffer = *m_pBuffer;
        char szState[120];
        int iUsed = 0;
        buffer.PrintState(szState, sizeof(szState), "n");
        const char* const szOffsets = std::strstr(szState, "Used=");
        std::sscanf(szOffsets, "Used=%d HasData=%*d WrtPtr=%*d RdPtr=%d", &iUsed, &m_iRead);
        char szExpected[120];
        std::snprintf(szExpected, sizeof(szExpected),
                      "n: %s Size=%d Used=%d HasData=%d WrtPtr=%d RdPtr=%d\r\n",
                      !m_bEnabled ? "Disabled"
                      : m_bFrozen ? "Frozen"
                                  : "Enabled",
                      Size(), iUsed, Unread() > 0, m_iWrite, m_iRead);
        Check(std::strcmp(szState, szExpected) == 0, "tells its state");
        Check(0 <= m_iRead && m_iRead <= iUsed && iUsed <= Size() &&
                  (IsWrapped() || iUsed == m_iWrite),
              "ends the data where the reader wraps");
        unsigned long long ullByte = 0;
        int iInCrash = 0;
        const void* const pInCrash = buffer.GetBlockInCrash(ullByte, iInCrash);
        Check(pInCrash == (Unread() > 0 ? m_queue.front() : nullptr) &&
                  ullByte == buffer.GetTotalRead() && iInCrash <= Unread(),
              "shows its data in a crash");
        Check(buffer.GetReadQueueLength() == Unread() &&
                  buffer.GetAvailableSizeToWrite() == Free() &&
                  buffer.GetLargestAvailableBlockSizeToWrite() == Largest() &&
                  buffer.IsPointerInBuffer(At(0)) == (Size() > 0) &&
                  !buffer.IsPointerInBuffer(At(0) + Size()),
              "answers");
        Check(m_pBuffer->WaitForData(0) == (Unread() > 0 || m_bEnded), "wakes");
        Check(std::equal(m_queue.begin(), m_queue.end(), m_strUnread.begin(), m_strUnread.end(),
                         [](const char* p, char c) { return *p == c; }) &&
                  (!m_read.bHeld || std::equal(m_strHeld.begin(), m_strHeld.end(), m_read.p)),
              "keeps unread bytes and the reader's block");
    }

    CSafeStreamBuffer* const m_pBuffer = new AutoDeleteThreadObjectImpl<CSafeStreamBuffer>;
    const CStickyScope m_ssBuffer{*m_pBuffer};
    char m_cOperation = '-';
    std::vector<char> m_vecMemory;
    std::deque<char*> m_queue; // where each unread byte lies
    std::string m_strUnread;   // the same bytes
    std::string m_strHeld;     // what is in the reader's block
    SBlock m_written;
    SBlock m_read;
    int m_iWrite = 0;
    int m_iRead = 0; // as the buffer tells: it may be at the data's end or at the start
    char m_cNext = 0;
    bool m_bEnabled = true;
    bool m_bEnded = false;
    bool m_bFrozen = false;
};

#endif
