// Prints what a log line costs whose priority is off.
#include "cWlog.h"
#include "figures.h"

#include <cstdio>

int main()
{
    cWlog::init(cWlog::INFO);
    cWlog logger("speed");
    volatile int number = 7;
    const double off = figures::nanosecondsPerCall(
        2000000, [&] { logger.debug("Found trigger %s alarm_state %d", "IN1", static_cast<int>(number)); });
    const double none = figures::nanosecondsPerCall(2000000, [&] { (void)static_cast<int>(number); });
    printf("a debug line with debug off: %.2f ns (of which the loop: %.2f ns)\n", off, none);
    return 0;
}
