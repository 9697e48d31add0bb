#include "console/diagnostic_list.h"

#include <cstdio>
#include <new>

#include "console/diagnostic_names.h"
#include "console/pipe_messages.h"

namespace
{

void PrintDiagnosticNames()
{
    std::vector<std::string> vNames;
    const EDiagnosticNames eNames = ReadDiagnosticNames(g_exmlParams, vNames);
    if (eNames != EDiagnosticNames::Read)
    {
        std::printf("%s\r\n", ReasonForNoNames(eNames));
        return;
    }
    int iNumber = 0;
    for (const std::string& strName : vNames)
    {
        ++iNumber;
        // On purpose not all of a name that holds a NUL: it ends there.
        std::printf("%02d: %s\r\n", iNumber, strName.c_str());
    }
}

} // namespace

void ListDiagnosticInformation()
{
    try
    {
        PrintDiagnosticNames();
    }
    catch (const std::bad_alloc&)
    {
        std::puts("Not enough memory.\r");
    }
}
