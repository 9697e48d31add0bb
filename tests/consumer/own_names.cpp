// Names that a firmware may give to things of its own: they would clash with the library's if the
// library had them outside its namespace.

#include <cstdlib>

#include <pthread.h>

class CScheduler
{
public:
    void Stop();
};
class CDayFile
{
public:
    CDayFile();
    bool Open(const char* szPath);
};
class CVariablesSubTree;

// A variable's symbol is its name alone: one of another type would clash, too.
double g_szVersion = 3.12;
int g_szApplicationName[] = {'f', 'w'};
const char* g_iProcessExitCode = "EXIT";
void* g_ptlTextLogger = nullptr;
long g_pThreadExceptionVars = 0;

void CScheduler::Stop() {}
CDayFile::CDayFile() = default;
bool CDayFile::Open(const char*)
{
    return false;
}

void RestartProcess(char**)
{
    std::abort();
}

bool LockForReport(pthread_mutex_t&)
{
    return false;
}

void SetCrashMode() {}

bool WriteAllInCrash(int, const char*, std::size_t)
{
    return false;
}

long long GetTimestamp()
{
    return 0;
}

bool IsTextBefore(const wchar_t*, const wchar_t*)
{
    return false;
}

const CVariablesSubTree* NextInDocument(const CVariablesSubTree*, const CVariablesSubTree*)
{
    return nullptr;
}
