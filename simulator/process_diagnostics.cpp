#include "simulator/process_diagnostics.h"

#include <cstdio>

#include <malloc.h>

#include "diagnostics/state_report.h"
#include "io/file_access.h"

namespace
{

constexpr int kThreadsReport = 16384;
// A report that is cut ends before the item that does not fit, so up to this much of its room is
// unused.
constexpr int kMostLeftByACut = 128;

// A line of /proc/self/status, such as "VmRSS:      3468 kB".
std::string StatusValue(const std::string& strStatus, const std::string& strName)
{
    const std::size_t uLine = strStatus.find("\n" + strName + ":");
    if (uLine == std::string::npos)
    {
        return "unknown";
    }
    const std::size_t uStart = strStatus.find_first_not_of(" \t", uLine + strName.size() + 2);
    return strStatus.substr(uStart, strStatus.find('\n', uStart) - uStart);
}

} // namespace

std::string ThreadsText()
{
    std::string strReport(kThreadsReport, '\0');
    const int iLength = WriteThreadsStateReport(strReport.data(), kThreadsReport);
    strReport.resize(static_cast<std::size_t>(iLength));
    return iLength < kThreadsReport - kMostLeftByACut ? strReport : strReport + "... (cut)\r\n";
}

std::string MemoryText()
{
    std::string strStatus;
    CFileAccess::GetStrFileContent("/proc/self/status", strStatus);
    const struct mallinfo2 heap = ::mallinfo2();
    return "  Resident: " + StatusValue(strStatus, "VmRSS") +
           "\r\n  Most resident: " + StatusValue(strStatus, "VmHWM") +
           "\r\n  Heap in use: " + std::to_string((heap.uordblks + heap.hblkhd) / 1024) +
           " kB\r\n  Heap free: " + std::to_string(heap.fordblks / 1024) + " kB\r\n";
}
