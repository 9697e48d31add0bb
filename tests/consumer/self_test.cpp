#include <ctime>
#include <string_view>
#include <thread>

#include <sys/types.h>

#include "diagnostics/function_state.h"
#include "diagnostics/state_report.h"
#include "threading/thread_id.h"
#include "xml/easy_xml.h"

// The library's own functions have these types in their signatures.
static_assert(sizeof(off_t) == 8 && sizeof(std::time_t) == 8,
              "the library's definitions have not arrived");

namespace
{

bool ReadsDocuments()
{
    CEasyXML exml;
    int iSeconds = 0;
    CEasyXMLNode root = exml.LoadFromText(L"<zor:Parameters><zor:Period>300</zor:Period>"
                                          L"</zor:Parameters>");
    return root.GetChildByName(L"zor:Period").GetTextValue(iSeconds) && iSeconds == 300;
}

// The entry is opened by code compiled here, in the thread's storage that the library keeps; the
// report is written by code of the library.
bool TracesInThisThread()
{
    char szReport[2000];
    int iLength = 0;
    {
        CFunctionSwitch fsConsumer("Consumer::Trace");
        iLength = WriteThreadsStateReport(szReport, sizeof(szReport));
    }
    FreeThreadExVarsStorage();
    const std::string_view svReport(szReport, static_cast<std::size_t>(iLength));
    return svReport.find("Consumer::Trace") != std::string_view::npos;
}

} // namespace

/// Whether the library works here, in this thread and another.
extern "C" bool TestLibrary()
{
    bool bOther = false;
    std::thread([&]
                { bOther = TracesInThisThread() && mu::GetCurrentThreadID() == pthread_self(); })
        .join();
    return ReadsDocuments() && TracesInThisThread() && bOther;
}
