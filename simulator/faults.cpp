#include "simulator/faults.h"

#include <cstring>
#include <utility>

#include "console/pipe_protocol.h"

const SFaultName g_aFaultNames[8] = {
    {EFault::ShortHeader, "short-header", "5 bytes of a header, no more"},
    {EFault::TruncatedPayload, "truncated-payload", "half of the payload that the header tells"},
    {EFault::UnknownType, "unknown-type", "a type of message that no console knows"},
    {EFault::HugeLength, "huge-length", "a header that tells 4294967295 bytes of payload"},
    {EFault::Nuls, "nuls", "a text with NULs for its blanks"},
    {EFault::MalformedDocument, "malformed-document", "parameters that end too early"},
    {EFault::Silence, "silence", "no reply"},
    {EFault::Close, "close", "closes its pipes"},
};

std::optional<EFault> FaultByName(std::string_view svName)
{
    for (const SFaultName& fault : g_aFaultNames)
    {
        if (svName == fault.m_szName)
        {
            return fault.m_eFault;
        }
    }
    return std::nullopt;
}

const char* NameOfFault(EFault eFault)
{
    for (const SFaultName& fault : g_aFaultNames)
    {
        if (eFault == fault.m_eFault)
        {
            return fault.m_szName;
        }
    }
    return "";
}

std::string SpoilFrame(EFault eFault, std::string strFrame)
{
    SPipeMessageHeader header;
    std::memcpy(&header, strFrame.data(), sizeof(header));

    switch (eFault)
    {
    case EFault::ShortHeader:
        strFrame.resize(5);
        return strFrame;
    case EFault::TruncatedPayload:
        strFrame.resize(sizeof(header) + header.m_dwLength / 2);
        return strFrame;
    case EFault::UnknownType:
        header.m_dwType = 'Z';
        break;
    case EFault::HugeLength:
        header.m_dwLength = 0xFFFFFFFF;
        break;
    case EFault::Nuls:
        for (std::size_t i = sizeof(header); i < strFrame.size(); ++i)
        {
            if (strFrame[i] == ' ')
            {
                strFrame[i] = '\0';
            }
        }
        return strFrame;
    case EFault::MalformedDocument:
        header.m_dwLength /= 2;
        strFrame.resize(sizeof(header) + header.m_dwLength);
        break;
    case EFault::Silence:
    case EFault::Close:
        return {};
    }
    std::memcpy(strFrame.data(), &header, sizeof(header));
    return strFrame;
}

CFaultPlan::CFaultPlan(std::vector<EFault> vFaults) : m_vFaults(std::move(vFaults))
{
    m_bMalformedDocument = std::erase(m_vFaults, EFault::MalformedDocument) > 0;
}

std::optional<EFault> CFaultPlan::ForParameters() const
{
    return m_bMalformedDocument ? std::optional(EFault::MalformedDocument) : std::nullopt;
}

std::optional<EFault> CFaultPlan::ForNextReply()
{
    return m_uNext < m_vFaults.size() ? std::optional(m_vFaults[m_uNext++]) : std::nullopt;
}
