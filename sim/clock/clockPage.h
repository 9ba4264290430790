// What the bench and the clock library in its processes tell one another: a page of memory that all have mapped.
#ifndef SIM_CLOCK_CLOCKPAGE_H
#define SIM_CLOCK_CLOCKPAGE_H

#include <atomic>
#include <csignal>
#include <cstdint>

/// Nanoseconds.
using Nanoseconds = std::int64_t;

/// One wait with an end, or one timer. A thread takes a free one, fills it, and waits; the bench ends it.
struct ClockWait {
    enum State : std::uint32_t {
        Free,
        Filling,
        Idle,    ///< a timer that is not set
        Waiting, ///< until its deadline
        Due,     ///< the bench's clock has come to the deadline
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
    bool look;  ///< so short that the thread only wants to look again: see benchclock.h
    std::atomic<Nanoseconds> deadline;
};

/// Starts as zeros: everything is left to the machine.
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
