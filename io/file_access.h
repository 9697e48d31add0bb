#ifndef ZOR_IO_FILE_ACCESS_H
#define ZOR_IO_FILE_ACCESS_H

#include <string>

#include "mu/file_interfaces.h"

class CMemBlockPtr;

/// A file: a POSIX descriptor that it owns, closed on exec, with 64-bit positions everywhere.
///
/// Nothing throws. A failure is a result, kept as the last error (errno), and a message to the
/// process's text logger unless the last error was the same already: a full disk fails every write,
/// and one line tells it. A success forgets the error. Names are wide text or UTF-8.
///
/// One thread at a time. Final, because it is not deleted through a base.
class CFileAccess final : public IRandomPositionWriter, public IFileRW
{
public:
    enum FileMode : int
    {
        FM_READ = 1,
        FM_CREATE = 2,         ///< read and write; made, or emptied if it exists
        FM_OPEN_OR_CREATE = 3, ///< read and write; made if missing, contents kept
        FM_READ_WRITE = 4,     ///< read and write; must exist
    };

    enum ETextFileEncoding : int
    {
        TFE_NONE = 0, ///< loads like UTF-8; never detected
        TFE_UTF8 = 1,
        TFE_UTF16LE = 2,
        TFE_UTF16BE = 3,
    };

    CFileAccess() = default;
    ~CFileAccess() { Close(); }

    CFileAccess(const CFileAccess&) = delete;
    CFileAccess& operator=(const CFileAccess&) = delete;

    bool IsValid() const { return m_iDescriptor >= 0; }
    /// -1 when closed. For system calls in a crash, where no other operation may be used.
    int GetDescriptor() const { return m_iDescriptor; }
    /// errno of the last operation, 0 if it succeeded.
    int GetLastError() const { return m_iLastError; }

    /// Closes the open file, if any, and opens another; a signal that interrupts it does not count.
    /// A file that is made gets the permission bits 0600; a mode that is none of the above reads.
    /// The last argument has no effect.
    bool Open(const wchar_t* wszFileName, FileMode eMode, bool bForReading);
    bool Open(const char* szFileName, FileMode eMode, bool bForReading);
    void Close();

    // The virtual operations in the order of their slots.

    /// SetPosition() and Write(): the position is after the block then. True if the whole block was
    /// written.
    bool WriteBlock(unsigned long long llPosition, unsigned int uSize, const void* pData) override;
    /// One system call each: the result is the bytes written or read (0 at the end), or -1. A short
    /// write is a warning and no error. A negative count fails as EINVAL.
    int Write(const void* pData, int iMessageLength) override;
    int Read(void* pBuffer, int iBufferLength) override;
    bool SetPosition(unsigned long long llPosition) override;
    bool Flush() override;
    /// 0 on failure.
    unsigned long long GetPosition() override;

    /// Tells where the end is too. On failure nothing changes.
    bool SetPositionToEnd(unsigned long long& llPosition);
    /// 0 on failure, which is not logged.
    unsigned long long GetSize();
    /// Cuts or extends the file. A position beyond the new end moves there, any other stays. A
    /// failure is not logged.
    bool Truncate(unsigned long long llLength);

    /// Writes the UTF-8 byte-order mark at the position.
    bool WriteUTF8Header();

    /// The last error's text, cut at a character's boundary to fit iLength units with the 0 that
    /// always ends it. Nothing is written if iLength is 0 or less.
    void GetLastErrorString(wchar_t* wszText, int iLength) const;
    void GetLastErrorString(char* szText, int iLength) const;

    /// Looks at up to three bytes from the position, normally the start: a byte-order mark, else
    /// which of the first two bytes are zero. iHeaderLength is the mark's length. False, with both
    /// results untouched, if the file has fewer than two bytes or begins with two zeros.
    bool DetectTextFileEncoding(ETextFileEncoding& eEncoding, int& iHeaderLength);

    /// Writes what the reader delivers from its position on, in chunks of 512 bytes up to the first
    /// shorter one. A reader whose Read() leaves its position, as a memory block's does, is moved.
    /// Returns the bytes written; 0 for another object on this same file.
    unsigned int Copy(IFileReader* pReader);

    /// Makes an empty file, or empties the one that exists.
    static bool Truncate(const wchar_t* wszPath);

    /// Loads a file of at most INT_MAX bytes into the block with one read; the block's size becomes
    /// the bytes read. Returns them, or -1 if the file could not be opened or read or the block not
    /// be sized.
    static int ToBuffer(const wchar_t* wszPath, CMemBlockPtr& block);

    /// Copies contents and times. A target that exists is emptied first, unless it is the source
    /// itself under whatever name: that fails and changes nothing. A failure later on leaves the
    /// target with what was copied.
    static bool Copy(const wchar_t* wszSource, const wchar_t* wszTarget);

    static bool DetectTextFileEncoding(const wchar_t* wszPath, ETextFileEncoding& eEncoding,
                                       int& iHeaderLength);

    /// Loads a text file of up to INT_MAX bytes, of the encoding that is detected, without its
    /// byte-order mark. UTF-16 gives a wide character a unit: surrogates are not paired, and an odd
    /// last byte is dropped. A failure leaves the string as it was.
    static bool ToString(const wchar_t* wszPath, std::wstring& wsContent);

    /// Loads a file's bytes up to the first read that gives fewer than 4096. False, with the string
    /// untouched and nothing logged, if the file cannot be opened; an error later on ends the
    /// contents.
    static bool GetStrFileContent(const char* szFileName, std::string& strContent);
    /// Makes or replaces a file. True if the whole text was written.
    static bool SetStrFileContent(const char* szFileName, const char* szValue);

private:
    static int OpenDescriptor(const char* szPath, FileMode eMode);
    static void WarnShortWrite(int iWritten, int iRequested);
    static bool CopyContents(const wchar_t* wszSource, const wchar_t* wszTarget);
    bool OpenPath(const char* szPath, FileMode eMode);
    bool Settle(bool bSucceeded, const char* szFormat, ...) __attribute__((format(printf, 3, 4)));
    void ReportReadError(int iError);
    bool Seek(int iWhence, unsigned long long& llPosition);
    bool QuerySize(unsigned long long& llSize) const;
    int GetSizeToLoad();

    int m_iDescriptor = -1;
    int m_iLastError = 0;
};

#endif
