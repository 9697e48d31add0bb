#include "simulator/frames.h"

#include <cstdio>
#include <cstring>

namespace
{

constexpr std::size_t kDumpLine = 16;

std::string DumpLine(std::string_view svBytes)
{
    std::string strLine;
    std::string strText;
    for (const char ch : svBytes)
    {
        char szByte[8];
        std::snprintf(szByte, sizeof(szByte), " %02X", static_cast<unsigned char>(ch));
        strLine += szByte;
        strText += ch >= ' ' && ch <= '~' ? ch : '.';
    }
    strLine.resize(3 * kDumpLine, ' ');
    return strLine + "  " + strText + "\n";
}

} // namespace

std::string MakeFrame(EPipeMessage eType, std::uint32_t dwArgument, std::string_view svPayload)
{
    const SPipeMessageHeader header{eType, dwArgument,
                                    static_cast<std::uint32_t>(svPayload.size())};
    std::string strFrame(sizeof(header), '\0');
    std::memcpy(strFrame.data(), &header, sizeof(header));
    strFrame += svPayload;
    return strFrame;
}

std::string DescribeFrame(std::string_view svFrame)
{
    SPipeMessageHeader header;
    if (svFrame.size() < sizeof(header))
    {
        return "incomplete header, " + std::to_string(svFrame.size()) + " bytes";
    }
    std::memcpy(&header, svFrame.data(), sizeof(header));

    const std::string strArgument = std::to_string(header.m_dwArgument);
    std::string strMeaning;
    switch (header.m_dwType)
    {
    case PM_REQUEST_PARAMETERS:
        strMeaning = "parameters request";
        break;
    case PM_REQUEST_LOG:
        strMeaning = "log request";
        break;
    case PM_REQUEST_DIAGNOSTIC:
        strMeaning = "diagnostic request, index " + strArgument;
        break;
    case PM_PARAMETERS:
        strMeaning = "parameters";
        break;
    case PM_TEXT:
        strMeaning = "text";
        break;
    case PM_CIRCULAR_TEXT:
        strMeaning = "circular text, oldest at " + strArgument;
        break;
    default:
        strMeaning = "unknown type " + std::to_string(header.m_dwType);
        break;
    }

    const std::size_t uPayload = svFrame.size() - sizeof(header);
    if (header.m_dwLength != 0)
    {
        strMeaning += ", " + std::to_string(header.m_dwLength) + " bytes";
    }
    if (header.m_dwLength != uPayload)
    {
        strMeaning += ", of which " + std::to_string(uPayload) + " are there";
    }
    return strMeaning;
}

std::string DumpFrame(std::string_view svFrame)
{
    constexpr std::size_t kHeader = sizeof(SPipeMessageHeader);
    constexpr std::size_t kPayloadShown = 4 * kDumpLine;

    std::string strDump = DumpLine(svFrame.substr(0, kHeader));
    if (svFrame.size() > kHeader)
    {
        const std::string_view svShown = svFrame.substr(kHeader, kPayloadShown);
        for (std::size_t i = 0; i < svShown.size(); i += kDumpLine)
        {
            strDump += DumpLine(svShown.substr(i, kDumpLine));
        }
        const std::size_t uLeft = svFrame.size() - kHeader - svShown.size();
        strDump += uLeft > 0 ? " and " + std::to_string(uLeft) + " more\n" : "";
    }
    return strDump;
}
