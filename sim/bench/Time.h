// The bench's clock: who moves it, and when.
#ifndef SIM_BENCH_TIME_H
#define SIM_BENCH_TIME_H

#include "bench/Stillness.h"
#include "clock/clockPage.h"

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace bench {

/// How time passes for the daemon and the simulators.
struct Pace {
    bool machines = false; ///< the clock is the machine's
    double rate = 0;       ///< the bench's seconds in a real one; 0: skips every wait
};

/// "real", or a number from 0. @throws Failure
Pace parsePace(const std::string& text);

/// Waits until every thread of the daemon and the simulators sleeps and nothing is on its way between them. Then moves
/// the clock to the next moment at which one of them wants to wake. One in each process, made before other threads.
/// Threads: only the thread that made it calls; its own sleep does not count.
class Time {
public:
    using Clock = std::chrono::steady_clock; ///< follows the bench's clock in this process

    Time(Pace pace, const std::string& pagePath);
    ~Time();
    Time(const Time&) = delete;
    Time& operator=(const Time&) = delete;

    /// NAME=VALUE, for the daemon's environment.
    std::string variable() const;
    bool machines() const { return m_pace.machines; }
    /// Waits for this process's threads, too, from now on.
    void watch(pid_t daemon);

    /// Called when all sleep. It must deliver bytes that the kernel still holds between two ends of a line.
    void onStill(std::function<void()> flush) { m_flush = std::move(flush); }
    /// Called when nothing is left to do at this time.
    void onSettled(std::function<void()> listener) { m_settled = std::move(listener); }
    /// Called when all sleep, before the clock moves. @return whether it may have woken a thread
    void onMove(std::function<bool()> listener) { m_moves = std::move(listener); }

    /// Waits until nothing is left to do at this time. @throws Failure if the daemon computes without end, and prints
    /// its stacks on standard error
    void settle();
    /// After settle(): moves the clock to the next moment at which something may happen, at most to @p limit, and
    /// settles again.
    void pass(Clock::time_point limit);
    /// Moves the clock as far as the rate allows by now.
    void keepPace();
    /// Changes the rate. No effect while the clock is the machine's.
    void setRate(double rate);

    /// The machine's clock, in nanoseconds.
    static Nanoseconds real();
    /// Sets the daemon's time of day to noon (UTC) of a date such as "2031-06-15". @throws Failure
    void setDay(const std::string& date);

private:
    bool still(Stillness::Look& look);
    bool letLook(const Stillness::Look& look);
    void forget(pid_t process);
    ClockWait* next(Nanoseconds limit) const;
    Nanoseconds monotonic(const ClockWait& wait) const;
    static void end(ClockWait& wait);
    void checkProgress();
    Nanoseconds paced() const;

    Pace m_pace;
    const std::string m_path;
    ClockPage* m_page = nullptr;
    Stillness m_stillness;
    pid_t m_daemon = 0;
    std::function<void()> m_flush, m_settled;
    std::function<bool()> m_moves;
    std::map<pid_t, std::uint64_t> m_runsAtLook; // at the last look
    Nanoseconds m_realStart = 0, m_start = 0;    // of the rate
    Nanoseconds m_nextCheck = 0;                 // of checkProgress(), as is what follows
    std::map<pid_t, Stillness::Work> m_workAtWait;
};

} // namespace bench

#endif
