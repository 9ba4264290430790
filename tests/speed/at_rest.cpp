// Prints the memory and the processor time of the daemon at rest, with its modem set up.
#include "daemonBench.h"

// at_rest [SECONDS]
int main(int argc, char* argv[])
{
    const int seconds = argc > 1 ? std::max(atoi(argv[1]), 1) : 20;
    DaemonBench bench;
    bench.configure(16, true);
    bench.startServer();
    bench.startDaemon();
    bench.waitUntilObeyed();
    bench.waitUntilModemReady();
    const double before = bench.daemon.cpuSeconds();
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    const double used = (bench.daemon.cpuSeconds() - before) / seconds;
    bench.print("modem set up");
    printf("%.2f %% of a core over %d s\n", 100 * used, seconds);
    return 0;
}
