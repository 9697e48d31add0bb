#ifndef ZOR_MU_OPEN_FILE_H
#define ZOR_MU_OPEN_FILE_H

namespace mu
{

/// open(2), for its owner alone if the file is made (0600), and never for a program that is
/// executed; again after a signal (EINTR) unless that happens a hundred times. -1 with errno
/// otherwise. Makes nothing but system calls, so signal handlers may call it, too.
int OpenFile(const char* szPath, int iFlags);

} // namespace mu

#endif
