#include "config/media_recorder_configuration.h"

#include <regex>

#include "tests/support/failing_heap.h"
#include "tests/support/testing.h"
#include "xml/easy_xml.h"

namespace
{

/// The document in full: "(Name text)" is a child element.
std::wstring Document(const std::wstring& wsXML)
{
    return std::regex_replace(wsXML, std::wregex(L"\\((\\w+) ([^)]*)\\)"), L"<zor:$1>$2</zor:$1>");
}

/// The record as a document. The declaration that stands at each element is left out.
std::wstring Written(CMediaRecorderConfiguration config)
{
    CEasyXML exml;
    CEasyXMLNode root = exml.AddRoot(L"r", nullptr);
    config.ToXML(root);
    std::wstring wsXML;
    exml.GetXML(wsXML);
    return std::regex_replace(wsXML, std::wregex(L" xmlns:zor=\"http://zor.example/documents\""),
                              L"");
}

bool Read(const std::wstring& wsShort, CMediaRecorderConfiguration& config)
{
    CEasyXML exml;
    CEasyXMLNode node = exml.LoadFromText(Document(wsShort).c_str()).GetFirstChild();
    EXPECT_TRUE(node.IsValid());
    return config.FromXML(node);
}

constexpr wchar_t kDefault[] =
    L"<r><zor:MediaRecorderConfig zor:SeparateDeviceFolders=\"False\"><zor:RootDirectory/>"
    L"(FileSizeSplitThreshold 0)(FileTimeSplitThreshold 0)(BufferSize 0)"
    L"(EnableFileSystemOptimizations False)(VerifyWrites False)(RecordIfMotionDetected True)"
    L"(DeleteOldFiles True)(SignFiles False)(RecordLocations True)(RecordEvents True)"
    L"(RecordVideoOnAlarm False)(RecordAudioOnAlarm False)(RecordingEventTime 60)"
    L"(UseNamesInFiles False)(RecordMediaTraffic False)(AudioFileFormat Raw)"
    L"(VideoFileFormat Raw)(AudioVideoFileFormat FLV)<zor:Encryption zor:Enable=\"False\"/>"
    L"<zor:RemoteFileSystem>(RemoteFileSystemType None)</zor:RemoteFileSystem>"
    L"<zor:Downloads zor:RootDirectory=\"\" zor:SeparateDeviceFolders=\"False\"/>"
    L"</zor:MediaRecorderConfig></r>";

// Every field another value than the default, and than those of its kind where it can be.
constexpr wchar_t kOther[] =
    L"<r><zor:MediaRecorderConfig zor:SeparateDeviceFolders=\"True\">"
    L"(RootDirectory /m \xE9&amp;)(FileSizeSplitThreshold -1)"
    L"(FileTimeSplitThreshold -2147483648)(BufferSize 2147483647)"
    L"(EnableFileSystemOptimizations True)(VerifyWrites True)(RecordIfMotionDetected False)"
    L"(DeleteOldFiles False)(SignFiles True)(RecordLocations False)(RecordEvents False)"
    L"(RecordVideoOnAlarm True)(RecordAudioOnAlarm True)(RecordingEventTime 61)"
    L"(UseNamesInFiles True)(RecordMediaTraffic True)(AudioFileFormat WAV)(VideoFileFormat Any)"
    L"(AudioVideoFileFormat MP4)<zor:Encryption zor:Enable=\"True\" zor:Key=\" k&quot;\"/>"
    L"<zor:RemoteFileSystem>(RemoteFileSystemType NFS)(Address a)(UserName u)(Password &lt;p )"
    L"</zor:RemoteFileSystem>"
    L"<zor:Downloads zor:RootDirectory=\"/d\" zor:SeparateDeviceFolders=\"True\"/>"
    L"</zor:MediaRecorderConfig></r>";

TEST(MediaRecorderConfiguration, IsWrittenAndReadBackWhole)
{
    CMediaRecorderConfiguration config;
    EXPECT_EQ(Written(config), Document(kDefault));
    EXPECT_TRUE(Read(kOther, config));
    EXPECT_EQ(Written(config), Document(kOther));
    EXPECT_EQ(config.m_ullFileSizeSplitThreshold, ~0ULL);
    EXPECT_EQ(config.m_wsDownloadsRootDirectory, L"/d");
    EXPECT_EQ(config.m_remoteFileSystem.m_wsPassword, L"<p ");

    CMediaRecorderConfiguration incomplete = config;
    EXPECT_FALSE(Read(L"<r><zor:MediaRecorderConfig/></r>", incomplete));
    CEasyXMLNode none;
    EXPECT_FALSE(incomplete.FromXML(none));
    EXPECT_FALSE(incomplete.ToXML(none));
    EXPECT_EQ(Written(incomplete), Document(kOther));

    EXPECT_TRUE(Read(kDefault, config)); // the texts of what is off stay, but are not written
    EXPECT_EQ(Written(config), Document(kDefault));
    EXPECT_EQ(config.m_remoteFileSystem.m_wsPassword, L"<p ");
    EXPECT_EQ(config.m_fileEncryption.m_wsKey, L" k\"");
    config.Reset();
    EXPECT_EQ(config.m_fileEncryption.m_wsKey, L"");
    config.m_eVideoFileFormat = mu::EMediaFileFormat{6};
    EXPECT_EQ(Written(config).find(L"VideoFileFormat"), Written(config).find(L"VideoFileFormat>F"));
    EXPECT_EQ(config.GetXMLMessageType(), 8);
    EXPECT_EQ(config.GetExtraBinaryData(nullptr), 0);
}

TEST(MediaRecorderConfiguration, AFieldThatHasNoMeaningKeepsItsValue)
{
    // What a record's element holds, and what it changes in the default.
    const std::tuple<const char*, std::wstring, const wchar_t*, std::wstring> aCases[] = {
        {"unknown text", L"(AudioFileFormat raw)", L"", L""},
        {"other prefix", L"<o:BufferSize xmlns:o='http://zor.example/documents'>5</o:BufferSize>",
         L"", L""},
        {"key without encryption", L"<zor:Encryption zor:Enable='no' zor:Key='k'/>", L"", L""},
        {"encryption without a key", L"<zor:Encryption zor:Enable='y'/>", L"Enable=\"False\"/>",
         L"Enable=\"True\" zor:Key=\"\"/>"},
        {"texts of an unknown file system",
         L"<zor:RemoteFileSystem>(RemoteFileSystemType FTP)(Address a)</zor:RemoteFileSystem>", L"",
         L""},
        {"one of two attributes", L"<zor:Downloads zor:SeparateDeviceFolders='T'/>",
         L"\"\" zor:SeparateDeviceFolders=\"False\"", L"\"\" zor:SeparateDeviceFolders=\"True\""},
    };
    for (const auto& [szRule, wsContent, wszOld, wsNew] : aCases)
    {
        SCOPED_TRACE(szRule);
        CMediaRecorderConfiguration config;
        EXPECT_FALSE(Read(L"<r><c>" + wsContent + L"</c></r>", config));
        std::wstring wsExpected = kDefault;
        wsExpected.replace(wsExpected.find(wszOld), std::wcslen(wszOld), wsNew);
        EXPECT_EQ(Written(config), Document(wsExpected));
    }
}

TEST(MediaRecorderConfiguration, NamesADirectoryForEachDay)
{
    using enum EFileTransferCategory;
    // Both roots and whether they have a folder for each device; the category and the device; the
    // device's folder, and the root (null: none).
    const std::tuple<const wchar_t*, const wchar_t*, bool, bool, EFileTransferCategory, int,
                     std::wstring, const wchar_t*>
        aCases[] = {
            {L"/r", L"", false, true, Recording, 2, L"", L"/r/"},
            {L"/r/", L"/d", true, false, Recording, 1, L"Device 1/", L"/r/"},
            {L"/r", L"/d", true, true, Downloads, 0, L"", L"/d/"},
            {L"", L"/d\\", false, true, Downloads, INT_MAX, L"Device 2147483647/", L"/d\\"},
            {L"/r", L"/d", true, true, SoftwareUpdate, 1, L"", L"/r/"},
            {L"", L"/d", false, false, Recording, 1, L"", nullptr},
        };
    CMediaRecorderConfiguration config;
    for (const auto& [wszRoot, wszDownloads, bRecordings, bDownloads, eCategory, iDevice, wsFolder,
                      wszFull] : aCases)
    {
        SCOPED_TRACE(testing::Message() << wszRoot << " " << wszDownloads << " " << iDevice);
        config.m_wsRootDirectory = wszRoot;
        config.m_wsDownloadsRootDirectory = wszDownloads;
        config.m_bSeparateRecordingsDeviceFolders = bRecordings;
        config.m_bSeparateDownloadsDeviceFolders = bDownloads;
        std::wstring wsRelative, wsFull;
        EXPECT_EQ(config.GetDirectoryForTime(eCategory, {2026, 11, 5}, iDevice, wsRelative, wsFull),
                  wszFull != nullptr);
        if (wszFull != nullptr)
        {
            EXPECT_EQ(wsRelative, wsFolder + L"2026/11 November/05");
            EXPECT_EQ(wsFull, wszFull + wsRelative);
        }
    }
    config.m_wsRootDirectory = L"/r";
    for (const auto& [wszDownloads, bSeparate] :
         {std::pair(L"/R", true), {L"/r", false}, {L"", false}})
    {
        config.m_wsDownloadsRootDirectory = wszDownloads;
        EXPECT_EQ(config.HasSeparateDownloadsDirectory(), bSeparate) << wszDownloads;
    }
    std::wstring wsPrefix = L"old";
    config.GetDevicePrefixFolder(0, wsPrefix);
    EXPECT_EQ(wsPrefix, L"");
}

TEST(MediaRecorderConfiguration, MakesTheDirectoryOfADay)
{
    const CTemporaryFolder folder;
    CMediaRecorderConfiguration config;
    std::wstring wsRelative, wsFull;
    const auto Create = [&](const mu::STimeComponents& time)
    {
        return config.CreateDirectoryForNewFile(EFileTransferCategory::Recording, time, 1,
                                                wsRelative, wsFull);
    };
    EXPECT_FALSE(Create({2026, 9, 30}));
    config.m_wsRootDirectory = folder.WidePath(L"new");
    EXPECT_TRUE(Create({2026, 9, 30}));
    EXPECT_TRUE(std::filesystem::is_directory(folder.Path("new/2026/09 September/30")));

    EXPECT_TRUE(Create({INT_MIN, INT_MIN, INT_MIN}));
    EXPECT_EQ(wsRelative, L"-2147483648/-2147483648 Undefi"); // 30 characters
    config.m_wsRootDirectory = L"/dev/null/no directory";
    EXPECT_FALSE(Create({2026, 9, 30}));

    for (int iAllowed = 0; CFailingHeap::kAvailable && iAllowed < 2; ++iAllowed)
    {
        wsRelative = wsFull = std::wstring();
        const CFailingHeap heap(iAllowed);
        EXPECT_FALSE(Create({2026, 9, 30}));
    }
}

} // namespace
