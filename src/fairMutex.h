// A mutex that is given to whoever has waited longest.
#ifndef FAIRMUTEX_H
#define FAIRMUTEX_H

#include <condition_variable>
#include <cstdint>
#include <mutex>

/// First come, first served: unlock() hands the mutex to the thread that asked first, so that a thread which locks it
/// without pause takes its turn behind each of the others. Nobody spins, nothing is allocated.
/// Threads: any. Not recursive. unlock() is called by the thread that holds the mutex.
/// Lock:    one of its own inside, held for a few instructions only.
class FairMutex {
public:
    FairMutex() = default;
    FairMutex(const FairMutex&) = delete;
    FairMutex& operator=(const FairMutex&) = delete;

    /// Waits for its turn, for as long as those before it take.
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

    /// Hands the mutex over, or frees it where nobody waits.
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
        next.turn.notify_one(); // under the gate: the waiter is gone once it has passed that
    }

    /// How often the mutex was asked for and granted so far; the difference waits. For those who look on.
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
    Waiter* m_first = nullptr; // the longest waiting
    Waiter* m_last = nullptr;
    Counts m_counts{0, 0};
};

#endif
