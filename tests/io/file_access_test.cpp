#include "io/file_access.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "mu/file_system.h"
#include "mu/memory_block.h"
#include "tests/support/files.h"
#include "tests/support/function_chain.h"
#include "tests/support/line_logger.h"
#include "tests/support/temporary_folder.h"

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

constexpr unsigned long long kFiveGiB = 5ULL << 30;

std::string Pattern(std::size_t uSize)
{
    std::string strBytes(uSize, '\0');
    for (std::size_t u = 0; u < uSize; ++u)
    {
        strBytes[u] = static_cast<char>(u % 251);
    }
    return strBytes;
}

TEST(FileAccess, OpensAsTheModeSays)
{
    const struct
    {
        int iMode;
        bool bExists;
        const char* szAfterwards; // once "new" was written; null: does not open
    } kCases[] = {
        {CFileAccess::FM_READ, true, "old text"},
        {CFileAccess::FM_READ, false, nullptr},
        {CFileAccess::FM_CREATE, true, "new"},
        {CFileAccess::FM_CREATE, false, "new"},
        {CFileAccess::FM_OPEN_OR_CREATE, true, "new text"},
        {CFileAccess::FM_OPEN_OR_CREATE, false, "new"},
        {CFileAccess::FM_READ_WRITE, true, "new text"},
        {CFileAccess::FM_READ_WRITE, false, nullptr},
        {99, true, "old text"},
        {99, false, nullptr},
    };
    for (const auto& row : kCases)
    {
        SCOPED_TRACE(row.iMode);
        const CTemporaryFolder folder;
        const std::string strPath = folder.Path("f");
        if (row.bExists)
        {
            WriteFile(strPath, "old text");
        }
        const mode_t uOldMask = ::umask(0);
        const int iDescriptor = ::dup(0); // the number that the file will get
        ::close(iDescriptor);

        CFileAccess file;
        const auto eMode = static_cast<CFileAccess::FileMode>(row.iMode);
        EXPECT_EQ(file.Open(folder.WidePath(L"f").c_str(), eMode, true),
                  row.szAfterwards != nullptr);
        EXPECT_EQ(file.IsValid(), row.szAfterwards != nullptr);
        ::umask(uOldMask);
        if (file.IsValid())
        {
            EXPECT_EQ(::fcntl(iDescriptor, F_GETFD), FD_CLOEXEC);
            file.Write("new", 3);
            struct stat status = {};
            ::stat(strPath.c_str(), &status);
            EXPECT_TRUE(row.bExists || (status.st_mode & 07777) == 0600);
        }
        EXPECT_EQ(ReadFile(strPath), row.szAfterwards != nullptr ? row.szAfterwards : "(none)");
        file.Close();
        EXPECT_EQ(::fcntl(iDescriptor, F_GETFD), -1) << "closed";
    }
}

// Objects whose operations fail for real.
struct SFailing
{
    SFailing()
    {
        WriteFile(m_folder.Path("f"), "text");
        ::mkfifo(m_folder.Path("pipe").c_str(), 0600);
        m_fullDisk.Open("/dev/full", CFileAccess::FM_READ_WRITE, false);
        m_directory.Open(m_folder.Path().c_str(), CFileAccess::FM_READ, true);
        m_pipe.Open(m_folder.Path("pipe").c_str(), CFileAccess::FM_READ_WRITE, true);
        m_readOnly.Open(m_folder.Path("f").c_str(), CFileAccess::FM_READ, true);
    }

    const CTemporaryFolder m_folder;
    CFileAccess m_fullDisk;
    CFileAccess m_directory;
    CFileAccess m_pipe;
    CFileAccess m_readOnly;
    CFileAccess m_closed;
};

TEST(FileAccess, TellsARepeatedErrorOnceAndForgetsItAtASuccess)
{
    SFailing of;
    const std::wstring wsMissing = of.m_folder.WidePath(L"Gr\u00F6\u00DFe");
    const std::string strMissing = of.m_folder.Path("Gr\u00F6\u00DFe");
    const std::string strExisting = of.m_folder.Path("f");
    char aBuffer[8] = {};
    const auto closeOf = [](CFileAccess& file) { return [&file] { file.Close(); }; };

    const struct
    {
        std::function<bool()> fails;
        std::function<void()> succeeds;
        std::string strLine;
        std::string strChain;
    } kCases[] = {
        {[&] { return of.m_closed.Open(wsMissing.c_str(), CFileAccess::FM_READ, true); },
         [&]
         {
             of.m_closed.Open(strExisting.c_str(), CFileAccess::FM_READ, true);
             of.m_closed.Close();
         },
         "Error opening file " + strMissing + ": " + ErrorText(ENOENT), "FA::Op wszFileName:7;"},
        {[&] { return of.m_closed.Open(strMissing.c_str(), CFileAccess::FM_READ, true); },
         closeOf(of.m_closed), "Error opening file " + strMissing + ": " + ErrorText(ENOENT),
         "FA::Op szFileName:5;"},
        {[&] { return of.m_directory.Read(aBuffer, 8) >= 0; },
         [&] { of.m_directory.SetPosition(0); }, "Error reading from file: " + ErrorText(EISDIR),
         "FA::Rd iBufferLength:2;"},
        {[&] { return of.m_readOnly.Read(aBuffer, -1) != -1; },
         [&] { of.m_readOnly.Read(aBuffer, 0); }, "Error reading from file: " + ErrorText(EINVAL),
         "FA::Rd iBufferLength:2;"},
        {[&] { return of.m_closed.Read(aBuffer, 8) != -1; }, closeOf(of.m_closed),
         "Error reading from file: " + ErrorText(EBADF), "FA::Rd iBufferLength:2;"},
        {[&] { return of.m_fullDisk.Write("text", 4) != -1; },
         [&] { of.m_fullDisk.SetPosition(0); }, "Error writing to file: " + ErrorText(ENOSPC),
         "FA::Wrt iMessageLength:2;"},
        {[&] { return of.m_readOnly.Write("text", INT_MIN) != -1; },
         [&] { of.m_readOnly.GetPosition(); }, "Error writing to file: " + ErrorText(EINVAL),
         "FA::Wrt iMessageLength:2;"},
        {[&] { return of.m_readOnly.Write("text", 4) != -1; },
         [&] { of.m_readOnly.SetPosition(9); }, "Error writing to file: " + ErrorText(EBADF),
         "FA::Wrt iMessageLength:2;"},
        {[&] { return of.m_pipe.Flush(); }, [&] { of.m_pipe.Write("", 0); },
         "Error flushing file: " + ErrorText(EINVAL), "FA::Fl;"},
        {[&] { return of.m_pipe.GetPosition() != 0; }, [&] { of.m_pipe.Write("", 0); },
         "Error getting file position: " + ErrorText(ESPIPE), "FA::GetPos;"},
        {[&] { return of.m_pipe.SetPosition(kFiveGiB); }, [&] { of.m_pipe.Write("", 0); },
         "Error setting file position to 5368709120: " + ErrorText(ESPIPE), "FA::SetPos;"},
        {[&] { return of.m_readOnly.SetPosition(ULLONG_MAX); }, [&] { of.m_readOnly.Flush(); },
         "Error setting file position to -1: " + ErrorText(EINVAL), "FA::SetPos;"},
        {[&] { return of.m_fullDisk.WriteBlock(0, 4, "text"); },
         [&] { of.m_fullDisk.SetPosition(0); }, "Error writing to file: " + ErrorText(ENOSPC),
         "FA::Wrt iMessageLength:2;"},
        {[&] { return of.m_readOnly.WriteBlock(0, UINT_MAX, "text"); },
         [&] { of.m_readOnly.Flush(); }, "Error writing to file: " + ErrorText(EINVAL),
         "FA::Wrt iMessageLength:2;"},
    };
    for (const auto& row : kCases)
    {
        SCOPED_TRACE(row.strLine);
        row.succeeds();
        CLineLogger logger(IBaseLogger::Error);
        logger.m_onMessage = [&] { EXPECT_EQ(FunctionChain(), row.strChain); };
        EXPECT_FALSE(row.fails());
        EXPECT_FALSE(row.fails());
        EXPECT_THAT(logger.TakeLines(), ElementsAre("3 " + row.strLine));
        row.succeeds();
        EXPECT_FALSE(row.fails());
        EXPECT_THAT(logger.TakeLines(), ElementsAre("3 " + row.strLine));
    }
    EXPECT_EQ(FunctionChain(), "");
}

TEST(FileAccess, KeepsTheErrorOfOperationsThatDoNotLog)
{
    CLineLogger logger;
    CFileAccess file;
    EXPECT_EQ(file.GetSize(), 0U);
    char szText[64] = {};
    file.GetLastErrorString(szText, sizeof(szText));
    EXPECT_STREQ(szText, std::strerror(EBADF));
    const CTemporaryFolder folder;
    ASSERT_TRUE(file.Open(folder.WidePath(L"f").c_str(), CFileAccess::FM_CREATE, false));
    EXPECT_FALSE(file.Truncate(ULLONG_MAX));
    EXPECT_THAT(logger.TakeLines(), IsEmpty());

    const std::string strError = std::strerror(EINVAL);
    for (const int iCapacity : {-1, 0, 1, 2, 5, static_cast<int>(strError.size()),
                                static_cast<int>(strError.size()) + 1, 60})
    {
        std::string strNarrow(64, '#');
        std::wstring wsWide(64, L'#');
        file.GetLastErrorString(strNarrow.data(), iCapacity);
        file.GetLastErrorString(wsWide.data(), iCapacity);
        std::string strExpected;
        if (iCapacity > 0)
        {
            strExpected = strError.substr(0, static_cast<std::size_t>(iCapacity) - 1) + '\0';
        }
        strExpected.resize(64, '#');
        EXPECT_EQ(strNarrow, strExpected);
        EXPECT_EQ(wsWide, std::wstring(strExpected.begin(), strExpected.end()));
    }
}

TEST(FileAccess, WorksBeyond4GiB)
{
    const CTemporaryFolder folder;
    CFileAccess file;
    ASSERT_TRUE(file.Open(folder.WidePath(L"f").c_str(), CFileAccess::FM_CREATE, false));
    IRandomPositionWriter& blockWriter = file;
    EXPECT_TRUE(blockWriter.WriteBlock(kFiveGiB, 4, "text"));
    EXPECT_EQ(file.GetPosition(), kFiveGiB + 4);
    EXPECT_EQ(file.GetSize(), kFiveGiB + 4);
    EXPECT_TRUE(file.Truncate(kFiveGiB + 2));
    EXPECT_EQ(file.GetPosition(), kFiveGiB + 2);
    EXPECT_TRUE(file.SetPosition(kFiveGiB));
    char aBuffer[8] = {};
    IFileReader& reader = file;
    EXPECT_EQ(reader.Read(aBuffer, 8), 2);
    EXPECT_STREQ(aBuffer, "te");
    EXPECT_EQ(
        CFileAccess::ToBuffer(folder.WidePath(L"f").c_str(), *std::make_unique<CMemBlockPtr>()),
        -1);
}

TEST(FileAccess, TruncateMovesOnlyAPositionBeyondTheEnd)
{
    const CTemporaryFolder folder;
    const std::wstring wsFile = folder.WidePath(L"f");
    for (const auto& [uPosition, uLength, uAfterwards] :
         std::vector<std::array<unsigned, 3>>{{8, 5, 5}, {8, 8, 8}, {8, 20, 8}, {10, 0, 0}})
    {
        CFileAccess file;
        ASSERT_TRUE(file.Open(wsFile.c_str(), CFileAccess::FM_CREATE, false));
        file.Write("0123456789", 10);
        file.SetPosition(uPosition);
        EXPECT_TRUE(file.Truncate(uLength));
        EXPECT_EQ(file.GetSize(), uLength);
        EXPECT_EQ(file.GetPosition(), uAfterwards);
    }
    EXPECT_TRUE(CFileAccess::Truncate(wsFile.c_str()));
    EXPECT_EQ(ReadFile(folder.Path("f")), "");
    EXPECT_FALSE(CFileAccess::Truncate(folder.WidePath().c_str()));
}

TEST(FileAccess, WarnsOfAShortWrite)
{
    const CTemporaryFolder folder;
    CLineLogger logger;
    CFileAccess file;
    ASSERT_TRUE(file.Open(folder.WidePath(L"f").c_str(), CFileAccess::FM_CREATE, false));

    std::signal(SIGXFSZ, SIG_IGN);
    rlimit old = {};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &old), 0);
    const rlimit limit = {10, old.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
    const int iShort = file.Write("0123456789abcdef", 16);
    const int iFailed = file.Write("x", 1);
    const bool bBlock = file.WriteBlock(8, 4, "wxyz");
    const bool bContent = CFileAccess::SetStrFileContent(folder.Path("g").c_str(), "0123456789a");
    ::setrlimit(RLIMIT_FSIZE, &old);

    EXPECT_EQ(iShort, 10);
    EXPECT_EQ(iFailed, -1);
    EXPECT_FALSE(bBlock);
    EXPECT_FALSE(bContent);
    EXPECT_THAT(logger.TakeLines(),
                ElementsAre("2 Wrote 10 bytes out of 16 requested bytes to file.",
                            "3 Error writing to file: " + ErrorText(EFBIG),
                            "2 Wrote 2 bytes out of 4 requested bytes to file.",
                            "2 Wrote 10 bytes out of 11 requested bytes to file."));
    EXPECT_EQ(ReadFile(folder.Path("f")), "01234567wx");
}

TEST(FileAccess, LoadsTextOfEachEncoding)
{
    using namespace std::string_literals;
    const struct
    {
        const char* szRule;
        std::string strBytes;
        int iEncoding; // -1: none is detected
        int iHeaderLength;
        std::wstring wsText;
    } kCases[] = {
        {"empty", "", -1, 0, L""},
        {"one byte", "a", -1, 0, L""},
        {"two zeros", "\0\0ab"s, -1, 0, L""},
        {"UTF-8 mark", "\xEF\xBB\xBFz\u00E4\u6E29", 1, 3, L"z\u00E4\u6E29"},
        {"UTF-8 mark alone", "\xEF\xBB\xBF", 1, 3, L""},
        {"UTF-8, no mark", "\u00E4b", 1, 0, L"\u00E4b"},
        {"two bytes", "ab", 1, 0, L"ab"},
        {"later NULs stay", "ab\0c"s, 1, 0, L"ab\0c"s},
        {"two bytes of a mark are none", "\xEF\xBB", 1, 0, L""},
        {"LE mark alone", "\xFF\xFE", 2, 2, L""},
        {"LE mark", "\xFF\xFE\xE4\x00\x29\x6E\xFF\xFF"s, 2, 2, L"\u00E4\u6E29\uFFFF"},
        {"BE mark", "\xFE\xFF\x00\xE4\x6E\x29"s, 3, 2, L"\u00E4\u6E29"},
        {"surrogates stay",
         "\xFF\xFE\x3D\xD8\x00\xDE"s,
         2,
         2,
         {static_cast<wchar_t>(0xD83D), static_cast<wchar_t>(0xDE00)}},
        {"LE, no mark, odd byte dropped", "a\0b\0c"s, 2, 0, L"ab"},
        {"BE, no mark", "\0a\x80\0"s, 3, 0, L"a\u8000"},
        {"BE mark and an odd byte", "\xFE\xFF\x00"s, 3, 2, L""},
    };
    const CTemporaryFolder folder;
    const std::wstring wsFile = folder.WidePath(L"f");
    for (const auto& row : kCases)
    {
        SCOPED_TRACE(row.szRule);
        WriteFile(folder.Path("f"), row.strBytes);
        CLineLogger logger;

        auto eEncoding = static_cast<CFileAccess::ETextFileEncoding>(-1);
        int iHeaderLength = 0;
        EXPECT_EQ(CFileAccess::DetectTextFileEncoding(wsFile.c_str(), eEncoding, iHeaderLength),
                  row.iEncoding >= 0);
        EXPECT_EQ(eEncoding, row.iEncoding);
        EXPECT_EQ(iHeaderLength, row.iHeaderLength);
        EXPECT_THAT(logger.TakeLines(), IsEmpty());

        std::wstring wsText = L"old";
        logger.m_onMessage = [] { EXPECT_EQ(FunctionChain(), "FA::TOS wszPath:7;"); };
        EXPECT_EQ(CFileAccess::ToString(wsFile.c_str(), wsText), row.iEncoding >= 0);
        if (row.iEncoding >= 0)
        {
            EXPECT_EQ(wsText, row.wsText);
            EXPECT_THAT(logger.TakeLines(), IsEmpty());
        }
        else
        {
            EXPECT_EQ(wsText, L"old");
            EXPECT_THAT(
                logger.TakeLines(),
                ElementsAre("3 No detection of text encoding for file: " + folder.Path("f")));
        }
    }
}

TEST(FileAccess, LoadsLargeTextsAndRefusesWhatAnIntCannotCount)
{
    const CTemporaryFolder folder;
    const std::wstring wsFile = folder.WidePath(L"f");
    WriteFile(folder.Path("f"), std::string(3'000'001, 'x'));
    std::wstring wsText;
    EXPECT_TRUE(CFileAccess::ToString(wsFile.c_str(), wsText));
    EXPECT_TRUE(wsText == std::wstring(3'000'001, L'x'));

    CLineLogger logger;
    ASSERT_EQ(::truncate(folder.Path("f").c_str(), 0x8000'0000), 0);
    EXPECT_FALSE(CFileAccess::ToString(wsFile.c_str(), wsText));
    CMemBlockPtr block("abc", 3);
    EXPECT_EQ(CFileAccess::ToBuffer(wsFile.c_str(), block), -1);
    EXPECT_EQ(block.GetSize(), 3U);
    const std::string strLine = "3 Error reading from file: " + ErrorText(EFBIG);
    EXPECT_THAT(logger.TakeLines(), ElementsAre(strLine, strLine));
    EXPECT_EQ(wsText.size(), 3'000'001U);
}

TEST(FileAccess, LoadsAWholeFileIntoABlock)
{
    const CTemporaryFolder folder;
    CLineLogger logger;
    CMemBlockPtr block("old", 3);
    EXPECT_EQ(CFileAccess::ToBuffer(folder.WidePath(L"no").c_str(), block), -1);
    EXPECT_EQ(block.GetSize(), 3U);
    for (const std::size_t uSize : {std::size_t{0}, std::size_t{1}, std::size_t{100'000}})
    {
        WriteFile(folder.Path("f"), Pattern(uSize));
        EXPECT_EQ(CFileAccess::ToBuffer(folder.WidePath(L"f").c_str(), block),
                  static_cast<int>(uSize));
        EXPECT_TRUE(std::string(block.GetData(), block.GetSize()) == Pattern(uSize));
    }
    EXPECT_EQ(CFileAccess::ToBuffer(folder.WidePath().c_str(), block), -1);
    EXPECT_EQ(block.GetSize(), 0U) << "nothing was read";
    EXPECT_THAT(logger.TakeLines(),
                ElementsAre("3 Error opening file " + folder.Path("no") + ": " + ErrorText(ENOENT),
                            "3 Error reading from file: " + ErrorText(EISDIR)));
}

// Delivers a text by itself, knows no position and ends with a negative count.
class CStreamReader final : public IFileReader
{
public:
    explicit CStreamReader(std::string strText) : m_strText(std::move(strText)) {}
    int Read(void* pBuffer, int iCount) override
    {
        const std::size_t uRead =
            m_strText.copy(static_cast<char*>(pBuffer), static_cast<std::size_t>(iCount));
        m_strText.erase(0, uRead);
        return uRead > 0 ? static_cast<int>(uRead) : -1;
    }
    bool SetPosition(unsigned long long) override { return false; }
    unsigned long long GetPosition() override { return 0; }

private:
    std::string m_strText;
};

TEST(FileAccess, CopiesFromEveryKindOfReaderEachByteOnce)
{
    SFailing of;
    const std::wstring wsTarget = of.m_folder.WidePath(L"target");
    for (const unsigned int uSize : {0U, 1U, 3U, 511U, 512U, 513U, 1024U, 1500U, 4099U})
    {
        const std::string strText = Pattern(uSize);
        WriteFile(of.m_folder.Path("source"), strText);
        for (const unsigned int uStart : {0U, std::min(uSize, 3U)})
        {
            CMemBlockPtr block(strText.data(), uSize);
            block.SetPosition(uStart);
            CFileAccess source;
            source.Open(of.m_folder.Path("source").c_str(), CFileAccess::FM_READ, true);
            source.SetPosition(uStart);
            CStreamReader stream(strText.substr(uStart));

            std::vector<IFileReader*> vReaders = {&block, &source, &stream};
            if ((uSize - uStart) % 512 != 0) // else the pipe would be waited for
            {
                of.m_pipe.Write(strText.data() + uStart, static_cast<int>(uSize - uStart));
                vReaders.push_back(&of.m_pipe);
            }
            for (IFileReader* pReader : vReaders)
            {
                SCOPED_TRACE(uSize);
                CLineLogger logger;
                CFileAccess target;
                ASSERT_TRUE(target.Open(wsTarget.c_str(), CFileAccess::FM_CREATE, false));
                EXPECT_EQ(target.Copy(pReader), uSize - uStart);
                EXPECT_TRUE(ReadFile(of.m_folder.Path("target")) == strText.substr(uStart));
                EXPECT_THAT(logger.TakeLines(), IsEmpty());
            }
            EXPECT_EQ(block.GetPosition(), uSize);
        }
    }

    CMemBlockPtr block(Pattern(600).data(), 600);
    EXPECT_EQ(of.m_fullDisk.Copy(&block), 0U);
    CFileAccess same;
    ASSERT_TRUE(same.Open(of.m_folder.Path("f").c_str(), CFileAccess::FM_READ_WRITE, false));
    same.SetPosition(same.GetSize());
    EXPECT_EQ(same.Copy(&of.m_readOnly), 0U) << "would never end";
}

TEST(FileAccess, CopiesFilesWithTheirTimes)
{
    const CTemporaryFolder folder;
    const std::wstring wsSource = folder.WidePath(L"source");
    const std::wstring wsTarget = folder.WidePath(L"target");
    for (const std::size_t uSize : {0UL, 1UL, 511UL, 512UL, 513UL, 10'000UL})
    {
        WriteFile(folder.Path("source"), Pattern(uSize));
        WriteFile(folder.Path("target"), std::string(2000, 'o'));
        ASSERT_TRUE(mu::SetFileTimesByPath(wsSource.c_str(), 0, 1'000'000'000, 1'100'000'000));
        CLineLogger logger;
        EXPECT_TRUE(CFileAccess::Copy(wsSource.c_str(), wsTarget.c_str()));
        EXPECT_TRUE(ReadFile(folder.Path("target")) == Pattern(uSize));
        EXPECT_THAT(logger.TakeLines(), IsEmpty());
        unsigned long long llIgnored = 0;
        unsigned long long llModify = 0;
        mu::GetFileTimesByPath(wsTarget.c_str(), llIgnored, llIgnored, llModify);
        EXPECT_EQ(llModify, 1'100'000'000U);
    }
}

TEST(FileAccess, RefusesCopiesThatCannotSucceedWithoutHarm)
{
    const CTemporaryFolder folder;
    WriteFile(folder.Path("f"), "text");
    std::filesystem::create_directory(folder.Path("dir"));
    std::filesystem::create_symlink("f", folder.Path("symlink"));
    std::filesystem::create_hard_link(folder.Path("f"), folder.Path("hardlink"));
    const std::string strFolder = folder.Path() + "/";

    const struct
    {
        const wchar_t* wszSource;
        const wchar_t* wszTarget;
        std::string strLine;
    } kCases[] = {
        {L"f", L"f", "Error copying file " + strFolder + "f onto itself: " + ErrorText(EINVAL)},
        {L"f", L"dir/.././f",
         "Error copying file " + strFolder + "dir/.././f onto itself: " + ErrorText(EINVAL)},
        {L"f", L"symlink",
         "Error copying file " + strFolder + "symlink onto itself: " + ErrorText(EINVAL)},
        {L"symlink", L"hardlink",
         "Error copying file " + strFolder + "hardlink onto itself: " + ErrorText(EINVAL)},
        {L"dir", L"f", "Error reading from file: " + ErrorText(EISDIR)},
        {L"no", L"f", "Error opening file " + strFolder + "no: " + ErrorText(ENOENT)},
        {L"f", L"dir", "Error opening file " + strFolder + "dir: " + ErrorText(EISDIR)},
        {L"f", L"../../../../../../../../../dev/full",
         "Error writing to file: " + ErrorText(ENOSPC)},
    };
    for (const auto& row : kCases)
    {
        SCOPED_TRACE(row.strLine);
        CLineLogger logger;
        EXPECT_FALSE(CFileAccess::Copy(folder.WidePath(row.wszSource).c_str(),
                                       folder.WidePath(row.wszTarget).c_str()));
        EXPECT_THAT(logger.TakeLines(), ElementsAre("3 " + row.strLine));
        EXPECT_EQ(ReadFile(folder.Path("f")), "text");
    }
    EXPECT_FALSE(mu::FileExists(folder.WidePath(L"no").c_str()));
}

TEST(FileAccess, ReadsAndWritesWholeNarrowContents)
{
    const CTemporaryFolder folder;
    const std::string strFile = folder.Path("\u00E4");
    CLineLogger logger;
    std::string strContent = "old";
    EXPECT_FALSE(CFileAccess::GetStrFileContent(strFile.c_str(), strContent));
    EXPECT_EQ(strContent, "old");
    EXPECT_THAT(logger.TakeLines(), IsEmpty()) << "a missing file is no news here";

    for (const std::size_t uSize : {0UL, 4095UL, 4096UL, 4097UL, 20'000UL})
    {
        const std::string strValue(uSize, 'v');
        EXPECT_TRUE(CFileAccess::SetStrFileContent(strFile.c_str(), strValue.c_str()));
        EXPECT_TRUE(CFileAccess::GetStrFileContent(strFile.c_str(), strContent));
        EXPECT_TRUE(strContent == strValue);
    }
    EXPECT_THAT(logger.TakeLines(), IsEmpty());

    EXPECT_FALSE(CFileAccess::SetStrFileContent(folder.Path().c_str(), "v"));
    EXPECT_FALSE(CFileAccess::SetStrFileContent("/dev/full", "v"));
    EXPECT_THAT(logger.TakeLines(),
                ElementsAre("3 File " + folder.Path() + " open failure: " + ErrorText(EISDIR),
                            "3 File /dev/full write failure: " + ErrorText(ENOSPC)));
}

TEST(FileAccess, WritesTheUTF8MarkAtThePosition)
{
    SFailing of;
    CFileAccess file;
    ASSERT_TRUE(file.Open(of.m_folder.WidePath(L"f").c_str(), CFileAccess::FM_READ_WRITE, false));
    file.SetPosition(4);
    EXPECT_TRUE(file.WriteUTF8Header());
    EXPECT_EQ(ReadFile(of.m_folder.Path("f")), "text\xEF\xBB\xBF");
    EXPECT_FALSE(of.m_fullDisk.WriteUTF8Header());
}

// The virtual table as C++ code on the other side of it sees it: the slots of the first base.
TEST(FileAccess, HasItsSlotsInOrder)
{
    const CTemporaryFolder folder;
    WriteFile(folder.Path("f"), "0123456789");
    CFileAccess file;
    ASSERT_TRUE(file.Open(folder.WidePath(L"f").c_str(), CFileAccess::FM_READ_WRITE, false));
    using TSetPosition = bool (*)(CFileAccess*, unsigned long long);
    using TRead = int (*)(CFileAccess*, void*, int);
    void* const* const pSlots = *reinterpret_cast<void***>(&file);
    char aBuffer[4] = {};
    EXPECT_TRUE(reinterpret_cast<TSetPosition>(pSlots[3])(&file, 7));
    EXPECT_EQ(reinterpret_cast<TRead>(pSlots[2])(&file, aBuffer, 2), 2);
    EXPECT_STREQ(aBuffer, "78");
}

} // namespace
