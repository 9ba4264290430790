// The memory that the bench shares with the clock library in its processes.
#ifndef SIM_CLOCK_CLOCKPAGE_H
#define SIM_CLOCK_CLOCKPAGE_H

#include <atomic>
#include <csignal>
#include <cstdint>

/// Nanoseconds.
using Nanoseconds = std::int64_t;

/// One timed wait, or one timer. A thread takes a free one, fills it in and waits; the bench ends the wait.
struct ClockWait {
    enum State : std::uint32_t {
        Free,
        Filling,
        Idle,    ///< a timer that is not set
        Waiting, ///< until its deadline
        Due,     ///< the bench's clock has reached the deadline
        Called,  ///< its condition was signalled
        Ended    ///< a timer that is closed: its thread gives it back
    };
    enum Kind : std::uint32_t {
        Sleep,       ///< waits for a change of `state` (futex)
        Descriptors, ///< waits for descriptors and for kClockSignal
        Timer        ///< a timer descriptor's thread waits for a change of `state`
    };

    std::atomic<std::uint32_t> state; ///< also the futex
    std::uint32_t kind;
    std::int32_t process, thread;
    bool ofDay; ///< the deadline is a time of day
    bool look;  ///< short enough to be a look: see benchclock.h
    std::atomic<Nanoseconds> deadline;
};

/// All zeros at first: the machine's clock counts.
struct ClockPage {
    static constexpr int kWaits = 512;

    std::atomic<std::uint32_t> rules; ///< not 0: the bench's clock is the processes' clock
    std::atomic<Nanoseconds> now;     ///< of the monotonic clocks
    std::atomic<Nanoseconds> dayAt;   ///< time of day when the monotonic clocks are at 0
    std::atomic<Nanoseconds> ahead;   ///< what is added to the machine's time of day where `rules` is 0
    ClockWait waits[kWaits];
};

/// Ends a wait for descriptors; blocked everywhere else.
inline int clockSignal()
{
    return SIGRTMAX - 1;
}

#endif
