// The recorder's configuration and the file that keeps it.

#include "simulator/recorder_configuration.h"

#include <sys/resource.h>
#include <sys/stat.h>

#include <gmock/gmock.h>

#include "simulator/file_replacement.h"
#include "tests/support/files.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/testing.h"

namespace
{

const std::string kMark = "\xEF\xBB\xBF";
const std::string kStart = "<zor:RecorderConfiguration xmlns:zor=\"http://zor.example/documents\">";
const std::string kEnd = "</zor:RecorderConfiguration>";

struct SConfigurationCase
{
    const char* szRule;
    std::string strFile;
    std::string strError; // what it contains; empty: none
    std::vector<std::string> vecNotUnderstood = {};
    std::string strSaved = ""; // with the root directory "/r"; empty: as it was
};

TEST(Configuration, KeepsWhatItDoesNotChange)
{
    const std::string strRoot = "<zor:RootDirectory>/r</zor:RootDirectory>";
    const std::string strUnknown = "<a b=\"c\">d</a><zor:More/>";
    const auto recorder = [](const std::string& strFields) {
        return kStart + "<zor:MediaRecorderConfig>" + strFields + "</zor:MediaRecorderConfig>" +
               kEnd;
    };
    const SConfigurationCase aCases[] = {
        {"nothing changes", " \n" + recorder("\n " + strRoot), ""},
        {"the record is missing",
         kStart + strUnknown + kEnd,
         "",
         {},
         kMark + kStart + strUnknown +
             "<zor:MediaRecorderConfig xmlns:zor=\"http://zor.example/documents\">"
             "<zor:RootDirectory xmlns:zor=\"http://zor.example/documents\">/r</zor:RootDirectory>"
             "</zor:MediaRecorderConfig>" +
             kEnd},
        {"values without a meaning",
         recorder(
             "<zor:RootDirectory>/old</zor:RootDirectory><zor:BufferSize>12 kB</zor:BufferSize>"
             "<zor:FileTimeSplitThreshold>+007 </zor:FileTimeSplitThreshold>"
             "<zor:RecordingEventTime>99999999999</zor:RecordingEventTime>"
             "<zor:VerifyWrites>1</zor:VerifyWrites><zor:SignFiles>YES</zor:SignFiles>"
             "<zor:RecordEvents/><zor:VideoFileFormat>H\x1B</zor:VideoFileFormat>"
             "<zor:Downloads zor:SeparateDeviceFolders=\"on\"/>"),
         "",
         {"zor:MediaRecorderConfig/zor:BufferSize: '12 kB' is not understood, '12' is used",
          "zor:MediaRecorderConfig/zor:VerifyWrites: '1' is not understood, 'False' is used",
          "zor:MediaRecorderConfig/zor:RecordEvents: '' is not understood, 'False' is used",
          "zor:MediaRecorderConfig/zor:RecordingEventTime: '99999999999' is not understood, "
          "'2147483647' is used",
          "zor:MediaRecorderConfig/zor:VideoFileFormat: 'H?' is not understood, 'Raw' is used",
          "zor:MediaRecorderConfig/zor:Downloads/zor:SeparateDeviceFolders: 'on' is not "
          "understood, "
          "'False' is used"},
         kMark + recorder(strRoot +
                          "<zor:BufferSize>12 kB</zor:BufferSize>"
                          "<zor:FileTimeSplitThreshold>+007 </zor:FileTimeSplitThreshold>"
                          "<zor:RecordingEventTime>99999999999</zor:RecordingEventTime>"
                          "<zor:VerifyWrites>1</zor:VerifyWrites><zor:SignFiles>YES</zor:SignFiles>"
                          "<zor:RecordEvents/><zor:VideoFileFormat>H\x1B</zor:VideoFileFormat>"
                          "<zor:Downloads zor:SeparateDeviceFolders=\"on\"/>")},
        {"another document", "<html><body/></html>", "not a recorder's configuration"},
        {"another namespace", "<zor:RecorderConfiguration xmlns:zor=\"http://other.example/\"/>",
         "not a recorder's configuration"},
        {"a cut file", kMark + kStart + "\n <a>", "not well-formed XML: line 2, column 2: this "},
        {"no UTF-8", kStart + "\xE9" + kEnd, "no text in UTF-8"},
    };
    for (const SConfigurationCase& row : aCases)
    {
        SCOPED_TRACE(row.szRule);
        const CTemporaryFolder folder;
        const std::string strPath = folder.Path("c.xml");
        WriteFile(strPath, row.strFile);
        CRecorderConfiguration configuration;
        std::vector<std::string> vecNotUnderstood;
        EXPECT_THAT(configuration.Load(strPath, vecNotUnderstood),
                    testing::HasSubstr(row.strError));
        if (row.strError.empty())
        {
            EXPECT_EQ(vecNotUnderstood, row.vecNotUnderstood);
            EXPECT_EQ(configuration.SetRootDirectory("/r"), "");
            EXPECT_EQ(configuration.Save(), "");
        }
        EXPECT_EQ(ReadFile(strPath), row.strSaved.empty() ? row.strFile : row.strSaved);
    }
}

TEST(Configuration, IsReplacedWhole)
{
    namespace fs = std::filesystem;
    const CTemporaryFolder folder;
    fs::create_directory(folder.Path("d"));
    const std::string strFile = folder.Path("d/c");
    const std::string strLink = folder.Path("link");
    const auto files = [&] { return std::distance(fs::directory_iterator(folder.Path("d")), {}); };
    fs::create_symlink("d/c", strLink);

    EXPECT_EQ(ReplaceFile(strLink, "made"), "");
    EXPECT_TRUE(fs::is_symlink(strLink));
    EXPECT_EQ(ReadFile(strFile), "made");

    ::chmod(strFile.c_str(), 0640);
    const bool bRoot = ::geteuid() == 0;
    EXPECT_EQ(::chown(strFile.c_str(), bRoot ? 1 : ::geteuid(), bRoot ? 2 : ::getegid()), 0);
    fs::create_hard_link(strFile, folder.Path("other"));
    struct stat before
    {
    };
    struct stat after
    {
    };
    ::stat(strFile.c_str(), &before);
    EXPECT_EQ(ReplaceFile(strLink, "replaced"), "");
    ::stat(strFile.c_str(), &after);
    EXPECT_EQ(std::tuple(after.st_mode, after.st_uid, after.st_gid),
              std::tuple(before.st_mode, before.st_uid, before.st_gid));
    EXPECT_EQ(ReadFile(strFile) + ReadFile(folder.Path("other")), "replacedmade");

    // A disk without room. The limit's signal would end the process.
    const auto pOld = std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    ::getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit small{4, limit.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &small);
    const std::string strError = ReplaceFile(strFile, "too long");
    ::setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, pOld);
    EXPECT_EQ(strError, strFile + ": cannot be written: File too large");
    EXPECT_EQ(ReadFile(strFile), "replaced");

    EXPECT_THAT(ReplaceFile(folder.Path("d"), ""), testing::EndsWith("Is a directory"));
    fs::create_symlink("loop", folder.Path("loop"));
    EXPECT_THAT(ReplaceFile(folder.Path("loop"), ""), testing::HasSubstr("cannot be written: Too"));
    EXPECT_EQ(files(), 1);
}

} // namespace
