// The product's system calls besides those of tests/support/failing_calls.cpp, in place of the C
// library's, and failing as Linux fails them. For 64-bit hosts, where each call has one name.

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <ctime>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/select.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <sys/timerfd.h>
#include <unistd.h>
#include <utime.h>

#include "tests/support/failing_calls.h"

#define ZOR_REAL(name)                                                                             \
    static const auto s_pReal = reinterpret_cast<decltype(&::name)>(::dlsym(RTLD_NEXT, #name))

// A call that fails without being made; the last argument is what its declaration adds.
#define ZOR_FAILING_CALL(call, failure, TResult, name, parameters, arguments, ...)                 \
    TResult name parameters __VA_ARGS__                                                            \
    {                                                                                              \
        ZOR_REAL(name);                                                                            \
        return AskForFault(ECall::call) > 0 ? (failure) : s_pReal arguments;                       \
    }

// The same of a call whose third argument is not declared; it is passed on as a pointer.
#define ZOR_FAILING_VARIADIC_CALL(name, TRequest, ...)                                             \
    int name(int a, TRequest b, ...) __VA_ARGS__                                                   \
    {                                                                                              \
        ZOR_REAL(name);                                                                            \
        va_list args;                                                                              \
        va_start(args, b);                                                                         \
        void* const pArgument = va_arg(args, void*);                                               \
        va_end(args);                                                                              \
        return AskForFault(ECall::Query) > 0 ? -1 : s_pReal(a, b, pArgument);                      \
    }

namespace
{

// The result of a wait, which a fault made short.
int EndWait(bool bFails, int iReady)
{
    errno = bFails ? EINTR : errno;
    return bFails && iReady == 0 ? -1 : iReady;
}

} // namespace

extern "C"
{
    ZOR_FAILING_CALL(Open, nullptr, DIR*, opendir, (const char* a), (a), )
    ZOR_FAILING_CALL(Open, -1, int, mkostemp, (char* a, int b), (a, b), )
    ZOR_FAILING_CALL(Open, -1, int, pipe2, (int* a, int b), (a, b), noexcept)
    ZOR_FAILING_CALL(Open, -1, int, dup3, (int a, int b, int c), (a, b, c), noexcept)
    ZOR_FAILING_CALL(Open, -1, int, signalfd, (int a, const sigset_t* b, int c), (a, b, c),
                     noexcept)
    ZOR_FAILING_CALL(Open, -1, int, eventfd, (unsigned a, int b), (a, b), noexcept)
    ZOR_FAILING_CALL(Open, -1, int, epoll_create1, (int a), (a), noexcept)
    ZOR_FAILING_CALL(Open, -1, int, socket, (int a, int b, int c), (a, b, c), noexcept)
    ZOR_FAILING_CALL(Make, -1, int, accept, (int a, sockaddr* b, socklen_t* c), (a, b, c), )
    ZOR_FAILING_CALL(Open, -1, int, timerfd_create, (int a, int b), (a, b), noexcept)
    ZOR_FAILING_CALL(Query, -1, ssize_t, recvmsg, (int a, msghdr* b, int c), (a, b, c), )
    ZOR_FAILING_CALL(Query, -1, ssize_t, sendmsg, (int a, const msghdr* b, int c), (a, b, c), )
    ZOR_FAILING_CALL(Sync, -1, int, fsync, (int a), (a), )
    ZOR_FAILING_CALL(Change, -1, int, mkdir, (const char* a, mode_t b), (a, b), noexcept)
    ZOR_FAILING_CALL(Change, -1, int, rmdir, (const char* a), (a), noexcept)
    ZOR_FAILING_CALL(Change, -1, int, unlink, (const char* a), (a), noexcept)
    ZOR_FAILING_CALL(Change, -1, int, rename, (const char* a, const char* b), (a, b), noexcept)
    ZOR_FAILING_CALL(Change, -1, int, mkfifo, (const char* a, mode_t b), (a, b), noexcept)
    ZOR_FAILING_CALL(Change, -1, int, chmod, (const char* a, mode_t b), (a, b), noexcept)
    ZOR_FAILING_CALL(Change, -1, int, fchmod, (int a, mode_t b), (a, b), noexcept)
    ZOR_FAILING_CALL(Change, -1, int, fchown, (int a, uid_t b, gid_t c), (a, b, c), noexcept)
    ZOR_FAILING_CALL(Change, -1, int, ftruncate, (int a, off_t b), (a, b), noexcept)
    ZOR_FAILING_CALL(Change, -1, int, utime, (const char* a, const utimbuf* b), (a, b), noexcept)
    ZOR_FAILING_CALL(Query, -1, int, stat, (const char* a, struct stat* b), (a, b), noexcept)
    ZOR_FAILING_CALL(Query, -1, int, lstat, (const char* a, struct stat* b), (a, b), noexcept)
    ZOR_FAILING_CALL(Query, -1, int, statvfs, (const char* a, struct statvfs* b), (a, b), noexcept)
    ZOR_FAILING_CALL(Query, -1, int, faccessat, (int a, const char* b, int c, int d), (a, b, c, d),
                     noexcept)
    ZOR_FAILING_CALL(Query, -1, ssize_t, readlink, (const char* a, char* b, std::size_t c),
                     (a, b, c), noexcept)
    ZOR_FAILING_CALL(Query, -1, int, flock, (int a, int b), (a, b), noexcept)
    ZOR_FAILING_CALL(Make, MAP_FAILED, void*, mmap,
                     (void* a, std::size_t b, int c, int d, int e, off_t f), (a, b, c, d, e, f),
                     noexcept)
    ZOR_FAILING_CALL(Make, EAGAIN, int, pthread_create,
                     (pthread_t * a, const pthread_attr_t* b, void* (*c)(void*), void* d),
                     (a, b, c, d), noexcept)
    ZOR_FAILING_CALL(Make, ENOMEM, int, pthread_mutex_init,
                     (pthread_mutex_t * a, const pthread_mutexattr_t* b), (a, b), noexcept)
    ZOR_FAILING_CALL(Make, ENOMEM, int, pthread_cond_init,
                     (pthread_cond_t * a, const pthread_condattr_t* b), (a, b), noexcept)
    ZOR_FAILING_CALL(Make, EAGAIN, int, pthread_key_create, (pthread_key_t * a, void (*b)(void*)),
                     (a, b), noexcept)

    // fstat() is made with it and has been asked for already.
    int fstatat(int a, const char* b, struct stat* c, int d) noexcept
    {
        ZOR_REAL(fstatat);
        return *b != 0 && AskForFault(ECall::Query) > 0 ? -1 : s_pReal(a, b, c, d);
    }

    ZOR_FAILING_VARIADIC_CALL(ioctl, unsigned long, noexcept)
    ZOR_FAILING_VARIADIC_CALL(fcntl, int, )

    ssize_t read(int a, void* b, std::size_t c)
    {
        ZOR_REAL(read);
        const bool bWaits = (::syscall(SYS_fcntl, a, F_GETFL) & O_NONBLOCK) == 0;
        const int iFault = AskForFault(bWaits ? ECall::Read : ECall::Move);
        const ssize_t iRead = iFault > 0 ? -1 : s_pReal(a, b, iFault < 0 && c > 0 ? 1 : c);
        const bool bOnlyWhole = iFault < 0 && iRead < 0 && errno == EINVAL; // of an eventfd
        return bOnlyWhole ? s_pReal(a, b, c) : iRead;
    }

    // The descriptor is gone all the same.
    int close(int a)
    {
        ZOR_REAL(close);
        const int iResult = s_pReal(a);
        return AskForFault(ECall::Close) > 0 ? -1 : iResult;
    }
    int closedir(DIR* a)
    {
        ZOR_REAL(closedir);
        const int iResult = s_pReal(a);
        return AskForFault(ECall::Close) > 0 ? -1 : iResult;
    }

    // A signal interrupts what would wait, and not what has its answer.
    int poll(pollfd* a, nfds_t b, int c)
    {
        ZOR_REAL(poll);
        const bool bFails = AskForFault(ECall::Wait) > 0;
        return EndWait(bFails, s_pReal(a, b, bFails ? 0 : c));
    }
    int select(int a, fd_set* b, fd_set* c, fd_set* d, timeval* e)
    {
        ZOR_REAL(select);
        const bool bFails = AskForFault(ECall::Wait) > 0;
        timeval tvNone{};
        return EndWait(bFails, s_pReal(a, b, c, d, bFails ? &tvNone : e));
    }
    int epoll_wait(int a, epoll_event* b, int c, int d)
    {
        ZOR_REAL(epoll_wait);
        const bool bFails = AskForFault(ECall::Wait) > 0;
        return EndWait(bFails, s_pReal(a, b, c, bFails ? 0 : d));
    }
    // At the end of its time, so that one that is repeated with the rest does not last for ever.
    int nanosleep(const std::timespec* a, std::timespec* b)
    {
        ZOR_REAL(nanosleep);
        const bool bFails = a->tv_sec + a->tv_nsec > 0 && AskForFault(ECall::Wait) > 0;
        const int iResult = s_pReal(a, b);
        if (bFails && b != nullptr)
        {
            *b = {};
        }
        return EndWait(bFails, iResult);
    }
}
