// Works whose instructions are counted from outside, by valgrind on the host and by the emulator
// for the device.
//   counted_works                a line for each work: name, units a round, unit, rounds to count
//   counted_works NAME ROUNDS    does the work so often
// What two runs differ by is what the rounds took: starting and setting up cancel out.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <pthread.h>

#include "bench/support/second_thread.h"
#include "bench/xml/documents.h"
#include "bench/xml/peers.h"
#include "config/media_recorder_configuration.h"
#include "diagnostics/function_state.h"
#include "logging/daily_debug_log.h"
#include "mu/base64.h"
#include "mu/crc7.h"
#include "mu/hex.h"
#include "mu/unicode.h"
#include "mu/url.h"
#include "threading/mutex.h"
#include "xml/easy_xml.h"

namespace
{

struct SWork
{
    std::string m_strName; // "<work>/<who>"
    std::size_t m_uUnits;
    const char* m_szUnit;
    int m_iRounds;
    std::function<std::function<void()>()> m_make; // sets up, and gives what does one round
};

constexpr std::size_t kBytes = 65536;
constexpr int kTextRounds = 10;
constexpr int kCalls = 1000;

/// Whatever is done to the memory at p is used.
void Use(const void* p)
{
    asm volatile("" : : "r"(p) : "memory");
}

int Length(const auto& text)
{
    return static_cast<int>(text.size());
}

std::string RepeatedTo(std::string_view strPiece, std::size_t uBytes)
{
    std::string strText;
    while (strText.size() < uBytes)
    {
        strText += strPiece;
    }
    return strText;
}

void AddDocuments(std::vector<SWork>& works)
{
    for (const auto& [szSize, uBytes] : {std::pair{"4k", std::size_t{4096}}, {"64k", kBytes}})
    {
        const auto pXML = std::make_shared<std::string>(MakeDeviceParameters(uBytes));
        for (const SPeer& peer : g_aPeers)
        {
            const std::string strSuffix = std::string("/") + szSize + "/" + peer.m_szName;
            works.push_back({"XmlLoadDestroy" + strSuffix, pXML->size(), "byte", kTextRounds,
                             [pXML, &peer]
                             { return [pXML, &peer] { peer.m_pMake()->Load(*pXML); }; }});
            works.push_back({"XmlWrite" + strSuffix, pXML->size(), "byte", kTextRounds,
                             [pXML, &peer]
                             {
                                 std::shared_ptr<IDocument> pDocument = peer.m_pMake();
                                 pDocument->Load(*pXML);
                                 return [pDocument]
                                 {
                                     std::string strOut;
                                     pDocument->Write(strOut);
                                     Use(strOut.data());
                                 };
                             }});
        }
    }
}

void AddConversions(std::vector<SWork>& works)
{
    constexpr std::pair<const char*, std::string_view> kTexts[] = {
        {"ascii", "<zor:Diagnostic Index=\"12\" Name=\"Battery voltage\">nominal 3.7 V"},
        {"latin", "la température de l'appareil a dépassé sa limite, das Gerät schaltet ab. "},
        {"cyrillic", "температура устройства превышена, запись остановлена. "},
        {"cjk", "录音设备的存储空间不足，请更换存储卡后重新启动。"}};
    for (const auto& [szName, strPiece] : kTexts)
    {
        const auto pNarrow = std::make_shared<std::string>(RepeatedTo(strPiece, kBytes));
        const auto pWide = std::make_shared<std::wstring>(pNarrow->size() + 1, L' ');
        const int iWide =
            mu::ConvertString(pNarrow->data(), Length(*pNarrow), pWide->data(), Length(*pNarrow));
        works.push_back({std::string("Utf8ToWide/") + szName + "/zor", pNarrow->size(), "byte",
                         kTextRounds,
                         [pNarrow, pWide]
                         {
                             return [pNarrow, pWide] {
                                 mu::ConvertString(pNarrow->data(), Length(*pNarrow), pWide->data(),
                                                   Length(*pNarrow));
                             };
                         }});
        works.push_back(
            {std::string("WideToUtf8/") + szName + "/zor", pNarrow->size(), "byte", kTextRounds,
             [pNarrow, pWide, iWide]
             {
                 return
                     [pOut = std::make_shared<std::string>(pNarrow->size() + 1, ' '), pWide, iWide]
                 { mu::ConvertString(pWide->data(), iWide, pOut->data(), Length(*pOut)); };
             }});
    }
}

void AddCodecs(std::vector<SWork>& works)
{
    struct SData
    {
        std::string strBytes = RepeatedTo("\x01\x9f\x42\xe7\xff\x20\x7b", kBytes);
        std::string strHex;
        std::string strBase64 = std::string(kBytes * 2, ' ');
        std::string strOut = std::string(kBytes * 3, ' ');
    };
    const auto p = std::make_shared<SData>();
    const auto uBytes = static_cast<unsigned int>(p->strBytes.size());
    const auto Bytes = [p] { return reinterpret_cast<const unsigned char*>(p->strBytes.data()); };
    const auto Out = [p] { return reinterpret_cast<unsigned char*>(p->strOut.data()); };
    mu::BufferToHex(p->strBytes.data(), Length(p->strBytes), mu::ELC_LOWER, p->strHex);
    p->strBase64.resize(mu::base64_encode(Bytes(), uBytes, p->strBase64.data(),
                                          static_cast<unsigned int>(p->strBase64.size())));
    const auto Add = [&works, uBytes](const char* szName, auto round) {
        works.push_back({szName, uBytes, "byte", kTextRounds, [round] { return round; }});
    };
    Add("HexEncode/zor", [=]
        { mu::BufferToHex(Bytes(), static_cast<int>(uBytes), mu::ELC_LOWER, p->strOut.data()); });
    Add("HexDecode/zor", [=] { mu::HexToBin(p->strHex.data(), Length(p->strHex), Out()); });
    Add("Base64Encode/zor",
        [=] { mu::base64_encode(Bytes(), uBytes, p->strOut.data(), 3 * uBytes); });
    Add("Base64Decode/zor",
        [=]
        {
            mu::base64_decode(p->strBase64.data(), static_cast<unsigned int>(p->strBase64.size()),
                              Out(), uBytes);
        });
    Add("Crc7/zor", [=] { *Out() = mu::CalcCRC7(0, Bytes(), uBytes); });
    Add("UrlEncode/zor",
        [=]
        {
            p->strOut = p->strBytes;
            mu::EncodeURL(p->strOut);
        });
}

[[gnu::noinline]] void BareCall(int iValue)
{
    asm volatile("" : : "m"(iValue) : "memory");
}

[[gnu::noinline]] void TracedCall(int iValue)
{
    CFunctionSwitch fsTraced("B::TC");
    mu::CFunctionParam fpValue(fsTraced, "iValue", iValue);
    asm volatile("" : : "m"(iValue) : "memory");
}

class CCountedLog final : public CDailyDebugLog
{
public:
    CCountedLog() { SetBufferSize(8 << 20); } // holds all lines: none is written out
    int AddRef() override { return 1; }
    int Release() override { return 1; }
};

constexpr char kLine[] = "Channel %d: frame %u of %d bytes to %s in %d ms";
constexpr char kFile[] = "2026/11 November/15/Video_7";

void AddCalls(std::vector<SWork>& works)
{
    const auto Add = [&works](const char* szName, auto make) {
        works.push_back({szName, 1, "call", kCalls, make});
    };
    Add("LogLine/zor",
        []
        {
            return [pLog = std::make_shared<CCountedLog>()]
            {
                if (!pLog->AddTextF(kLine, 12, 1234567U, 65432, kFile, 38))
                {
                    std::abort();
                }
            };
        });
    Add("LogLine/snprintf",
        []
        {
            return []
            {
                char szLine[200];
                std::snprintf(szLine, sizeof(szLine), kLine, 12, 1234567U, 65432, kFile, 38);
                Use(szLine);
            };
        });
    Add("Call/zor", [] { return [] { TracedCall(1); }; });
    Add("Call/bare", [] { return [] { BareCall(1); }; });
    Add("LockPair/zor",
        []
        {
            return [pSecond = std::make_shared<CSecondThread>(),
                    pMutex = std::make_shared<CMutualExclusion>()]
            {
                pMutex->Lock(mu::kInfinite);
                pMutex->Unlock();
            };
        });
    Add("LockPair/pthread",
        []
        {
            auto pMutex = std::make_shared<pthread_mutex_t>();
            pthread_mutex_init(pMutex.get(), nullptr);
            return [pSecond = std::make_shared<CSecondThread>(), pMutex]
            {
                pthread_mutex_lock(pMutex.get());
                pthread_mutex_unlock(pMutex.get());
            };
        });
    Add("ConfigSave/zor",
        []
        {
            return [pConfig = std::make_shared<CMediaRecorderConfiguration>()]
            {
                CEasyXML exml;
                CEasyXMLNode root =
                    exml.AddRoot(L"zor:DeviceParameters", mu::g_wszDocumentNamespace);
                pConfig->ToXML(root);
                std::string strXML;
                exml.GetXML(strXML);
                Use(strXML.data());
            };
        });
    Add("VocabularyValue/zor",
        []
        {
            return []
            {
                static const std::wstring wsText = mu::GetEnumerationText(
                    g_DeviceFeatureEnums,
                    static_cast<std::int32_t>(std::size(g_DeviceFeatureEnums)) - 1);
                std::int32_t iValue = 0;
                mu::GetEnumerationValue(g_DeviceFeatureEnums, wsText, iValue);
                Use(&iValue);
            };
        });
}

} // namespace

int main(int iArgs, char** ppArgs)
{
    std::vector<SWork> works;
    AddDocuments(works);
    AddConversions(works);
    AddCodecs(works);
    AddCalls(works);
    for (const SWork& work : works)
    {
        if (iArgs == 1)
        {
            std::printf("%s %zu %s %d\n", work.m_strName.c_str(), work.m_uUnits, work.m_szUnit,
                        work.m_iRounds);
        }
        else if (iArgs == 3 && work.m_strName == ppArgs[1])
        {
            CFunctionSwitch fsCaller("B::Run"); // nearly every caller is traced itself
            const std::function<void()> round = work.m_make();
            for (int i = std::atoi(ppArgs[2]); i > 0; --i)
            {
                round();
            }
            return 0;
        }
    }
    return iArgs == 1 ? 0 : 2;
}
