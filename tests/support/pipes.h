#ifndef ZOR_TESTS_SUPPORT_PIPES_H
#define ZOR_TESTS_SUPPORT_PIPES_H

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include <unistd.h>

#include "console/pipe_protocol.h"

/// Removes the pipes that a recorder left. Ends the program where it may not: no test could pass.
inline void RemovePipes()
{
    for (const char* szPath : g_aszPipePaths)
    {
        if (::unlink(szPath) != 0 && errno != ENOENT)
        {
            std::perror(szPath);
            std::exit(1);
        }
    }
}

#endif
