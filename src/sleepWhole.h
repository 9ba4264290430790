// A sleep that a signal does not end early.
#ifndef SLEEPWHOLE_H
#define SLEEPWHOLE_H

#include <cerrno>
#include <chrono>
#include <ctime>

inline void sleepWhole(std::chrono::microseconds time)
{
    timespec left = {static_cast<time_t>(time.count() / 1000000), static_cast<long>(time.count() % 1000000 * 1000)};
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

#endif
