#ifndef ZOR_TESTS_SUPPORT_PIPES_H
#define ZOR_TESTS_SUPPORT_PIPES_H

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include <sys/stat.h>
#include <unistd.h>

#include "console/pipe_protocol.h"
#include "console/user_name.h"

/// Removes the pipes that a recorder left. Ends the program where it may not: no test could pass.
inline void RemovePipes()
{
    for (const char* szPath : g_aszPipePaths)
    {
        struct stat status
        {
        };
        if (::unlink(szPath) != 0 && errno != ENOENT && ::lstat(szPath, &status) == 0)
        {
            std::fprintf(stderr, "%s belongs to user %s, so nothing can be tested: sudo rm %s %s\n",
                         szPath, UserName(status.st_uid).c_str(), g_aszPipePaths[0],
                         g_aszPipePaths[1]);
            std::exit(1);
        }
    }
}

#endif
