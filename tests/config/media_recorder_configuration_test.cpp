#include "config/media_recorder_configuration.h"

#include "tests/support/failing_heap.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/testing.h"
#include "xml/easy_xml.h"

namespace
{

/// The document in full: "(Name text)" is a child element.
std::wstring Document(std::wstring wsXML)
{
    for (std::size_t u = 0; (u = wsXML.find(L'(', u)) != std::wstring::npos;)
    {
        const std::size_t uBlank = wsXML.find(L' ', u);
        const std::wstring wsName = wsXML.substr(u + 1, uBlank - u - 1);
        wsXML[uBlank] = L'>';
        wsXML.replace(wsXML.find(L')', u), 1, L"</zor:" + wsName + L">");
        wsXML.replace(u, 1, L"<zor:");
    }
    return wsXML;
}

/// The record as a document. The declaration that stands at each element is left out.
std::wstring Written(CMediaRecorderConfiguration config)
{
    const std::wstring wsDeclaration = L" xmlns:zor=\"http://zor.example/documents\"";
    CEasyXML exml;
    CEasyXMLNode root = exml.AddRoot(L"r", nullptr);
    config.ToXML(root);
    std::wstring wsXML;
    exml.GetXML(wsXML);
    for (std::size_t u = 0; (u = wsXML.find(wsDeclaration, u)) != std::wstring::npos;)
        wsXML.erase(u, wsDeclaration.size());
    return wsXML;
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
    EXPECT_FALSE(incomplete.FromXML(none) || incomplete.ToXML(none));
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

struct SReadCase
{
    const char* szRule;
    const wchar_t* wszContent; // of a record's element
    const wchar_t* wszOld;     // what changes in the default
    const wchar_t* wszNew;
};

TEST(MediaRecorderConfiguration, AFieldThatHasNoMeaningKeepsItsValue)
{
    const SReadCase aCases[] = {
        {"unknown text", L"(AudioFileFormat raw)", L"", L""},
        {"other prefix", L"<o:BufferSize xmlns:o='http://zor.example/documents'>5</o:BufferSize>",
         L"", L""},
        {"beyond the range", L"(BufferSize -4294967297)", L"BufferSize 0",
         L"BufferSize -2147483648"},
        {"in 64 bits", L"(FileSizeSplitThreshold 18446744073709551615)", L"Threshold 0",
         L"Threshold 9223372036854775807"},
        {"key without encryption", L"<zor:Encryption zor:Enable='no' zor:Key='k'/>", L"", L""},
        {"encryption without a key", L"<zor:Encryption zor:Enable='y'/>", L"Enable=\"False\"/>",
         L"Enable=\"True\" zor:Key=\"\"/>"},
        {"texts of an unknown file system",
         L"<zor:RemoteFileSystem>(RemoteFileSystemType FTP)(Address a)</zor:RemoteFileSystem>", L"",
         L""},
        {"one of two attributes", L"<zor:Downloads zor:SeparateDeviceFolders='T'/>",
         L"\"\" zor:SeparateDeviceFolders=\"False\"", L"\"\" zor:SeparateDeviceFolders=\"True\""},
    };
    for (const SReadCase& row : aCases)
    {
        SCOPED_TRACE(row.szRule);
        CMediaRecorderConfiguration config;
        EXPECT_FALSE(Read(L"<r><c>" + std::wstring(row.wszContent) + L"</c></r>", config));
        std::wstring wsExpected = kDefault;
        const std::size_t uOld = wsExpected.find(row.wszOld);
        ASSERT_NE(uOld, std::wstring::npos);
        wsExpected.replace(uOld, std::wstring(row.wszOld).size(), row.wszNew);
        EXPECT_EQ(Written(config), Document(wsExpected));
    }
}

struct SDirectoryCase
{
    const char* szRule;
    CMediaRecorderConfiguration m_config;
    EFileTransferCategory m_eCategory;
    int iDevice;
    const wchar_t* wszRelative;
    const wchar_t* wszFull; // null: none
};

TEST(MediaRecorderConfiguration, NamesADirectoryForEachDay)
{
    using enum EFileTransferCategory;
    const auto Config =
        [](const wchar_t* wszRoot, const wchar_t* wszDownloads, bool bRecordings, bool bDownloads)
    {
        CMediaRecorderConfiguration config;
        config.m_wsRootDirectory = wszRoot;
        config.m_wsDownloadsRootDirectory = wszDownloads;
        config.m_bSeparateRecordingsDeviceFolders = bRecordings;
        config.m_bSeparateDownloadsDeviceFolders = bDownloads;
        return config;
    };
    const SDirectoryCase aCases[] = {
        {"no folders", Config(L"/r", L"", false, true), Recording, 2, L"2026/11 November/05",
         L"/r/2026/11 November/05"},
        {"device", Config(L"/r/", L"/d", true, false), Recording, 1,
         L"Device 1/2026/11 November/05", L"/r/Device 1/2026/11 November/05"},
        {"no device", Config(L"/r", L"/d", true, true), Downloads, 0, L"2026/11 November/05",
         L"/d/2026/11 November/05"},
        {"downloads", Config(L"", L"/d\\", false, true), Downloads, 2147483647,
         L"Device 2147483647/2026/11 November/05", L"/d\\Device 2147483647/2026/11 November/05"},
        {"other", Config(L"/r", L"/d", true, true), SoftwareUpdate, 1, L"2026/11 November/05",
         L"/r/2026/11 November/05"},
        {"no root", Config(L"", L"/d", false, false), Recording, 1, nullptr, nullptr},
    };
    for (const SDirectoryCase& row : aCases)
    {
        SCOPED_TRACE(row.szRule);
        std::wstring wsRelative = L"old";
        std::wstring wsFull = L"old";
        EXPECT_EQ(row.m_config.GetDirectoryForTime(row.m_eCategory, {2026, 11, 5, 0, 0, 0},
                                                   row.iDevice, wsRelative, wsFull),
                  row.wszFull != nullptr);
        if (row.wszFull != nullptr)
        {
            EXPECT_EQ(wsRelative, row.wszRelative);
            EXPECT_EQ(wsFull, row.wszFull);
        }
    }
    EXPECT_TRUE(Config(L"/r", L"/R", false, false).HasSeparateDownloadsDirectory());
    EXPECT_FALSE(Config(L"/r", L"/r", false, false).HasSeparateDownloadsDirectory());
    EXPECT_FALSE(Config(L"/r", L"", false, false).HasSeparateDownloadsDirectory());
}

TEST(MediaRecorderConfiguration, MakesTheDirectoryOfADay)
{
    const CTemporaryFolder folder;
    CMediaRecorderConfiguration config;
    std::wstring wsRelative;
    std::wstring wsFull;
    const auto Create = [&](const mu::STimeComponents& time)
    {
        return config.CreateDirectoryForNewFile(EFileTransferCategory::Recording, time, 1,
                                                wsRelative, wsFull);
    };
    EXPECT_FALSE(Create({2026, 9, 30, 0, 0, 0}));
    config.m_wsRootDirectory = folder.WidePath(L"new");
    EXPECT_TRUE(Create({2026, 9, 30, 0, 0, 0}));
    EXPECT_TRUE(std::filesystem::is_directory(folder.Path("new/2026/09 September/30")));

    const int iLeast = -2147483647 - 1;
    EXPECT_TRUE(Create({iLeast, iLeast, iLeast, 0, 0, 0}));
    EXPECT_EQ(wsRelative, L"-2147483648/-2147483648 Undefi"); // 30 characters
    config.m_wsRootDirectory = L"/dev/null/no directory";
    EXPECT_FALSE(Create({2026, 9, 30, 0, 0, 0}));

    for (int iAllowed = 0; CFailingHeap::kAvailable && iAllowed < 2; ++iAllowed)
    {
        wsRelative = wsFull = std::wstring();
        const CFailingHeap heap(iAllowed);
        EXPECT_FALSE(Create({2026, 9, 30, 0, 0, 0}));
    }
}

} // namespace
