// Prints how long the daemon takes from its start to the first output that it drives.
#include "daemonBench.h"

int main()
{
    constexpr int kStarts = 21;
    DaemonBench bench;
    for (const int connections : {16, 1024}) {
        std::vector<double> times;
        for (int i = 0; i < kStarts; ++i) {
            bench.configure(connections, false);
            bench.server.setInput("IN0", 1);
            bench.startServer();
            const auto start = figures::Clock::now();
            bench.startDaemon();
            if (!bench.server.waitForOutput("OUT0", 1, std::chrono::seconds(30)))
                DaemonBench::check("the daemon drives nothing");
            times.push_back(figures::microseconds(figures::Clock::now() - start) / 1000);
            bench.daemon.kill();
            bench.server.stop();
        }
        printf("%5d connections: start to first output: median %.1f ms, slowest of %d %.1f ms\n", connections,
               figures::median(times), kStarts, figures::percentile(times, 100));
    }
    return 0;
}
