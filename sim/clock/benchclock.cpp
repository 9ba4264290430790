#undef _FORTIFY_SOURCE
#undef _FILE_OFFSET_BITS
#undef _TIME_BITS
#include "clock/benchclock.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dlfcn.h>
#include <fcntl.h>
#include <iterator>
#include <linux/futex.h>
#include <poll.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/select.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/timerfd.h>
#include <unistd.h>

#define EXPORTED extern "C" __attribute__((visibility("default")))

namespace {

constexpr Nanoseconds kSecond = 1000000000;
constexpr Nanoseconds kFarthest = Nanoseconds(1) << 61; // 73 years: an end beyond it is taken as this

ClockPage machine; // zeros: no rules
std::atomic<ClockPage*> current{&machine};
bool daemons = false; // this process was started by the bench

ClockPage& page()
{
    return *current.load(std::memory_order_acquire);
}

// ---- The functions of the C library, or of a sanitizer before it ----

// Looked up once, when first needed.
void* lookUp(std::atomic<void*>& known, const char* name)
{
    void* function = known.load(std::memory_order_relaxed);
    if (function == nullptr) {
        function = dlsym(RTLD_NEXT, name);
        known.store(function, std::memory_order_relaxed);
    }
    return function;
}

/// The function of this name that would be called without this library.
#define NEXT(NAME)                                                                                                     \
    ([] {                                                                                                              \
        static std::atomic<void*> known;                                                                               \
        return reinterpret_cast<decltype(&NAME)>(lookUp(known, #NAME));                                                \
    }())

// ---- Whose time ----

enum class Role : std::uint8_t { Unknown, Follower, Conductor, Machine };

__attribute__((tls_model("initial-exec"))) thread_local Role ownRole = Role::Unknown;

Role role()
{
    if (page().rules == 0)
        return Role::Machine;
    if (ownRole == Role::Unknown) {
        char name[16] = "";
        prctl(PR_GET_NAME, name);
        ownRole = strcmp(name, kMachineTime) == 0 ? Role::Machine : Role::Follower;
    }
    return ownRole;
}

bool follows()
{
    return role() == Role::Follower;
}

constexpr Nanoseconds nanoseconds(const timespec& time)
{
    return time.tv_sec >= kFarthest / kSecond ? kFarthest : Nanoseconds(time.tv_sec) * kSecond + time.tv_nsec;
}

constexpr Nanoseconds nanoseconds(const timeval& time)
{
    return nanoseconds(timespec{time.tv_sec, 0}) + Nanoseconds(time.tv_usec) * 1000;
}

template <typename Time = timespec> Time timeOf(Nanoseconds time)
{
    using Fraction = decltype(timespec::tv_nsec);
    return {static_cast<time_t>(time / kSecond), static_cast<Fraction>(time % kSecond)};
}

constexpr bool valid(const timespec& time)
{
    return time.tv_sec >= 0 && time.tv_nsec >= 0 && time.tv_nsec < kSecond;
}

constexpr bool ofDay(clockid_t clock)
{
    return clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE || clock == CLOCK_TAI;
}

constexpr bool ofProcessor(clockid_t clock)
{
    return clock < 0 || clock == CLOCK_PROCESS_CPUTIME_ID || clock == CLOCK_THREAD_CPUTIME_ID;
}

Nanoseconds now(bool day)
{
    return page().now + (day ? page().dayAt.load() : 0);
}

// When a wait of the thread that moves the clock ends, by the kernel's clock.
timespec kernelTime(clockid_t clock, Nanoseconds deadline)
{
    timespec real{};
    syscall(SYS_clock_gettime, clock, &real);
    return timeOf(nanoseconds(real) + std::max<Nanoseconds>(0, deadline - now(ofDay(clock))));
}

[[noreturn]] void giveUp(const char* why)
{
    dprintf(STDERR_FILENO, "benchclock: %s\n", why);
    abort();
}

long futex(std::atomic<std::uint32_t>& word, int operation, std::uint32_t value)
{
    return syscall(SYS_futex, &word, operation, value, nullptr, nullptr, 0);
}

// ---- One wait ----

ClockWait& takeWait(ClockWait::Kind kind)
{
    for (ClockWait& wait : page().waits) {
        std::uint32_t expected = ClockWait::Free;
        if (wait.state != ClockWait::Free || !wait.state.compare_exchange_strong(expected, ClockWait::Filling))
            continue;
        wait.kind = kind;
        wait.process = static_cast<std::int32_t>(getpid());
        wait.thread = static_cast<std::int32_t>(syscall(SYS_gettid));
        wait.ofDay = wait.look = false;
        return wait;
    }
    giveUp("too many threads wait");
}

/// A wait of the calling thread, which lasts as long as the object.
class Wait {
public:
    Wait(ClockWait::Kind kind, Nanoseconds deadline, bool day)
        : m_wait(takeWait(kind)), m_deadline(deadline), m_day(day)
    {
        m_wait.ofDay = day;
        m_wait.look = daemons && left() <= kLongestLook;
        m_wait.deadline = deadline;
        m_wait.state = left() > 0 ? ClockWait::Waiting : ClockWait::Due;
        if (kind == ClockWait::Descriptors) { // one that came too late for an earlier wait
            const std::uint64_t clocks = mask(clockSignal());
            const timespec none{};
            while (syscall(SYS_rt_sigtimedwait, &clocks, nullptr, &none, sizeof clocks) > 0) {
            }
        }
    }
    ~Wait() { m_wait.state = ClockWait::Free; }
    Wait(const Wait&) = delete;
    Wait& operator=(const Wait&) = delete;

    ClockWait& shared() { return m_wait; }
    bool isDue() const { return m_wait.state == ClockWait::Due; }
    Nanoseconds left() const { return std::max<Nanoseconds>(0, m_deadline - now(m_day)); }

    /// @return false: interrupted by a signal
    bool sleep()
    {
        while (m_wait.state == ClockWait::Waiting) {
            if (futex(m_wait.state, FUTEX_WAIT, ClockWait::Waiting) != 0 && errno == EINTR)
                return m_wait.state != ClockWait::Waiting;
        }
        return true;
    }

    static std::uint64_t mask(int signal) { return std::uint64_t(1) << (signal - 1); }

private:
    ClockWait& m_wait;
    const Nanoseconds m_deadline;
    const bool m_day;
};

// @return 0 or EINTR, and what is left of the time
int sleepUntil(Nanoseconds deadline, bool day, Nanoseconds& left)
{
    Wait wait(ClockWait::Sleep, deadline, day);
    const bool whole = wait.sleep();
    left = whole ? 0 : wait.left();
    return whole ? 0 : EINTR;
}

// ---- Waits for descriptors ----

/// Calls @p ready, which waits without a time-out under a signal mask, until it has an answer or the time is over.
/// @return its answer, or 0 after the time; @p left is the time that remains
template <typename Ready> int awaitDescriptors(Nanoseconds time, Nanoseconds& left, const Ready& ready)
{
    sigset_t open;
    pthread_sigmask(SIG_BLOCK, nullptr, &open);
    sigdelset(&open, clockSignal());
    Wait wait(ClockWait::Descriptors, page().now + std::min(time, kFarthest), false);
    const int found = ready(&open);
    const int error = errno;
    left = wait.left();
    if (found < 0 && error == EINTR && wait.isDue())
        return 0;
    errno = error;
    return found;
}

// ---- Timed waits for conditions ----

/// The conditions that threads of this process wait for with a time-out, at the same indices as in the page.
std::atomic<const pthread_cond_t*> conditions[ClockPage::kWaits];
std::atomic<int> conditionWaits{0};

// A signal finds every wait in the list, because the change that it announces is made under the mutex. It may wake more
// threads than one, as POSIX allows.
void callTimedWaits(const pthread_cond_t* condition)
{
    if (conditionWaits == 0)
        return;
    for (int i = 0; i < ClockPage::kWaits; ++i) {
        if (conditions[i] != condition)
            continue;
        ClockWait& wait = page().waits[i];
        std::uint32_t expected = ClockWait::Waiting;
        if (wait.state.compare_exchange_strong(expected, ClockWait::Called))
            futex(wait.state, FUTEX_WAKE, 1);
    }
}

int awaitCondition(pthread_cond_t* condition, pthread_mutex_t* mutex, Nanoseconds deadline, bool day)
{
    Wait wait(ClockWait::Sleep, deadline, day);
    std::atomic<const pthread_cond_t*>& place = conditions[&wait.shared() - page().waits];
    ++conditionWaits;
    place = condition;
    const int wrong = pthread_mutex_unlock(mutex);
    while (wrong == 0 && !wait.sleep()) {
    }
    place = nullptr;
    --conditionWaits;
    const int lost = wrong == 0 ? pthread_mutex_lock(mutex) : wrong;
    return lost != 0 ? lost : wait.isDue() ? ETIMEDOUT : 0;
}

// ---- Timers: event descriptors that become readable when their time has come ----

struct Timer {
    std::atomic<int> fd{-1}; // -1: none
    ClockWait* wait = nullptr;
    Nanoseconds interval = 0;
    bool day = false;
    pthread_t thread{};
};

constexpr int kTimers = 32;
Timer timers[kTimers];
std::atomic<int> timersOpen{0};
pthread_mutex_t timersLock = PTHREAD_MUTEX_INITIALIZER; // guards `timers`; taken after every other lock of this library

/// Locks the timers.
class TimersLocked {
public:
    TimersLocked() { pthread_mutex_lock(&timersLock); }
    ~TimersLocked() { pthread_mutex_unlock(&timersLock); }
    TimersLocked(const TimersLocked&) = delete;
    TimersLocked& operator=(const TimersLocked&) = delete;
};

Timer* findTimer(int fd)
{
    const auto found = std::find_if(std::begin(timers), std::end(timers), [&](const Timer& t) { return t.fd == fd; });
    return timersOpen > 0 && fd >= 0 && found != std::end(timers) ? found : nullptr;
}

void setTimer(Timer& timer, Nanoseconds deadline)
{
    timer.wait->ofDay = timer.day;
    timer.wait->deadline = deadline;
    timer.wait->state = deadline > now(timer.day) ? ClockWait::Waiting : ClockWait::Due;
    futex(timer.wait->state, FUTEX_WAKE, 1);
}

// The thread of a timer: what comes due becomes readable.
void* keepTimer(void* argument)
{
    Timer& timer = *static_cast<Timer*>(argument);
    ClockWait& wait = *timer.wait;
    for (std::uint32_t state = wait.state; state != ClockWait::Ended; state = wait.state) {
        if (state != ClockWait::Due) {
            futex(wait.state, FUTEX_WAIT, state);
            continue;
        }
        const TimersLocked lock;
        if (wait.state != ClockWait::Due)
            continue; // set again meanwhile
        (void)!eventfd_write(timer.fd, 1);
        if (timer.interval > 0)
            setTimer(timer, wait.deadline + timer.interval);
        else
            wait.state = ClockWait::Idle;
    }
    return nullptr;
}

int openTimer(clockid_t clock, int flags)
{
    const TimersLocked lock;
    const auto free =
        std::find_if(std::begin(timers), std::end(timers), [](const Timer& t) { return t.wait == nullptr; });
    if (free == std::end(timers))
        giveUp("too many timers");
    const int fd =
        eventfd(0, ((flags & TFD_NONBLOCK) != 0 ? EFD_NONBLOCK : 0) | ((flags & TFD_CLOEXEC) != 0 ? EFD_CLOEXEC : 0));
    if (fd < 0)
        return fd;
    free->day = ofDay(clock);
    free->wait = &takeWait(ClockWait::Timer);
    free->wait->state = ClockWait::Idle;
    const int wrong = pthread_create(&free->thread, nullptr, keepTimer, &*free);
    if (wrong != 0) {
        free->wait->state = ClockWait::Free;
        free->wait = nullptr;
        NEXT(close)(fd);
        errno = wrong;
        return -1;
    }
    free->fd = fd;
    ++timersOpen;
    return fd;
}

itimerspec leftOf(const Timer& timer)
{
    const bool set = timer.wait->state == ClockWait::Waiting;
    const Nanoseconds left = set ? std::max<Nanoseconds>(1, timer.wait->deadline - now(timer.day)) : 0;
    return {timeOf(timer.interval), timeOf(left)};
}

void closeTimer(int fd)
{
    Timer* timer = nullptr;
    {
        const TimersLocked lock;
        timer = findTimer(fd);
        if (timer == nullptr || timer->wait->process != getpid()) // a forked process closes what it has inherited
            return;
        timer->fd = -1;
        timer->wait->state = ClockWait::Ended;
        futex(timer->wait->state, FUTEX_WAKE, 1);
    }
    pthread_join(timer->thread, nullptr);
    const TimersLocked lock;
    timer->wait->state = ClockWait::Free;
    timer->wait = nullptr;
    --timersOpen;
}

// ---- Which page ----

void nothing(int /*signal*/) {}

void takeClockSignal()
{
    struct sigaction action {};
    action.sa_handler = nothing; // without SA_RESTART
    sigaction(clockSignal(), &action, nullptr);
    const std::uint64_t clocks = Wait::mask(clockSignal());
    syscall(SYS_rt_sigprocmask, SIG_BLOCK, &clocks, nullptr, sizeof clocks); // the threads to come inherit it
}

__attribute__((constructor)) void followVariable()
{
    const char* path = getenv(kClockPageVariable);
    const long fd = path == nullptr ? -1 : syscall(SYS_openat, AT_FDCWD, path, O_RDWR | O_CLOEXEC);
    if (fd < 0)
        return;
    void* memory = mmap(nullptr, sizeof(ClockPage), PROT_READ | PROT_WRITE, MAP_SHARED, static_cast<int>(fd), 0);
    syscall(SYS_close, fd);
    if (memory == MAP_FAILED)
        giveUp("the page cannot be mapped");
    prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY); // so that the bench can show where a thread spins
    daemons = true;
    benchclock_follow(static_cast<ClockPage*>(memory));
}

void tellOnce(std::atomic<bool>& told, const char* name)
{
    if (follows() && !told.exchange(true))
        dprintf(STDERR_FILENO, "benchclock: a thread waits by %s, which the bench's clock does not answer\n", name);
}

} // namespace

EXPORTED void benchclock_follow(ClockPage* followed)
{
    if (followed != nullptr)
        takeClockSignal();
    current = followed != nullptr ? followed : &machine;
}

EXPORTED void benchclock_conduct()
{
    ownRole = Role::Conductor;
}

// ---- Clocks ----

EXPORTED int clock_gettime(clockid_t clock, timespec* time) noexcept
{
    if (ofProcessor(clock) || role() == Role::Machine) {
        const int result = NEXT(clock_gettime)(clock, time);
        if (result == 0 && ofDay(clock))
            *time = timeOf(nanoseconds(*time) + page().ahead);
        return result;
    }
    *time = timeOf(now(ofDay(clock)));
    return 0;
}

EXPORTED int gettimeofday(timeval* time, void* /*zone*/) noexcept
{
    timespec fine{};
    clock_gettime(CLOCK_REALTIME, &fine);
    *time = {fine.tv_sec, static_cast<suseconds_t>(fine.tv_nsec / 1000)};
    return 0;
}

EXPORTED time_t time(time_t* result) noexcept
{
    timespec fine{};
    clock_gettime(CLOCK_REALTIME, &fine);
    if (result != nullptr)
        *result = fine.tv_sec;
    return fine.tv_sec;
}

// ---- Sleeps ----

EXPORTED int clock_nanosleep(clockid_t clock, int flags, const timespec* time, timespec* left)
{
    const bool absolute = (flags & TIMER_ABSTIME) != 0;
    if (ofProcessor(clock) || !valid(*time) || role() == Role::Machine)
        return NEXT(clock_nanosleep)(clock, flags, time, left);
    if (role() == Role::Conductor) {
        const timespec end = absolute ? kernelTime(clock, nanoseconds(*time)) : *time;
        return NEXT(clock_nanosleep)(clock, flags, &end, left);
    }
    Nanoseconds rest = 0;
    const bool day = absolute && ofDay(clock);
    const int result = sleepUntil((absolute ? 0 : page().now.load()) + nanoseconds(*time), day, rest);
    if (result == EINTR && left != nullptr && !absolute)
        *left = timeOf(rest);
    return result;
}

EXPORTED int nanosleep(const timespec* time, timespec* left)
{
    if (!follows())
        return NEXT(nanosleep)(time, left);
    if (!valid(*time)) {
        errno = EINVAL;
        return -1;
    }
    const int result = clock_nanosleep(CLOCK_MONOTONIC, 0, time, left);
    errno = result != 0 ? result : errno;
    return result == 0 ? 0 : -1;
}

EXPORTED int usleep(useconds_t time)
{
    if (!follows())
        return NEXT(usleep)(time);
    const timespec whole = timeOf(Nanoseconds(time) * 1000);
    return nanosleep(&whole, nullptr);
}

EXPORTED unsigned sleep(unsigned time)
{
    if (!follows())
        return NEXT(sleep)(time);
    timespec left = {static_cast<time_t>(time), 0};
    return nanosleep(&left, &left) == 0 ? 0 : static_cast<unsigned>((nanoseconds(left) + kSecond / 2) / kSecond);
}

// ---- Descriptors ----

EXPORTED int poll(pollfd* descriptors, nfds_t count, int time)
{
    if (time <= 0 || !follows())
        return NEXT(poll)(descriptors, count, time);
    Nanoseconds left = 0;
    const int found = awaitDescriptors(Nanoseconds(time) * 1000000, left, [=](const sigset_t* open) {
        return NEXT(ppoll)(descriptors, count, nullptr, open);
    });
    for (nfds_t i = 0; found == 0 && i < count; ++i)
        descriptors[i].revents = 0;
    return found;
}

/// Where the C library checks sizes.
EXPORTED int __poll_chk(pollfd* descriptors, nfds_t count, int time, size_t size) // NOLINT: the C library's name
{
    if (size / sizeof(pollfd) < count)
        giveUp("poll beyond its array");
    return poll(descriptors, count, time);
}

EXPORTED int select(int count, fd_set* readable, fd_set* writable, fd_set* special, timeval* time)
{
    if (time == nullptr || nanoseconds(*time) <= 0 || !follows())
        return NEXT(select)(count, readable, writable, special, time);
    Nanoseconds left = 0;
    const int found = awaitDescriptors(nanoseconds(*time), left, [=](const sigset_t* open) {
        return NEXT(pselect)(count, readable, writable, special, nullptr, open);
    });
    *time = {static_cast<time_t>(left / kSecond), static_cast<suseconds_t>(left % kSecond / 1000)};
    const size_t words = (static_cast<size_t>(std::max(count, 0)) + NFDBITS - 1) / NFDBITS;
    for (fd_set* set : {readable, writable, special}) {
        if (found == 0 && set != nullptr)
            memset(set, 0, words * sizeof(fd_mask));
    }
    return found;
}

EXPORTED int epoll_wait(int epoll, epoll_event* events, int most, int time)
{
    if (time <= 0 || !follows())
        return NEXT(epoll_wait)(epoll, events, most, time);
    Nanoseconds left = 0;
    return awaitDescriptors(Nanoseconds(time) * 1000000, left,
                            [=](const sigset_t* open) { return NEXT(epoll_pwait)(epoll, events, most, -1, open); });
}

// ---- Conditions ----

EXPORTED int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                                    const timespec* deadline)
{
    if (!valid(*deadline) || role() == Role::Machine)
        return NEXT(pthread_cond_clockwait)(condition, mutex, clock, deadline);
    if (role() == Role::Follower)
        return awaitCondition(condition, mutex, nanoseconds(*deadline), ofDay(clock));
    const timespec end = kernelTime(clock, nanoseconds(*deadline));
    return NEXT(pthread_cond_clockwait)(condition, mutex, clock, &end);
}

/// A condition does not tell its clock. Only a time of day is decades away from 0.
EXPORTED int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline)
{
    if (role() == Role::Machine)
        return NEXT(pthread_cond_timedwait)(condition, mutex, deadline);
    const bool day = deadline->tv_sec > 20 * 365 * 86400;
    return pthread_cond_clockwait(condition, mutex, day ? CLOCK_REALTIME : CLOCK_MONOTONIC, deadline);
}

EXPORTED int pthread_cond_signal(pthread_cond_t* condition) noexcept
{
    callTimedWaits(condition);
    return NEXT(pthread_cond_signal)(condition);
}

EXPORTED int pthread_cond_broadcast(pthread_cond_t* condition) noexcept
{
    callTimedWaits(condition);
    return NEXT(pthread_cond_broadcast)(condition);
}

// ---- Timers ----

EXPORTED int timerfd_create(clockid_t clock, int flags) noexcept
{
    return role() != Role::Machine ? openTimer(clock, flags) : NEXT(timerfd_create)(clock, flags);
}

EXPORTED int timerfd_settime(int fd, int flags, const itimerspec* wanted, itimerspec* old) noexcept
{
    const TimersLocked lock;
    Timer* timer = findTimer(fd);
    if (timer == nullptr)
        return NEXT(timerfd_settime)(fd, flags, wanted, old);
    if (!valid(wanted->it_value) || !valid(wanted->it_interval)) {
        errno = EINVAL;
        return -1;
    }
    if (old != nullptr)
        *old = leftOf(*timer);
    timer->wait->state = ClockWait::Idle;
    pollfd past = {fd, POLLIN, 0};
    eventfd_t times = 0;
    if (NEXT(poll)(&past, 1, 0) == 1)
        (void)!eventfd_read(fd, &times); // drops what the old time has signalled
    timer->interval = nanoseconds(wanted->it_interval);
    const Nanoseconds end = nanoseconds(wanted->it_value);
    if (end != 0)
        setTimer(*timer, (flags & TFD_TIMER_ABSTIME) != 0 ? end : now(timer->day) + end);
    return 0;
}

EXPORTED int timerfd_gettime(int fd, itimerspec* left) noexcept
{
    const TimersLocked lock;
    const Timer* timer = findTimer(fd);
    if (timer == nullptr)
        return NEXT(timerfd_gettime)(fd, left);
    *left = leftOf(*timer);
    return 0;
}

EXPORTED int close(int fd)
{
    if (timersOpen > 0)
        closeTimer(fd);
    return NEXT(close)(fd);
}

// ---- Waits that are not answered ----

#define NOT_ANSWERED(RESULT, NAME, PARAMETERS, ARGUMENTS, ...)                                                         \
    EXPORTED RESULT NAME PARAMETERS __VA_ARGS__                                                                        \
    {                                                                                                                  \
        static std::atomic<bool> told;                                                                                 \
        tellOnce(told, #NAME);                                                                                         \
        return NEXT(NAME) ARGUMENTS;                                                                                   \
    }

NOT_ANSWERED(int, sem_timedwait, (sem_t * semaphore, const timespec* end), (semaphore, end))
NOT_ANSWERED(int, sem_clockwait, (sem_t * semaphore, clockid_t clock, const timespec* end), (semaphore, clock, end))
NOT_ANSWERED(int, pthread_mutex_timedlock, (pthread_mutex_t * mutex, const timespec* end), (mutex, end), noexcept)
NOT_ANSWERED(int, pthread_mutex_clocklock, (pthread_mutex_t * mutex, clockid_t clock, const timespec* end),
             (mutex, clock, end), noexcept)
NOT_ANSWERED(int, sigtimedwait, (const sigset_t* set, siginfo_t* info, const timespec* time), (set, info, time))
NOT_ANSWERED(int, ppoll, (pollfd * descriptors, nfds_t count, const timespec* time, const sigset_t* mask),
             (descriptors, count, time, mask))
NOT_ANSWERED(int, pselect, (int count, fd_set* r, fd_set* w, fd_set* s, const timespec* time, const sigset_t* mask),
             (count, r, w, s, time, mask))
NOT_ANSWERED(int, epoll_pwait, (int epoll, epoll_event* events, int most, int time, const sigset_t* mask),
             (epoll, events, most, time, mask))
NOT_ANSWERED(int, epoll_pwait2, (int epoll, epoll_event* events, int most, const timespec* time, const sigset_t* mask),
             (epoll, events, most, time, mask))
NOT_ANSWERED(unsigned, alarm, (unsigned time), (time), noexcept)
NOT_ANSWERED(int, timer_settime, (timer_t timer, int flags, const itimerspec* wanted, itimerspec* old),
             (timer, flags, wanted, old), noexcept)
