// Prints the memory and the processor time of the daemon at rest, with its modem set up and without a modem.
#include "daemonBench.h"

#include <cstring>

namespace {

// Of one core, what a loop costs that only sleeps as long as the GSM handler does between two looks at its flags.
double sleepingCost(int seconds)
{
    const auto end = figures::Clock::now() + std::chrono::seconds(seconds);
    timespec before = {}, after = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &before);
    while (figures::Clock::now() < end)
        usleep(1010);
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &after);
    return (static_cast<double>(after.tv_sec - before.tv_sec) +
            static_cast<double>(after.tv_nsec - before.tv_nsec) / 1e9) /
           seconds;
}

} // namespace

// at_rest [nomodem] [SECONDS]
int main(int argc, char* argv[])
{
    const bool withModem = argc < 2 || strcmp(argv[1], "nomodem") != 0;
    const int given = argc > 1 ? atoi(argv[argc - 1]) : 0;
    const int seconds = given > 0 ? given : 20;
    DaemonBench bench;
    bench.configure(16, withModem);
    bench.startServer();
    bench.startDaemon();
    bench.waitUntilObeyed();
    if (withModem)
        bench.waitUntilModemReady();
    const double before = bench.daemon.cpuSeconds();
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    const double used = (bench.daemon.cpuSeconds() - before) / seconds;
    printf("%s: resident %ld KiB, %ld threads, %ld descriptors, %.2f %% of a core over %d s",
           withModem ? "modem set up" : "no modem", bench.daemon.residentKiB(), bench.daemon.threads(),
           bench.daemon.descriptors(), 100 * used, seconds);
    if (withModem)
        printf(" (a bare loop of usleep(1010): %.2f %%)", 100 * sleepingCost(5));
    printf("\n");
    return 0;
}
