#include "threading/thread_id.h"

#include <pthread.h>

constinit thread_local unsigned long mu::g_dwCurrentThreadID = 0;

unsigned long mu::FindCurrentThreadID()
{
    g_dwCurrentThreadID = static_cast<unsigned long>(pthread_self());
    return g_dwCurrentThreadID;
}
