#ifndef ZOR_THREADING_THREAD_SAFETY_H
#define ZOR_THREADING_THREAD_SAFETY_H

// What clang's -Wthread-safety checks: which lock guards a variable, which locks a function wants,
// takes and gives back. Nothing for other compilers.
//
// The check reads no constructor and no destructor, and takes a guard's constructor for one that
// gets the lock: whoever only tries asks the guard.

#ifdef __clang__
#define ZOR_THREAD_SAFETY(attribute) __attribute__((attribute))
#else
#define ZOR_THREAD_SAFETY(attribute)
#endif

// Of a class or an alias: it is a lock; or it holds one for a scope.
#define ZOR_CAPABILITY(kind) ZOR_THREAD_SAFETY(capability(kind))
#define ZOR_SCOPED_CAPABILITY ZOR_THREAD_SAFETY(scoped_lockable)

// Of a variable.
#define ZOR_GUARDED_BY(lock) ZOR_THREAD_SAFETY(guarded_by(lock))

// Of a function: its caller holds the lock; its caller must not hold it, because it takes it.
#define ZOR_REQUIRES(...) ZOR_THREAD_SAFETY(requires_capability(__VA_ARGS__))
#define ZOR_EXCLUDES(...) ZOR_THREAD_SAFETY(locks_excluded(__VA_ARGS__))

// Of a lock's own functions; without a lock as argument, the object itself is it. The first
// argument of the last one is the result that tells of success.
#define ZOR_ACQUIRE(...) ZOR_THREAD_SAFETY(acquire_capability(__VA_ARGS__))
#define ZOR_RELEASE(...) ZOR_THREAD_SAFETY(release_capability(__VA_ARGS__))
#define ZOR_TRY_ACQUIRE(...) ZOR_THREAD_SAFETY(try_acquire_capability(__VA_ARGS__))

// Of a function that is right although the check cannot see it; a comment beside it says why.
#define ZOR_NO_THREAD_SAFETY_ANALYSIS ZOR_THREAD_SAFETY(no_thread_safety_analysis)

#endif
