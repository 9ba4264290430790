// A thread's word on when it will be seen next.
#ifndef HEARTBEAT_H
#define HEARTBEAT_H

#include <atomic>
#include <chrono>
#include <cstdint>

/// Kept by the thread that it is about, which says before each step of its work, and before each wait, how long that
/// may take at most. Read by whoever watches. A thread that nobody watches has none, and says nothing.
/// Threads: adopt(), within() and idle() are the thread's own; the rest is any thread's. No lock.
class Heartbeat {
public:
    using Clock = std::chrono::steady_clock;

    /// Makes this the calling thread's; it must live as long as the thread. @return false if it was already
    bool adopt()
    {
        const bool fresh = mine() != this;
        mine() = this;
        return fresh;
    }
    /// The calling thread is seen again after @p limit at the latest.
    static void within(Clock::duration limit)
    {
        if (mine() != nullptr)
            mine()->mark((Clock::now() + limit).time_since_epoch().count());
    }
    /// The calling thread waits for what may never come: a message, a person.
    static void idle()
    {
        if (mine() != nullptr)
            mine()->mark(kNever);
    }

    bool isOverdue(Clock::time_point now) const { return m_due < now.time_since_epoch().count(); }
    /// Changes whenever the thread is seen.
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
