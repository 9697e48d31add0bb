#include "io/file_access.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/files.h"
#include "tests/support/function_chain.h"
#include "tests/support/line_logger.h"
#include "tests/support/temporary_folder.h"

namespace
{

using testing::ElementsAre;

constexpr unsigned long long kFiveGiB = 5ULL << 30;

TEST(FileAccess, OpensAsTheModeSays)
{
    const struct
    {
        int iMode;
        const char* szOverOld;  // once "new" was written over "old text"
        const char* szOverNone; // null: a missing file does not open
    } kCases[] = {
        {CFileAccess::FM_READ, "old text", nullptr},
        {CFileAccess::FM_CREATE, "new", "new"},
        {CFileAccess::FM_OPEN_OR_CREATE, "new text", "new"},
        {CFileAccess::FM_READ_WRITE, "new text", nullptr},
        {99, "old text", nullptr},
    };
    for (const auto& row : kCases)
    {
        SCOPED_TRACE(row.iMode);
        const CTemporaryFolder folder;
        WriteFile(folder.Path("old"), "old text");
        const int iDescriptor = ::dup(0); // the number that the file will get
        ::close(iDescriptor);

        CFileAccess file;
        const auto eMode = static_cast<CFileAccess::FileMode>(row.iMode);
        EXPECT_TRUE(file.Open(folder.WidePath(L"old").c_str(), eMode, true));
        EXPECT_EQ(::fcntl(iDescriptor, F_GETFD), FD_CLOEXEC);
        file.Write("new", 3);
        EXPECT_EQ(file.Open(folder.Path("none").c_str(), eMode, false), row.szOverNone != nullptr);
        struct stat status = {};
        EXPECT_EQ(::fstat(iDescriptor, &status) == 0, file.IsValid()) << "one descriptor at most";
        EXPECT_EQ(status.st_mode & 0777 & ~0600U, 0U);
        file.Write("new", 3);
        EXPECT_EQ(ReadFile(folder.Path("old")), row.szOverOld);
        EXPECT_EQ(ReadFile(folder.Path("none")), row.szOverNone ? row.szOverNone : "(none)");
    }
}

TEST(FileAccess, TellsARepeatedErrorOnceAndForgetsItAtASuccess)
{
    const CTemporaryFolder folder;
    const std::wstring wsMissing = folder.WidePath(L"Gr\u00F6\u00DFe");
    const std::string strMissing = folder.Path("Gr\u00F6\u00DFe");
    WriteFile(folder.Path("f"), "text");
    ::mkfifo(folder.Path("pipe").c_str(), 0600);
    CFileAccess full, directory, pipe, readOnly, closed;
    full.Open("/dev/full", CFileAccess::FM_READ_WRITE, false);
    directory.Open(folder.Path().c_str(), CFileAccess::FM_READ, true);
    pipe.Open(folder.Path("pipe").c_str(), CFileAccess::FM_READ_WRITE, true);
    readOnly.Open(folder.Path("f").c_str(), CFileAccess::FM_READ, true);
    char aBuffer[8] = {};
    const auto succeed = [&](CFileAccess& file)
    {
        if (!file.IsValid())
        {
            file.Close();
        }
        else if (file.Read(aBuffer, 0) < 0)
        {
            file.SetPosition(0);
        }
    };

    const struct
    {
        CFileAccess& file;
        std::function<bool()> succeeds;
        int iError;
        std::string strText;
        const char* szChain;
    } kCases[] = {
        {closed, [&] { return closed.Open(wsMissing.c_str(), CFileAccess::FM_READ, true); }, ENOENT,
         "opening file " + strMissing, "FA::Op wszFileName:7;"},
        {closed, [&] { return closed.Open(strMissing.c_str(), CFileAccess::FM_READ, true); },
         ENOENT, "opening file " + strMissing, "FA::Op szFileName:5;"},
        {closed, [&] { return closed.Read(aBuffer, 8) >= 0; }, EBADF, "reading from file",
         "FA::Rd iBufferLength:2;"},
        {directory, [&] { return directory.Read(aBuffer, 8) >= 0; }, EISDIR, "reading from file",
         "FA::Rd iBufferLength:2;"},
        {readOnly, [&] { return readOnly.Read(aBuffer, -1) != -1; }, EINVAL, "reading from file",
         "FA::Rd iBufferLength:2;"},
        {readOnly, [&] { return readOnly.Write("text", 4) != -1; }, EBADF, "writing to file",
         "FA::Wrt iMessageLength:2;"},
        {readOnly, [&] { return readOnly.Write("text", INT_MIN) != -1; }, EINVAL, "writing to file",
         "FA::Wrt iMessageLength:2;"},
        {readOnly, [&] { return readOnly.WriteBlock(0, UINT_MAX, "text"); }, EINVAL,
         "writing to file", "FA::Wrt iMessageLength:2;"},
        {full, [&] { return full.WriteBlock(0, 4, "text"); }, ENOSPC, "writing to file",
         "FA::Wrt iMessageLength:2;"},
        {pipe, [&] { return pipe.Flush(); }, EINVAL, "flushing file", "FA::Fl;"},
        {pipe, [&] { return pipe.GetPosition() != 0; }, ESPIPE, "getting file position",
         "FA::GetPos;"},
        {pipe, [&] { return pipe.SetPosition(kFiveGiB); }, ESPIPE,
         "setting file position to 5368709120", "FA::SetPos;"},
        {readOnly, [&] { return readOnly.SetPosition(ULLONG_MAX); }, EINVAL,
         "setting file position to -1", "FA::SetPos;"},
    };
    for (const auto& row : kCases)
    {
        SCOPED_TRACE(row.strText);
        for (int iRound = 0; iRound < 2; ++iRound)
        {
            succeed(row.file);
            CLineLogger logger(IBaseLogger::Error);
            logger.m_onMessage = [&] { EXPECT_EQ(FunctionChain(), row.szChain); };
            EXPECT_FALSE(row.succeeds());
            EXPECT_FALSE(row.succeeds());
            EXPECT_THAT(logger.TakeLines(),
                        ElementsAre("3 Error " + row.strText + ": " + ErrorText(row.iError)));
        }
    }
    EXPECT_EQ(FunctionChain(), "");
}

TEST(FileAccess, GivesTheLastErrorsTextWithinTheBuffer)
{
    CFileAccess file;
    EXPECT_EQ(file.GetSize(), 0U);
    const std::string strError = std::strerror(EBADF);
    const auto iLength = static_cast<int>(strError.size());
    for (const int iCapacity : {-1, 0, 1, 2, iLength, iLength + 1, 60})
    {
        std::string strNarrow(64, '#');
        std::wstring wsWide(64, L'#');
        file.GetLastErrorString(strNarrow.data(), iCapacity);
        file.GetLastErrorString(wsWide.data(), iCapacity);
        const auto uCut = static_cast<std::size_t>(std::max(iCapacity - 1, 0));
        std::string strExpected =
            strError.substr(0, uCut) + (iCapacity > 0 ? std::string(1, 0) : "");
        strExpected.resize(64, '#');
        EXPECT_EQ(strNarrow, strExpected);
        EXPECT_EQ(wsWide, std::wstring(strExpected.begin(), strExpected.end()));
    }
}

TEST(FileAccess, MovesAndCutsBeyond4GiB)
{
    const CTemporaryFolder folder;
    for (const auto& [llPosition, llLength, llAfterwards] :
         std::vector<std::array<unsigned long long, 3>>{{8, 5, 5},
                                                        {8, 8, 8},
                                                        {kFiveGiB, kFiveGiB + 20, kFiveGiB},
                                                        {kFiveGiB + 4, kFiveGiB, kFiveGiB}})
    {
        CFileAccess file;
        ASSERT_TRUE(file.Open(folder.Path("f").c_str(), CFileAccess::FM_CREATE, false));
        EXPECT_TRUE(file.WriteBlock(llPosition - 4, 4, "text"));
        EXPECT_EQ(file.GetPosition(), llPosition);
        EXPECT_TRUE(file.Truncate(llLength));
        EXPECT_EQ(file.GetSize(), llLength);
        EXPECT_EQ(file.GetPosition(), llAfterwards);
        EXPECT_FALSE(file.Truncate(ULLONG_MAX));
    }
    EXPECT_TRUE(CFileAccess::Truncate(folder.WidePath(L"f").c_str()));
    EXPECT_EQ(ReadFile(folder.Path("f")), "");
    EXPECT_FALSE(CFileAccess::Truncate(folder.WidePath().c_str()));
}

TEST(FileAccess, WarnsOfAShortWrite)
{
    const CTemporaryFolder folder;
    CLineLogger logger;
    CFileAccess file;
    ASSERT_TRUE(file.Open(folder.Path("f").c_str(), CFileAccess::FM_CREATE, false));

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

// The virtual table as its user outside this code sees it: the slots of the first base.
TEST(FileAccess, HasItsSlotsInOrder)
{
    const CTemporaryFolder folder;
    WriteFile(folder.Path("f"), "0123456789");
    CFileAccess file;
    ASSERT_TRUE(file.Open(folder.Path("f").c_str(), CFileAccess::FM_READ_WRITE, false));
    using TRead = int (*)(CFileAccess*, void*, int);
    using TGetPosition = unsigned long long (*)(CFileAccess*);
    void* const* const pSlots = *reinterpret_cast<void***>(&file);
    char aBuffer[4] = {};
    EXPECT_EQ(reinterpret_cast<TRead>(pSlots[2])(&file, aBuffer, 2), 2);
    EXPECT_STREQ(aBuffer, "01");
    EXPECT_EQ(reinterpret_cast<TGetPosition>(pSlots[5])(&file), 2U);
}

} // namespace
