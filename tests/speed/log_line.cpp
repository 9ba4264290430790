// Prints what a log line costs whose priority is off.
#include "cWlog.h"
#include "figures.h"

#include <cstdio>

// Nanoseconds of one call, the median of eleven runs.
template <typename Work> double nanosecondsOf(Work work)
{
    constexpr int kCalls = 2000000;
    std::vector<double> runs(11);
    for (double& run : runs) {
        const auto start = figures::Clock::now();
        for (int i = 0; i < kCalls; ++i)
            work();
        run = 1000 * figures::microseconds(figures::Clock::now() - start) / kCalls;
    }
    return figures::median(runs);
}

int main()
{
    cWlog::init(cWlog::INFO);
    cWlog logger("speed");
    volatile int number = 7;
    const double off =
        nanosecondsOf([&] { logger.debug("Found trigger %s alarm_state %d", "IN1", static_cast<int>(number)); });
    const double none = nanosecondsOf([&] { (void)static_cast<int>(number); });
    printf("a debug line with debug off: %.2f ns (of which the loop: %.2f ns)\n", off, none);
    return 0;
}
