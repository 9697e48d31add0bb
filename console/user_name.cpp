#include "console/user_name.h"

#include <cstdio>
#include <memory>

#include <pwd.h>

// Not getpwuid(), which a program without shared libraries cannot use.
std::string UserName(uid_t uid)
{
    const std::unique_ptr<FILE, int (*)(FILE*)> pFile(std::fopen("/etc/passwd", "re"),
                                                      [](FILE* p) { return std::fclose(p); });
    while (const passwd* const pEntry = pFile != nullptr ? ::fgetpwent(pFile.get()) : nullptr)
    {
        if (pEntry->pw_uid == uid)
        {
            return std::string(pEntry->pw_name) + " (" + std::to_string(uid) + ")";
        }
    }
    return std::to_string(uid);
}
