#ifndef ZOR_SIMULATOR_FAULTS_H
#define ZOR_SIMULATOR_FAULTS_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What a broken recorder may do to a console, in place of a good reply.
enum class EFault
{
    ShortHeader,
    TruncatedPayload,
    UnknownType,
    HugeLength,
    Nuls,
    MalformedDocument,
    Silence,
    Close,
};

struct SFaultName
{
    EFault m_eFault;
    const char* m_szName;
    const char* m_szEffect;
};

extern const SFaultName g_aFaultNames[8];

std::optional<EFault> FaultByName(std::string_view svName);
const char* NameOfFault(EFault eFault);

/// A frame as the fault leaves it. Empty: nothing is sent.
std::string SpoilFrame(EFault eFault, std::string strFrame);

/// Deals a console its faults. "malformed-document" is for parameters, the others are for the other
/// replies, in the order of the list, once.
class CFaultPlan
{
public:
    explicit CFaultPlan(std::vector<EFault> vFaults);

    /// To be called for each console.
    void Restart() { m_uNext = 0; }
    std::optional<EFault> ForParameters() const;
    std::optional<EFault> ForNextReply();

private:
    std::vector<EFault> m_vFaults; // without those for parameters
    bool m_bMalformedDocument = false;
    std::size_t m_uNext = 0;
};

#endif
