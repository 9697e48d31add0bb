// The recorder's configuration and the file that keeps it.

#include "simulator/recorder_configuration.h"

#include <sys/stat.h>

#include "simulator/file_replacement.h"
#include "tests/support/testing.h"

namespace
{

const std::string kMark = "\xEF\xBB\xBF";
const std::string kStart = "<zor:RecorderConfiguration xmlns:zor=\"http://zor.example/documents\">";
const std::string kEnd = "</zor:RecorderConfiguration>";

TEST(Configuration, KeepsWhatItDoesNotChange)
{
    const CTemporaryFolder folder;
    const std::string strPath = folder.Path("c.xml");
    // A file, a part of the error if there is one, what is not understood, and the file with the
    // root directory "/r" if that changes it.
    const auto check = [&](const std::string& strFile, const std::string& strError,
                           const std::vector<std::string>& vecExpected = {},
                           const std::string& strSaved = "")
    {
        SCOPED_TRACE(strFile);
        WriteFile(strPath, strFile);
        CRecorderConfiguration configuration;
        std::vector<std::string> vecNotUnderstood;
        EXPECT_THAT(configuration.Load(strPath, vecNotUnderstood), testing::HasSubstr(strError));
        if (strError.empty())
        {
            EXPECT_EQ(vecNotUnderstood, vecExpected);
            EXPECT_EQ(configuration.SetRootDirectory("/r"), "");
            EXPECT_EQ(configuration.Save(), "");
        }
        EXPECT_EQ(ReadFile(strPath), strSaved.empty() ? strFile : strSaved);
    };
    const std::string strRoot = "<zor:RootDirectory>/r</zor:RootDirectory>";
    const auto recorder = [](const std::string& strFields) {
        return kStart + "<zor:MediaRecorderConfig>" + strFields + "</zor:MediaRecorderConfig>" +
               kEnd;
    };
    check(" \n" + recorder("\n " + strRoot), "");

    const std::string strUnknown = "<a b=\"c\">d</a><zor:More/>";
    const std::string strSpace = " xmlns:zor=\"http://zor.example/documents\">";
    check(kStart + strUnknown + kEnd, "", {},
          kMark + kStart + strUnknown + "<zor:MediaRecorderConfig" + strSpace +
              "<zor:RootDirectory" + strSpace + "/r</zor:RootDirectory></zor:MediaRecorderConfig>" +
              kEnd);

    const std::string strOdd =
        "<zor:BufferSize>12 kB</zor:BufferSize>"
        "<zor:FileTimeSplitThreshold>+007 </zor:FileTimeSplitThreshold>"
        "<zor:RecordingEventTime>99999999999</zor:RecordingEventTime>"
        "<zor:VerifyWrites>1</zor:VerifyWrites><zor:SignFiles>YES</zor:SignFiles>"
        "<zor:RecordEvents/><zor:VideoFileFormat>H\x1B</zor:VideoFileFormat>"
        "<zor:Downloads zor:SeparateDeviceFolders=\"on\"/>";
    const auto odd = [](const std::string& strName, const char* szText, const char* szUsed)
    {
        return "zor:MediaRecorderConfig/zor:" + strName + ": '" + szText +
               "' is not understood, '" + szUsed + "' is used";
    };
    check(recorder("<zor:RootDirectory>/old</zor:RootDirectory>" + strOdd), "",
          {odd("BufferSize", "12 kB", "12"), odd("VerifyWrites", "1", "False"),
           odd("RecordEvents", "", "False"), odd("RecordingEventTime", "99999999999", "2147483647"),
           odd("VideoFileFormat", "H?", "Raw"),
           odd("Downloads/zor:SeparateDeviceFolders", "on", "False")},
          kMark + recorder(strRoot + strOdd));

    const std::string strAnother = "not a recorder's configuration";
    check("<html><body/></html>", strAnother);
    check("<zor:RecorderConfiguration xmlns:zor=\"http://other.example/\"/>", strAnother);
    check(kMark + kStart + "\n <a>", "not well-formed XML: line 2, column 2: this ");
    check(kStart + "\xE9" + kEnd, "no text in UTF-8");
}

TEST(Configuration, IsReplacedWhole)
{
    namespace fs = std::filesystem;
    const CTemporaryFolder folder;
    fs::create_directory(folder.Path("d"));
    const std::string strFile = folder.Path("d/c");
    const std::string strLink = folder.Path("link");
    fs::create_symlink("d/c", strLink);

    EXPECT_EQ(ReplaceFile(strLink, "made"), "");
    EXPECT_TRUE(fs::is_symlink(strLink));
    EXPECT_EQ(ReadFile(strFile), "made");

    ::chmod(strFile.c_str(), 0640);
    const bool bRoot = ::geteuid() == 0;
    EXPECT_EQ(::chown(strFile.c_str(), bRoot ? 1 : ::geteuid(), bRoot ? 2 : ::getegid()), 0);
    fs::create_hard_link(strFile, folder.Path("other"));
    struct stat aStatuses[2] = {};
    ::stat(strFile.c_str(), &aStatuses[0]);
    EXPECT_EQ(ReplaceFile(strLink, "replaced"), "");
    ::stat(strFile.c_str(), &aStatuses[1]);
    const auto [tOld, tNew] = aStatuses;
    EXPECT_EQ(std::tuple(tNew.st_mode, tNew.st_uid, tNew.st_gid),
              std::tuple(tOld.st_mode, tOld.st_uid, tOld.st_gid));
    EXPECT_EQ(ReadFile(strFile) + ReadFile(folder.Path("other")), "replacedmade");

    EXPECT_THAT(ReplaceFile(folder.Path("d"), ""), testing::EndsWith("Is a directory"));
    fs::create_symlink("loop", folder.Path("loop"));
    EXPECT_THAT(ReplaceFile(folder.Path("loop"), ""), testing::HasSubstr("cannot be written: Too"));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.Path("d")), {}), 1);
}

} // namespace
