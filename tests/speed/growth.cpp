// Prints what the daemon's memory, threads and descriptors are before and after a million events.
#include "daemonBench.h"

namespace {

// Events in messages of a hundred; after every tenth message one that drives an output, and the wait for it.
void play(DaemonBench& bench, long events, bool& set)
{
    std::vector<std::pair<std::string, uint32_t>> message(100);
    for (long sent = 0; sent < events;) {
        for (int i = 0; i < 10; ++i) {
            for (auto& change : message)
                change = {"NOISE", static_cast<uint32_t>(sent++ % 2 + 1)};
            bench.server.setInputs(message);
        }
        set = !set;
        if (bench.road(0, set) < 0)
            DaemonBench::check("an output was not driven");
    }
}

} // namespace

// growth [EVENTS]
int main(int argc, char* argv[])
{
    const long events = argc > 1 ? atol(argv[1]) : 1000000;
    DaemonBench bench;
    bool set = false; // the input that drives an output
    bench.configure(16, false);
    bench.startServer();
    bench.startDaemon();
    bench.waitUntilObeyed();
    bench.print("at start");
    play(bench, events / 100, set);
    bench.print("after a hundredth of the events");
    const long before = bench.daemon.residentKiB();
    play(bench, events, set);
    bench.print("after the events");
    printf("%ld events: %+ld KiB\n", events, bench.daemon.residentKiB() - before);
    return 0;
}
