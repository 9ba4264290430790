// Preloaded into the daemon and linked to the bench: time is what the bench says it is.
//
// These calls are answered from the bench's clock (ClockPage), for they are all by which the daemon, the bench and
// the libraries that they use see time or wait for it:
//   clocks       clock_gettime (but for the CPU-time clocks), gettimeofday, time
//   sleeps       nanosleep, clock_nanosleep, usleep, sleep
//   descriptors  select, poll, epoll_wait, where they are given a time-out
//   conditions   pthread_cond_timedwait, pthread_cond_clockwait; pthread_cond_signal and _broadcast end them
//   timers       timerfd_create, timerfd_settime, timerfd_gettime; close
// Waits without an end are the kernel's: the bench sees that the thread sleeps. In a process that
// the bench has started a wait of at most two milliseconds is a look: the clock does not move for its sake, and it ends
// when the clock moves or other threads have run. A wait that is not
// in the list, such as sem_timedwait, takes real time and is told once on standard error.
//
// Without a page, or where the page leaves the clock to the machine, everything passes through. Nothing here allocates
// memory but for the threads of timers, so that it lives with sanitizers.
#ifndef SIM_CLOCK_BENCHCLOCK_H
#define SIM_CLOCK_BENCHCLOCK_H

#include "clock/clockPage.h"

/// The longest wait that is a look.
constexpr Nanoseconds kLongestLook = 2000000;

/// A thread of this name, and those that it starts, keep the machine's clock: the web server's, say.
constexpr char kMachineTime[] = "machine-time";

/// The processes started by the bench find the page by this variable of their environment.
constexpr char kClockPageVariable[] = "BENCHCLOCK_PAGE";

extern "C" {
/// This process follows @p page from now on; called before it starts threads. Null: the machine's clock again.
void benchclock_follow(ClockPage* page);
/// The calling thread moves the clock: it sees the bench's time, but waits by the machine's.
void benchclock_conduct();
}

#endif
