#include "console/diag_exit.h"

#include <cstdarg>
#include <cstdio>

EDiagExit EndWith(EDiagExit eExit, const char* szFormat, ...)
{
    std::va_list arguments;
    va_start(arguments, szFormat);
    std::fputs("zor-diag: ", stderr);
    std::vfprintf(stderr, szFormat, arguments);
    std::fputs("\n", stderr);
    va_end(arguments);
    return eExit;
}
