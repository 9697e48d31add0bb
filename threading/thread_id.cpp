#include "threading/thread_id.h"

#include <pthread.h>

namespace mu
{

constinit thread_local unsigned long g_dwCurrentThreadID = 0;

unsigned long FindCurrentThreadID()
{
    g_dwCurrentThreadID = static_cast<unsigned long>(pthread_self());
    return g_dwCurrentThreadID;
}

} // namespace mu
