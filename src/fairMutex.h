// A mutex for which threads queue.
#ifndef FAIRMUTEX_H
#define FAIRMUTEX_H

#include <condition_variable>
#include <cstdint>
#include <mutex>

/// First come, first served: unlock() gives the mutex to the thread that has waited longest. A thread that locks it
/// again and again cannot starve the others. It does not spin or allocate. Not recursive.
/// Threads: any. Only the thread that holds the mutex may call unlock().
/// Lock:    an internal one, held for a few instructions only.
class FairMutex {
public:
    FairMutex() = default;
    FairMutex(const FairMutex&) = delete;
    FairMutex& operator=(const FairMutex&) = delete;

    /// Waits for its turn, without a limit.
    void lock()
    {
        std::unique_lock<std::mutex> gate(m_gate);
        ++m_counts.asked;
        if (!m_held) {
            m_held = true;
            ++m_counts.granted;
            return;
        }
        Waiter self;
        (m_last != nullptr ? m_last->next : m_first) = &self;
        m_last = &self; // cppcheck-suppress danglingLifetime; it leaves the queue before this call ends
        self.turn.wait(gate, [&self] { return self.granted; });
    }

    /// Gives the mutex to the next in the queue, or frees it.
    void unlock()
    {
        const std::lock_guard<std::mutex> gate(m_gate);
        if (m_first == nullptr) {
            m_held = false;
            return;
        }
        Waiter& next = *m_first;
        m_first = next.next;
        if (m_first == nullptr)
            m_last = nullptr;
        ++m_counts.granted;
        next.granted = true;
        next.turn.notify_one(); // under the gate: without it, the waiter could be gone already
    }

    /// How often the mutex has been asked for and granted; the difference is waiting. For measurements and tests.
    struct Counts {
        uint64_t asked, granted;
    };
    Counts counts()
    {
        const std::lock_guard<std::mutex> gate(m_gate);
        return m_counts;
    }

private:
    struct Waiter { // on the waiting thread's stack
        std::condition_variable turn;
        bool granted = false;
        Waiter* next = nullptr;
    };

    std::mutex m_gate; // guards what follows
    bool m_held = false;
    Waiter* m_first = nullptr; // has waited longest
    Waiter* m_last = nullptr;
    Counts m_counts{0, 0};
};

#endif
