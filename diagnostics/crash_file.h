#ifndef ZOR_DIAGNOSTICS_CRASH_FILE_H
#define ZOR_DIAGNOSTICS_CRASH_FILE_H

#include <cstddef>

namespace mu
{

// How a crash writes files: with system calls alone. CFileAccess and mu/file_system.h allocate
// memory and log their failures, and the crash may have damaged the heap or the logger. Paths are
// UTF-8.

/// Makes the missing directories on the way to a file. Changes the path meanwhile, and leaves it as
/// it was. A failure shows when the file is opened.
void MakeDirectoriesInCrash(char* szPath);
/// Keeps a descriptor open that OpenFileInCrash() closes when the process has none left for the
/// file. Called before a crash.
void ReserveDescriptorForCrash();
/// Opens a file for reading and writing, and makes it if it is missing. iFlags are further flags of
/// open(2). Returns the descriptor, -1 on failure.
int OpenFileInCrash(const char* szPath, int iFlags);
/// Writes all bytes: goes on after signals and short writes, and waits without a limit while a pipe
/// is full. False after any other error.
bool WriteAllInCrash(int iDescriptor, const char* pBytes, std::size_t uSize);

} // namespace mu

#endif
