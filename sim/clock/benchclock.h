// Preloaded into the daemon and linked to the bench: time is what the bench says it is.
//
// These calls use the bench's clock (ClockPage). The daemon, the bench and their libraries use no others to read the
// time or to wait for it:
//   clocks       clock_gettime (but for the CPU-time clocks), gettimeofday, time
//   sleeps       nanosleep, clock_nanosleep, usleep, sleep
//   descriptors  select, poll, epoll_wait, with a time-out
//   conditions   pthread_cond_timedwait, pthread_cond_clockwait; pthread_cond_signal and _broadcast end them
//   timers       timerfd_create, timerfd_settime, timerfd_gettime; close
// A wait without a time-out is left to the kernel: the bench sees that the thread sleeps. In a process that the bench
// has started, a wait of at most two milliseconds is only a look: the clock does not move for it, and it ends when the
// clock moves or other threads have run. Any other timed wait, such as sem_timedwait, takes real time and is reported
// once on standard error.
//
// Without a page, or with one that leaves the clock to the machine, every call passes through. Only a timer's thread
// allocates memory, so that the library works with sanitizers.
#ifndef SIM_CLOCK_BENCHCLOCK_H
#define SIM_CLOCK_BENCHCLOCK_H

#include "clock/clockPage.h"

/// The longest wait that is a look.
constexpr Nanoseconds kLongestLook = 2000000;

/// A thread of this name, and those that it starts, keep the machine's clock. The web server uses it.
constexpr char kMachineTime[] = "machine-time";

/// The processes started by the bench find the page by this variable of their environment.
constexpr char kClockPageVariable[] = "BENCHCLOCK_PAGE";

extern "C" {
/// This process follows @p page from now on; called before it starts threads. Null: the machine's clock again.
void benchclock_follow(ClockPage* page);
/// Declares the calling thread the one that moves the clock: it reads the bench's time, and waits by the machine's.
void benchclock_conduct();
}

#endif
