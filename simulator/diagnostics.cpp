#include "simulator/diagnostics.h"

#include <cstdio>
#include <cstdlib>

#include "simulator/process_diagnostics.h"

namespace
{

struct SReading
{
    const char* m_szName; // of the diagnostic
    const char* m_szLabel;
    const char* m_szUnit;
    int m_iLowest; // in tenths of the unit
    int m_iHighest;
    int m_iPeriod; // from the lowest to the highest and back, in milliseconds
};

constexpr SReading kReadings[] = {
    {"Power supply", "Input voltage", "V", 117, 124, 7000},
    {"Power supply", "Current", "A", 8, 31, 11000},
    {"Case temperature (°C)", "Main board", "°C", 385, 452, 60000},
    {"Case temperature (°C)", "Disk", "°C", 341, 397, 90000},
    {"Video inputs", "Camera 1", "frames/s", 248, 250, 3000},
    {"Video inputs", "Camera 2", "frames/s", 121, 125, 5000},
    {"Recording storage", "Write rate", "MB/s", 62, 118, 9000},
    {"Recording storage", "Used", "%", 714, 786, 600000},
    {"Network", "Received", "kB/s", 13, 96, 4000},
    {"Network", "Sent", "kB/s", 9120, 14480, 13000},
};
// Of diagnostics that only the user's own parameters have.
constexpr SReading kOtherReading = {nullptr, "Value", "%", 0, 1000, 10000};

std::string FormatReading(const SReading& reading, long long llMilliseconds)
{
    const long long llPhase = llMilliseconds % reading.m_iPeriod;
    const long long llHalf = reading.m_iPeriod / 2;
    const long long llRise = llHalf - std::llabs(llPhase - llHalf);
    const int iTenths =
        reading.m_iLowest +
        static_cast<int>((reading.m_iHighest - reading.m_iLowest) * llRise / llHalf);

    char szLine[80];
    std::snprintf(szLine, sizeof(szLine), "  %s: %d.%d %s\r\n", reading.m_szLabel, iTenths / 10,
                  iTenths % 10, reading.m_szUnit);
    return szLine;
}

} // namespace

std::string FormatUptime(std::chrono::milliseconds uptime)
{
    const long long llMilliseconds = uptime.count();
    char szTime[40];
    std::snprintf(szTime, sizeof(szTime), "%02lld:%02lld:%02lld.%03lld", llMilliseconds / 3600000,
                  llMilliseconds / 60000 % 60, llMilliseconds / 1000 % 60, llMilliseconds % 1000);
    return szTime;
}

std::string DiagnosticText(const std::vector<std::string>& vNames, std::uint32_t dwIndex,
                           std::chrono::milliseconds uptime)
{
    if (dwIndex >= vNames.size())
    {
        return "There is no diagnostic " + std::to_string(dwIndex + 1ULL) + "; this recorder has " +
               std::to_string(vNames.size()) + ".\r\n";
    }

    const std::string& strName = vNames[dwIndex];
    std::string strText = strName + ", up " + FormatUptime(uptime) + "\r\n";
    if (strName == "Threads")
    {
        return strText + ThreadsText();
    }
    if (strName == "Memory")
    {
        return strText + MemoryText();
    }
    bool bKnown = false;
    for (const SReading& reading : kReadings)
    {
        if (strName == reading.m_szName)
        {
            strText += FormatReading(reading, uptime.count());
            bKnown = true;
        }
    }
    return bKnown ? strText : strText + FormatReading(kOtherReading, uptime.count());
}
