#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cwchar>
#include <string>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "fuzz/support/law.h"
#include "mu/calendar.h"
#include "mu/ip_prefix.h"
#include "mu/numbers.h"
#include "mu/search.h"
#include "mu/text.h"
#include "mu/unicode.h"
#include "mu/version.h"
#include "mu/words.h"

// Texts with a meaning: numbers, dates, versions, masks, words, line breaks.

namespace
{

int Length(const auto& text)
{
    return static_cast<int>(text.size());
}

/// Only the C library's own reading, in the "C" locale that fuzzing runs in.
void CheckNumbers(const std::string& strText)
{
    const std::string strUpToNul = strText.substr(0, strText.find('\0'));
    const std::wstring wsText(strUpToNul.begin(), strUpToNul.end());
    bool bAscii = true;
    for (const char ch : strUpToNul)
    {
        bAscii = bAscii && static_cast<unsigned char>(ch) < 0x80;
    }
    if (!bAscii)
    {
        return; // a byte is no wide unit then
    }
    const long long ll = std::strtoll(strUpToNul.c_str(), nullptr, 10);
    const int i = static_cast<int>(ll > INT_MAX ? INT_MAX : ll < INT_MIN ? INT_MIN : ll);
    Law(mu::ParseInt32(strText.data(), Length(strText)) == i && mu::StringToInt(wsText) == i,
        "reads what strtol reads");
    Law(mu::StringToInt64(wsText) == ll, "reads what strtoll reads");
    const double d = std::wcstod(wsText.c_str(), nullptr);
    const double dRead = mu::StringToDouble(wsText);
    Law(dRead == d || (dRead != dRead && d != d), "reads what wcstod reads");
}

void CheckTimes(FuzzedDataProvider& input)
{
    const auto llSeconds = input.ConsumeIntegralInRange(0LL, 4133980799LL);
    mu::STimeComponents time;
    time.FromStandardTimeValue(llSeconds);
    std::wstring wsTime;
    mu::GetTimeComponentsAsString(time, wsTime);
    mu::STimeComponents read;
    Law(mu::GetTimeComponentsFromString(wsTime, read) && read == time, "a date there and back");
    Law(time.m_iYear >= 2100 || time.GetStandardTimeValue() == llSeconds, "a time there and back");

    // Nothing that an outsider chooses may overflow or write beyond its buffer.
    int iFields[6];
    for (int& iField : iFields)
    {
        iField = input.ConsumeIntegral<int>();
    }
    mu::STimeComponents wild = {iFields[0], iFields[1], iFields[2],
                                iFields[3], iFields[4], iFields[5]};
    mu::GetTimeComponentsAsString(wild, wsTime);
    wild.GetStandardTimeValue();
    mu::CalcDayOfWeek(wild);
    wild.FromStandardTimeValue(input.ConsumeIntegral<long long>());
    const int iCapacity = input.ConsumeIntegralInRange(1, 60);
    std::vector<char> vSpan(static_cast<std::size_t>(iCapacity));
    const auto llSpan = input.ConsumeIntegral<long long>();
    mu::GetShortTimeSpanString(llSpan, vSpan.data(), iCapacity);
    mu::GetTimeSpanString(llSpan, vSpan.data(), iCapacity);
    mu::GetTimeComponentsAsChars(wild, vSpan.data(), iCapacity);
    std::string strAmount;
    mu::GetBitrateString(static_cast<unsigned long long>(llSpan), strAmount);
}

void CheckVersions(const std::string& strText)
{
    const std::size_t uHalf = strText.find('\n');
    mu::SVersion first;
    mu::SVersion second;
    if (!mu::ParseVersion(strText.substr(0, uHalf), first))
    {
        return;
    }
    mu::SVersion again;
    Law(mu::ParseVersion(mu::FormatVersion(first), again) && mu::CompareVersions(first, again) == 0,
        "a version there and back");
    if (uHalf != std::string::npos && mu::ParseVersion(strText.substr(uHalf + 1), second))
    {
        const int iOrder = mu::CompareVersions(first, second);
        const int iReverse = mu::CompareVersions(second, first);
        Law((iOrder < 0) == (iReverse > 0) && (iOrder == 0) == (iReverse == 0),
            "an order is the same from both sides");
    }
}

void CheckMasks(const std::string& strText)
{
    const int iLength = mu::MaskTextToPrefixLength(strText);
    Law(iLength >= -1 && iLength <= 128, "prefix lengths");
    for (const bool bIPv6 : {false, true})
    {
        if (iLength >= 0 && iLength <= (bIPv6 ? 128 : 32))
        {
            Law(mu::MaskTextToPrefixLength(mu::PrefixLengthToMaskText(iLength, bIPv6)) == iLength,
                "a mask there and back");
        }
    }
}

void CheckWords(const std::string& strText)
{
    const std::wstring wsText(strText.begin(), strText.end());
    const std::vector<std::wstring> vWords = mu::SplitWords(wsText);
    std::string strUTF8 = mu::WideStringToNarrow(wsText);
    for (const std::wstring& wsWord : vWords)
    {
        Law(!wsWord.empty() && wsWord.find(L'"') == std::wstring::npos, "words");
    }
    Law(mu::ContainsAllWords(wsText, vWords), "a text has its own words");

    std::string strLines;
    mu::ReplaceNewLines(strText, strLines, "\n");
    Law(strLines.find('\r') == std::string::npos, "no CR is left");
    std::vector<char> vOut(strText.size() / 2 + 1);
    const int iWritten =
        mu::ReplaceNewLines(strText.data(), vOut.data(), "\n", Length(strText), Length(vOut));
    Law(strLines.compare(0, static_cast<std::size_t>(iWritten), vOut.data(),
                         static_cast<std::size_t>(iWritten)) == 0,
        "a buffer gets the beginning of what a string gets");

    const std::string strToken = strText.substr(0, strText.size() % 5);
    const std::size_t uFound = strText.find(strToken, 1);
    int iPlaces[4];
    const int iPlacesFound = mu::FindTokensInBuffer(strText.data(), Length(strText),
                                                    strToken.data(), Length(strToken), iPlaces, 4);
    Law(strToken.empty() ? iPlacesFound == 0 : iPlacesFound > 0 && iPlaces[0] == 0, "finds tokens");
    if (iPlacesFound > 1 && strToken.size() == 1)
    {
        Law(iPlaces[1] == static_cast<int>(uFound), "finds the next token");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t uSize)
{
    FuzzedDataProvider input(pData, uSize);
    switch (input.ConsumeIntegralInRange(0, 4))
    {
    case 0:
        CheckTimes(input);
        break;
    case 1:
        CheckNumbers(input.ConsumeRemainingBytesAsString());
        break;
    case 2:
        CheckVersions(input.ConsumeRemainingBytesAsString());
        break;
    case 3:
        CheckMasks(input.ConsumeRemainingBytesAsString());
        break;
    default:
        CheckWords(input.ConsumeRemainingBytesAsString());
        break;
    }
    return 0;
}
