#ifndef ZOR_CONSOLE_USER_NAME_H
#define ZOR_CONSOLE_USER_NAME_H

#include <string>

#include <sys/types.h>

/// A user as "name (number)", or as the number where /etc/passwd has no name for it.
std::string UserName(uid_t uid);

#endif
