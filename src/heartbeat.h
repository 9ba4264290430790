// A thread's deadline for its next sign of life.
#ifndef HEARTBEAT_H
#define HEARTBEAT_H

#include <atomic>
#include <chrono>
#include <cstdint>

/// Before each step of its work and before each wait, a watched thread sets how long that may take. In a thread without
/// a heartbeat, within() and idle() do nothing. Threads: the watched thread calls adopt(), within() and idle(); any
/// thread may call the rest. No lock.
class Heartbeat {
public:
    using Clock = std::chrono::steady_clock;

    /// Makes this the calling thread's heartbeat; it must live as long as the thread. @return false if it already is
    bool adopt()
    {
        const bool fresh = mine() != this;
        mine() = this;
        return fresh;
    }
    /// Sets the calling thread's deadline to @p limit from now.
    static void within(Clock::duration limit)
    {
        if (mine() != nullptr)
            mine()->mark((Clock::now() + limit).time_since_epoch().count());
    }
    /// Removes the calling thread's deadline, for a wait for a message or a person.
    static void idle()
    {
        if (mine() != nullptr)
            mine()->mark(kNever);
    }

    bool isOverdue(Clock::time_point now) const { return m_due < now.time_since_epoch().count(); }
    /// Changes with each call of within() or idle().
    uint64_t marks() const { return m_marks; }

private:
    static constexpr int64_t kNever = INT64_MAX;

    static Heartbeat*& mine()
    {
        static thread_local Heartbeat* own = nullptr;
        return own;
    }
    void mark(int64_t due)
    {
        m_due = due;
        ++m_marks;
    }

    std::atomic<int64_t> m_due{kNever}; // of Clock
    std::atomic<uint64_t> m_marks{0};
};

#endif
