#include "mu/url.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cstddef>
#include <string_view>
#include <utility>

#include "diagnostics/function_state.h"
#include "mu/characters.h"
#include "mu/hex.h"
#include "mu/lengths.h"

namespace
{

void Decode(std::string& strText, bool bPlusIsSpace)
{
    char* pOut = strText.data();
    const char* pIn = pOut;
    const char* const pEnd = pIn + strText.size();
    while (pIn != pEnd)
    {
        char ch = *pIn++;
        if (ch == '%' && pEnd - pIn >= 2)
        {
            const int iHigh = mu::HexCharToInt(pIn[0]);
            const int iLow = mu::HexCharToInt(pIn[1]);
            if (iHigh >= 0 && iLow >= 0)
            {
                ch = static_cast<char>(iHigh << 4 | iLow);
                pIn += 2;
            }
        }
        else if (ch == '+' && bPlusIsSpace)
        {
            ch = ' ';
        }
        *pOut++ = ch;
    }
    strText.resize(static_cast<std::size_t>(pOut - strText.data()));
}

/// The bytes that an encoding leaves as they are.
using CKeptBytes = std::array<bool, 256>;

template <typename TIsKept>
constexpr CKeptBytes KeptBytes(TIsKept IsKept)
{
    CKeptBytes kept{};
    for (std::size_t u = 0; u < kept.size(); ++u)
    {
        kept[u] = IsKept(static_cast<char>(u));
    }
    return kept;
}

constexpr CKeptBytes kUnreserved = KeptBytes(
    [](char ch)
    {
        return mu::IsAlphaNumeric(static_cast<wchar_t>(ch)) || ch == '-' || ch == '.' ||
               ch == '_' || ch == '~';
    });

constexpr CKeptBytes kHarmlessInMarkup = KeptBytes(
    [](char ch)
    {
        const auto uByte = static_cast<unsigned char>(ch);
        return uByte >= ' ' && uByte != 0x7F && ch != '"' && ch != '\'' && ch != '<' && ch != '>';
    });

void Encode(std::string& strText, const CKeptBytes& kept)
{
    constexpr char kDigits[] = "0123456789ABCDEF";

    const auto IsKept = [&kept](char ch) { return kept[static_cast<unsigned char>(ch)]; };
    const auto uKept =
        static_cast<std::size_t>(std::count_if(strText.begin(), strText.end(), IsKept));
    std::string strOut(3 * strText.size() - 2 * uKept, '%');
    char* pOut = strOut.data();
    for (const char ch : strText)
    {
        if (IsKept(ch))
        {
            *pOut = ch;
            ++pOut;
            continue;
        }
        const auto uByte = static_cast<unsigned char>(ch);
        pOut[1] = kDigits[uByte >> 4];
        pOut[2] = kDigits[uByte & 15];
        pOut += 3;
    }
    assert(pOut == strOut.data() + strOut.size());
    strText = std::move(strOut);
}

/// RFC 3986, section 5.2.4, for a path that begins with a slash.
std::string WithoutDotSegments(std::string_view svPath)
{
    std::string strOut;
    while (!svPath.empty())
    {
        const std::size_t uNext = std::min(svPath.find('/', 1), svPath.size());
        const std::string_view svSegment = svPath.substr(0, uNext); // with its leading slash
        svPath.remove_prefix(uNext);

        const bool bParent = svSegment == "/..";
        if (!bParent && svSegment != "/.")
        {
            strOut += svSegment;
            continue;
        }
        if (bParent && !strOut.empty())
        {
            strOut.resize(strOut.rfind('/'));
        }
        if (svPath.empty())
        {
            strOut += '/';
        }
    }
    return strOut;
}

} // namespace

void CURLParamsMap::FromBuffer(const char* szQuery, int iLength)
{
    CFunctionSwitch fsFromBuffer("URLPM::FB");

    AddPairs({szQuery, mu::UnitCount(iLength)}, '&', mu::DecodeURL);
}

std::string CURLParamsMap::ToString() const
{
    std::string strQuery;
    for (std::pair<std::string, std::string> param : *this)
    {
        mu::EncodeURL(param.first);
        mu::EncodeURL(param.second);
        if (!strQuery.empty())
        {
            strQuery += '&';
        }
        strQuery += param.first + '=' + param.second;
    }
    return strQuery;
}

namespace mu
{

void DecodeURL(std::string& strText)
{
    Decode(strText, true);
}

void EncodeURL(std::string& strText)
{
    Encode(strText, kUnreserved);
}

void EncodeURLMarkup(std::string& strURL)
{
    Encode(strURL, kHarmlessInMarkup);
}

bool ParseRequestObject(const char* szObject, int iLength, std::string& strPath,
                        CURLParamsMap& mapParams)
{
    std::string_view svTarget(szObject, UnitCount(iLength));
    svTarget = svTarget.substr(0, svTarget.find('#'));
    if (!svTarget.starts_with('/'))
    {
        const std::size_t uScheme = svTarget.find("://");
        const bool bAbsolute = uScheme != 0 && uScheme < svTarget.find_first_of("/?");
        if (!bAbsolute)
        {
            return false;
        }
        svTarget.remove_prefix(uScheme + 3);
        svTarget.remove_prefix(std::min(svTarget.find_first_of("/?"), svTarget.size()));
    }

    const std::size_t uPathLength = std::min(svTarget.find('?'), svTarget.size());
    std::string strDecoded = uPathLength == 0 ? "/" : std::string(svTarget.substr(0, uPathLength));
    Decode(strDecoded, false);
    if (strDecoded.find('\0') != std::string::npos)
    {
        return false;
    }

    CURLParamsMap mapNew;
    if (uPathLength < svTarget.size())
    {
        mapNew.FromBuffer(svTarget.data() + uPathLength + 1,
                          IntCount(svTarget.size() - uPathLength - 1));
    }
    strPath = WithoutDotSegments(strDecoded);
    mapParams.swap(mapNew);
    return true;
}

} // namespace mu
