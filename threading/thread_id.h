#ifndef ZOR_THREADING_THREAD_ID_H
#define ZOR_THREADING_THREAD_ID_H

namespace mu
{

/// What stands for "no thread" where the id of an owner or a waiter is kept.
inline constexpr unsigned long kNoThreadID = 0xFFFFFFFF;

/// The calling thread's pthread_self(), kept because asking for it is a call and this is a load.
/// 0 until GetCurrentThreadID() asks for the first time.
[[gnu::tls_model("initial-exec")]] // a load and no call in a shared object either
extern constinit thread_local unsigned long g_dwCurrentThreadID;
[[gnu::cold, gnu::noinline]] unsigned long FindCurrentThreadID();

/// The calling thread's id, a pthread_t. The system gives it to a new thread once this one has
/// ended.
inline unsigned long GetCurrentThreadID()
{
    const unsigned long dwThreadID = g_dwCurrentThreadID;
    return __builtin_expect(dwThreadID != 0, 1) ? dwThreadID : FindCurrentThreadID();
}

} // namespace mu

#endif
