// Preloaded beside libfaketime, speeds up the waits that it leaves out.
//
// libfaketime runs a program's clocks at a rate (FAKETIME="+0 x20") and shortens sleeps and polls accordingly; a wait
// for an absolute time on a given clock, as C++'s condition variables and timed mutexes ask for, goes past it with a
// time that is decades away. Here such a time is turned back: what is left of it on the clock that the program sees,
// divided by the rate, from now on the clock of the kernel. It must stand before libfaketime in LD_PRELOAD.
#undef _TIME_BITS
#undef _FILE_OFFSET_BITS
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dlfcn.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/syscall.h>
#include <sys/timerfd.h>
#include <unistd.h>

#define EXPORTED extern "C" __attribute__((visibility("default")))

namespace {

constexpr long kSecond = 1000000000; // nanoseconds

double rate()
{
    const char* setting = getenv("FAKETIME");
    const char* factor = setting == nullptr ? nullptr : strrchr(setting, 'x');
    const double value = factor == nullptr ? 1 : atof(factor + 1);
    return value > 0 ? value : 1;
}

timespec kernelTime(clockid_t clock, const timespec* deadline)
{
    timespec seen{};
    timespec real{};
    clock_gettime(clock, &seen);
    syscall(SYS_clock_gettime, clock, &real);
    const double left = (static_cast<double>(deadline->tv_sec - seen.tv_sec) +
                         static_cast<double>(deadline->tv_nsec - seen.tv_nsec) / kSecond) /
                        rate();
    if (left > 0) {
        const auto seconds = static_cast<time_t>(left);
        real.tv_sec += seconds;
        real.tv_nsec += static_cast<long>((left - static_cast<double>(seconds)) * kSecond);
        if (real.tv_nsec >= kSecond) {
            ++real.tv_sec;
            real.tv_nsec -= kSecond;
        }
    }
    return real;
}

/// The C library's own function of this name and type.
template <typename Function> Function* libraryFunction(Function* /*type*/, const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

// A deadline that is no time of day is the library's to refuse.
#define KERNEL_TIME(CLOCK, DEADLINE)                                                                                   \
    const bool valid = (DEADLINE)->tv_nsec >= 0 && (DEADLINE)->tv_nsec < kSecond;                                      \
    const timespec end = valid ? kernelTime(CLOCK, DEADLINE) : *(DEADLINE)

EXPORTED int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                                    const timespec* deadline)
{
    static const auto real = libraryFunction(&pthread_cond_clockwait, "pthread_cond_clockwait");
    KERNEL_TIME(clock, deadline);
    return real(condition, mutex, clock, &end);
}

EXPORTED int pthread_mutex_clocklock(pthread_mutex_t* mutex, clockid_t clock, const timespec* deadline) noexcept
{
    static const auto real = libraryFunction(&pthread_mutex_clocklock, "pthread_mutex_clocklock");
    KERNEL_TIME(clock, deadline);
    return real(mutex, clock, &end);
}

EXPORTED int pthread_mutex_timedlock(pthread_mutex_t* mutex, const timespec* deadline) noexcept
{
    static const auto real = libraryFunction(&pthread_mutex_timedlock, "pthread_mutex_timedlock");
    KERNEL_TIME(CLOCK_REALTIME, deadline);
    return real(mutex, &end);
}

EXPORTED int sem_clockwait(sem_t* semaphore, clockid_t clock, const timespec* deadline)
{
    static const auto real = libraryFunction(&sem_clockwait, "sem_clockwait");
    KERNEL_TIME(clock, deadline);
    return real(semaphore, clock, &end);
}

/// libfaketime tells what a signal has left of a sleep in the kernel's time; here it is told in the program's.
EXPORTED int nanosleep(const timespec* time, timespec* left)
{
    static const auto real = libraryFunction(&nanosleep, "nanosleep");
    const long long asked = static_cast<long long>(time->tv_sec) * kSecond + time->tv_nsec; // left may be the same
    timespec begin{};
    clock_gettime(CLOCK_MONOTONIC, &begin);
    const int result = real(time, left);
    if (result == 0 || errno != EINTR || left == nullptr)
        return result;
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const long long slept = static_cast<long long>(now.tv_sec - begin.tv_sec) * kSecond + now.tv_nsec - begin.tv_nsec;
    const long long rest = slept < asked ? asked - slept : 0;
    left->tv_sec = static_cast<time_t>(rest / kSecond);
    left->tv_nsec = static_cast<long>(rest % kSecond);
    errno = EINTR;
    return result;
}

/// A timer for a moment that is past fires at once; libfaketime's never does. That is how asio arms one that ran out
/// while it was being armed: a connection that was to be tried again would never be.
EXPORTED int timerfd_settime(int timer, int flags, const itimerspec* wanted, itimerspec* old) noexcept
{
    static const auto real = libraryFunction(&timerfd_settime, "timerfd_settime");
    timespec seen{};
    clock_gettime(CLOCK_MONOTONIC, &seen);
    const bool armed = wanted->it_value.tv_sec != 0 || wanted->it_value.tv_nsec != 0;
    if ((flags & TFD_TIMER_ABSTIME) == 0 || !armed || wanted->it_value.tv_sec >= seen.tv_sec)
        return real(timer, flags, wanted, old);
    const itimerspec soon = {wanted->it_interval, {0, 1000}}; // not so little that the rate makes nothing of it
    return real(timer, flags & ~TFD_TIMER_ABSTIME, &soon, old);
}

/// libfaketime has one of its own, which waits for too long by the rate; this stands before it.
EXPORTED int sem_timedwait(sem_t* semaphore, const timespec* deadline)
{
    return sem_clockwait(semaphore, CLOCK_REALTIME, deadline);
}
