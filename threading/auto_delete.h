#ifndef ZOR_THREADING_AUTO_DELETE_H
#define ZOR_THREADING_AUTO_DELETE_H

#include <new>
#include <utility>

#include "threading/mutex.h"
#include "threading/wait_time.h"

/// Counts the references of a T and deletes it when the last one is released. T declares AddRef()
/// and Release() as virtual, as ISticky does. Always made with new, which throws std::bad_alloc
/// when there is no memory for the lock.
///
/// The count starts at 0: whoever makes the object calls AddRef() before he hands it on. Any thread
/// may call AddRef() and Release(); both return the new count.
template <typename T>
class AutoDeleteThreadObjectImpl final : public T
{
public:
    template <class... TArguments>
    explicit AutoDeleteThreadObjectImpl(TArguments&&... arguments)
        : T(std::forward<TArguments>(arguments)...)
    {
        if (!m_mutex.IsValid())
        {
            throw std::bad_alloc();
        }
    }

    int AddRef() override
    {
        const CMutexProtection lock(m_mutex, mu::kInfinite);
        return ++m_iReferences;
    }

    int Release() override
    {
        const int iReferences = DropReference();
        if (iReferences == 0)
        {
            delete this;
        }
        return iReferences;
    }

private:
    // NOLINTNEXTLINE(modernize-use-override): not every T has a virtual destructor
    ~AutoDeleteThreadObjectImpl() = default;

    int DropReference() // whose lock ends before the mutex
    {
        const CMutexProtection lock(m_mutex, mu::kInfinite);
        return --m_iReferences;
    }

    CMutualExclusion m_mutex;
    int m_iReferences ZOR_GUARDED_BY(m_mutex) = 0;
};

#endif
