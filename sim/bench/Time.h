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
    double rate = 0;       ///< the bench's seconds in a real one; 0: what only waits is skipped
};

/// "real", or a number from 0. @throws Failure
Pace parsePace(const std::string& text);

/// Moves the clock to the next moment at which somebody wants to be woken, once every thread of the daemon and of the
/// simulators sleeps and nothing is on its way between them. One for a process; made before its threads are.
/// Threads: the thread that made it, which is looked at by nobody, calls.
class Time {
public:
    using Clock = std::chrono::steady_clock; ///< the bench's in this process, too

    Time(Pace pace, const std::string& pagePath);
    ~Time();
    Time(const Time&) = delete;
    Time& operator=(const Time&) = delete;

    /// What the daemon finds in its environment: NAME=VALUE.
    std::string variable() const;
    bool machines() const { return m_pace.machines; }
    /// The daemon's threads count from now on.
    void watch(pid_t daemon);

    /// What stands between two ends of a line that no thread sleeps before: called when all sleep.
    void onStill(std::function<void()> flush) { m_flush = std::move(flush); }
    /// Called when all has been done that can be done at this time.
    void onSettled(std::function<void()> listener) { m_settled = std::move(listener); }
    /// Called when all sleep and the clock is to be moved. @return whether somebody may be awake now
    void onMove(std::function<bool()> listener) { m_moves = std::move(listener); }

    /// Waits until all has been done that can be done at this time. @throws Failure when the daemon computes without
    /// end, after it has told where on standard error
    void settle();
    /// After settle(): lets time pass, to the next moment at which something may happen, but not beyond @p limit, and
    /// settles.
    void pass(Clock::time_point limit);
    /// Where time has a rate: as far as real time has come.
    void keepPace();
    /// Another rate from now on; the machine's clock stays the machine's.
    void setRate(double rate);

    /// The machine's clock, in nanoseconds.
    static Nanoseconds real();
    /// The daemon's time of day is noon (UTC) of a date "2031-06-15" from now on. @throws Failure
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
    std::map<pid_t, std::uint64_t> m_runsAtLook; // when those who only look looked last
    Nanoseconds m_realStart = 0, m_start = 0;    // of the rate
    Nanoseconds m_nextCheck = 0;                 // of checkProgress(), as is what follows
    std::map<pid_t, Stillness::Work> m_workAtWait;
};

} // namespace bench

#endif
