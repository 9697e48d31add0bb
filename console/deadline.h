#ifndef ZOR_CONSOLE_DEADLINE_H
#define ZOR_CONSOLE_DEADLINE_H

#include <algorithm>
#include <chrono>
#include <climits>

/// A moment that a wait must not outlast, whatever happens to the wall clock.
class CDeadline
{
public:
    explicit CDeadline(std::chrono::milliseconds limit)
        : m_tpEnd(std::chrono::steady_clock::now() + limit)
    {
    }

    void Postpone(std::chrono::milliseconds time) { m_tpEnd += time; }
    bool IsOver() const { return std::chrono::steady_clock::now() >= m_tpEnd; }

    /// Milliseconds for poll(), rounded up; 0 when it is over.
    int Left() const
    {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(
            m_tpEnd - std::chrono::steady_clock::now());
        return static_cast<int>(std::clamp<long long>(left.count(), 0, INT_MAX));
    }

private:
    std::chrono::steady_clock::time_point m_tpEnd;
};

#endif
