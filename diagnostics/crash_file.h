#ifndef ZOR_DIAGNOSTICS_CRASH_FILE_H
#define ZOR_DIAGNOSTICS_CRASH_FILE_H

#include <cstddef>

namespace mu
{

// Files as a crash writes them: by system calls alone. CFileAccess and the functions of
// mu/file_system.h allocate, and log their failures, in a process whose heap or logger may be what
// broke. Paths are UTF-8.

/// Makes what is missing of the directories that lead to a file. The text is as before at the end.
/// A failure shows when the file is opened.
void MakeDirectoriesInCrash(char* szPath);
/// Keeps a descriptor back, so that a process that has none left still writes its files. Called
/// before the crash.
void ReserveDescriptorForCrash();
/// To read and write, made if it is missing; further flags as for open(2). -1 on failure.
int OpenFileInCrash(const char* szPath, int iFlags);
/// Writes all, whatever interrupts it and however long the other side of a pipe takes. False if the
/// system refuses.
bool WriteAllInCrash(int iDescriptor, const char* pBytes, std::size_t uSize);

} // namespace mu

#endif
