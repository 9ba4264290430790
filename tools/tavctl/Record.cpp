#include "Record.h"

#include "Follow.h"
#include "Journal.h"
#include "record/Recorder.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <thread>

namespace {

int64_t milliseconds()
{
    using namespace std::chrono;
    return duration_cast<std::chrono::milliseconds>(steady_clock::now().time_since_epoch()).count();
}

// Blocks the signals that end a record; one thread waits for them.
sigset_t ends()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        sigaddset(&signals, signal);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    signal(SIGPIPE, SIG_IGN);
    return signals;
}

} // namespace

int recordCard(const std::string& host, uint16_t port, const std::string& file, const std::string& unit)
{
    static record::Recorder recorder(milliseconds); // the follower below never ends
    const std::string wrong = recorder.open(file);
    if (!wrong.empty()) {
        fprintf(stderr, "tavctl: %s\n", wrong.c_str());
        return 1;
    }
    const sigset_t signals = ends();
    const std::string name = host + ':' + std::to_string(port);
    Follower follower;
    follower.listed = [name](const std::vector<sim::Port>& ports) {
        fprintf(stderr, "tavctl: %s is connected\n", name.c_str());
        recorder.begin("card", ports);
        for (const sim::Port& each : ports) // what changed during a break
            recorder.port(each);
    };
    follower.changed = [](const sim::Port& changed) { recorder.port(changed); };
    follower.lost = [name](const std::string& why) { fprintf(stderr, "tavctl: %s: %s\n", name.c_str(), why.c_str()); };
    std::thread([host, port, follower] { follow(host, port, follower); }).detach();

    std::unique_ptr<Journal> journal;
    if (!unit.empty())
        journal = std::make_unique<Journal>(
            unit, [](const std::string& line) { recorder.tell(record::Change::Log, line); },
            [](const std::string& why) { fprintf(stderr, "tavctl: no lines of the log: %s\n", why.c_str()); });
    const timespec look = {0, 200000000};
    while (!recorder.failed() && sigtimedwait(&signals, nullptr, &look) < 0)
        ;
    recorder.end();
    const int status = recorder.failed() ? 1 : 0;
    fflush(nullptr);
    journal.reset();
    std::_Exit(status); // the follower may wait for the server
}
