#include "bench/Time.h"

#include "bench/Scenario.h"
#include "clock/benchclock.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <linux/futex.h>
#include <sched.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <tuple>
#include <unistd.h>

namespace bench {

namespace {

constexpr Nanoseconds kSecond = 1000000000;
constexpr Nanoseconds kBegin = 1000 * kSecond;            // of the monotonic clocks
constexpr Nanoseconds kBeginOfDay = 1767265200 * kSecond; // 2026-01-01 11:00:00 UTC
constexpr Nanoseconds kSpin = 10 * kSecond;               // of a processor, without a wait
constexpr Nanoseconds kMachinesStep = 5000000;            // between two looks while the clock is the machine's
constexpr Nanoseconds kLongestPace = 50000000;            // real time that one keepPace() takes
constexpr Nanoseconds kPause = 20000;                     // between two looks at threads that run

void reallySleep(Nanoseconds time)
{
    const timespec pause = {static_cast<time_t>(time / kSecond), static_cast<long>(time % kSecond)};
    syscall(SYS_nanosleep, &pause, nullptr);
}

// Prints the stack of each thread of a process, with the debugger.
void tellStacks(pid_t process)
{
    const std::string id = std::to_string(process);
    const char* const words[] = {"gdb", "-batch", "-nx", "-p", id.c_str(), "-ex", "thread apply all bt", nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, STDERR_FILENO, STDOUT_FILENO);
    pid_t debugger = 0;
    const int wrong = posix_spawnp(&debugger, words[0], &actions, nullptr, const_cast<char* const*>(words), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (wrong == 0)
        waitpid(debugger, nullptr, 0);
    else
        fprintf(stderr, "gdb, which shows where the daemon is, cannot be started: %s\n", strerror(wrong));
}

} // namespace

Pace parsePace(const std::string& text)
{
    if (text == "real")
        return {true, 0};
    char* end = nullptr;
    const double rate = strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || rate < 0 || rate > 1000)
        throw Failure("a speed is real, or a number from 0 to 1000, not " + text);
    return {false, rate};
}

Time::Time(Pace pace, const std::string& pagePath) : m_pace(pace), m_path(pagePath)
{
    const int file = open(m_path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    void* memory = MAP_FAILED;
    if (file >= 0 && ftruncate(file, sizeof(ClockPage)) == 0)
        memory = mmap(nullptr, sizeof(ClockPage), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    const std::string why = strerror(errno);
    if (file >= 0)
        close(file);
    if (memory == MAP_FAILED)
        throw Failure(m_path + ": " + why);
    m_page = static_cast<ClockPage*>(memory);
    if (m_pace.machines)
        return;
    m_page->now = kBegin;
    m_page->dayAt = (m_pace.rate > 0 ? Nanoseconds(::time(nullptr)) * kSecond : kBeginOfDay) - kBegin;
    m_page->rules = 1;
    benchclock_conduct();
    benchclock_follow(m_page);
    m_stillness.watch(getpid(), static_cast<pid_t>(syscall(SYS_gettid)));
    setRate(m_pace.rate);
}

void Time::setRate(double rate)
{
    m_pace.rate = rate;
    m_realStart = real();
    m_start = m_page->now;
}

Time::~Time()
{
    benchclock_follow(nullptr);
    munmap(m_page, sizeof(ClockPage));
}

std::string Time::variable() const
{
    return std::string(kClockPageVariable) + '=' + m_path;
}

void Time::watch(pid_t daemon)
{
    m_daemon = daemon;
    m_workAtWait.clear();
    m_stillness.watch(daemon);
}

Nanoseconds Time::real()
{
    timespec now{};
    syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &now);
    return now.tv_sec * kSecond + now.tv_nsec;
}

void Time::setDay(const std::string& date)
{
    tm day{};
    const char* end = strptime(date.c_str(), "%Y-%m-%d", &day);
    if (end == nullptr || *end != '\0')
        throw Failure("a date is YEAR-MONTH-DAY, not " + date);
    day.tm_hour = 12;
    const Nanoseconds later = (timegm(&day) - ::time(nullptr)) * kSecond;
    if (m_pace.machines)
        m_page->ahead = later;
    else
        m_page->dayAt += later;
}

void Time::settle()
{
    if (m_pace.machines)
        return;
    m_nextCheck = real() + kSecond;
    m_workAtWait.clear();
    for (int looks = 0;; ++looks) {
        Stillness::Look look;
        if (still(look)) {
            for (const pid_t process : look.ended)
                forget(process);
            if (!letLook(look))
                break;
            looks = 0;
            continue;
        }
        if (looks < 3)
            sched_yield();
        else
            reallySleep(kPause);
        checkProgress();
    }
    if (m_settled)
        m_settled();
}

// Whether all sleep at two looks, and none has run between them.
bool Time::still(Stillness::Look& look)
{
    look = m_stillness.look();
    if (!look.allSleep)
        return false;
    if (m_flush)
        m_flush();
    const Stillness::Look again = m_stillness.look();
    return again.allSleep && again.runs == look.runs;
}

// Ends the waits that are only looks once other threads have run. @return whether it ended one
bool Time::letLook(const Stillness::Look& look)
{
    std::vector<ClockWait*> lookers;
    std::map<pid_t, std::uint64_t> others = look.runs;
    for (ClockWait& wait : m_page->waits) {
        if (wait.state != ClockWait::Waiting || !wait.look)
            continue;
        lookers.push_back(&wait);
        others.erase(wait.thread);
    }
    if (lookers.empty() || others == m_runsAtLook)
        return false;
    m_runsAtLook = std::move(others);
    for (ClockWait* wait : lookers)
        end(*wait);
    return true;
}

void Time::forget(pid_t process)
{
    m_stillness.forget(process);
    for (ClockWait& wait : m_page->waits) {
        if (wait.state != ClockWait::Free && wait.process == process)
            wait.state = ClockWait::Free;
    }
}

Nanoseconds Time::monotonic(const ClockWait& wait) const
{
    return wait.deadline - (wait.ofDay ? m_page->dayAt.load() : 0);
}

// Of waits that end at the same time, that of the older thread is first.
ClockWait* Time::next(Nanoseconds limit) const
{
    ClockWait* first = nullptr;
    const auto order = [this](const ClockWait& wait) { return std::make_tuple(monotonic(wait), wait.thread); };
    for (ClockWait& wait : m_page->waits) {
        if (wait.state == ClockWait::Waiting && !wait.look && monotonic(wait) <= limit &&
            (first == nullptr || order(wait) < order(*first)))
            first = &wait;
    }
    return first;
}

void Time::end(ClockWait& wait)
{
    std::uint32_t expected = ClockWait::Waiting;
    if (!wait.state.compare_exchange_strong(expected, ClockWait::Due))
        return;
    if (wait.kind == ClockWait::Descriptors)
        syscall(SYS_tgkill, wait.process, wait.thread, clockSignal());
    else
        syscall(SYS_futex, &wait.state, FUTEX_WAKE, 1, nullptr, nullptr, 0);
}

void Time::pass(Clock::time_point limit)
{
    if (m_moves && m_moves())
        settle();
    if (m_pace.machines)
        return reallySleep(kMachinesStep);
    const Nanoseconds most = std::chrono::nanoseconds(limit.time_since_epoch()).count();
    ClockWait* wait = next(most);
    Nanoseconds target = std::max(m_page->now.load(), wait != nullptr ? monotonic(*wait) : most);
    if (m_pace.rate > 0 && target > paced()) {
        reallySleep(kMachinesStep);
        target = std::min(target, std::max(m_page->now.load(), paced()));
        wait = next(target);
    }
    m_page->now = target;
    if (wait != nullptr)
        end(*wait);
    else
        m_runsAtLook.clear(); // the clock has moved: every look may end
    settle();
}

// The time that the clock should show by its rate.
Nanoseconds Time::paced() const
{
    return m_start + static_cast<Nanoseconds>(static_cast<double>(real() - m_realStart) * m_pace.rate);
}

void Time::keepPace()
{
    if (m_pace.machines || m_pace.rate <= 0)
        return;
    const Clock::time_point target{std::chrono::nanoseconds(paced())};
    const Nanoseconds enough = real() + kLongestPace;
    settle();
    while (Clock::now() < target && real() < enough)
        pass(target);
    if (Clock::now() < target)
        setRate(m_pace.rate); // from here: a machine that was too slow does not catch up
}

void Time::checkProgress()
{
    if (real() < m_nextCheck || m_daemon == 0)
        return;
    m_nextCheck = real() + kSecond;
    for (const auto& [thread, work] : Stillness::work(m_daemon)) {
        auto& atWait = m_workAtWait[thread];
        if (work.waits != atWait.waits || work.nanoseconds < atWait.nanoseconds)
            atWait = work;
        if (work.nanoseconds - atWait.nanoseconds < static_cast<std::uint64_t>(kSpin))
            continue;
        tellStacks(m_daemon);
        throw Failure("a thread of the daemon has computed for ten seconds without a wait");
    }
}

} // namespace bench
