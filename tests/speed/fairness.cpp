// Prints for how many evaluations GSM commands, refreshes and events wait at worst while all three come without pause:
// three threads as in the daemon. Counted, not timed.
#include "card.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace {

// Whom this thread overtakes: each of its turns at the lock counts for whoever had asked before it began and is not
// served when it ends. An evaluation that was under way when somebody asked is one more.
class Turns {
public:
    explicit Turns(FairMutex& lock) : m_lock(lock) {}
    template <typename Work> void take(Work work)
    {
        const uint64_t asked = m_lock.counts().asked;
        work();
        const uint64_t granted = m_lock.counts().granted;
        if (m_overtaken != 0 && granted >= m_oldest)
            m_overtaken = 0;
        if (m_overtaken == 0)
            m_oldest = asked;
        if (granted < m_oldest)
            m_worst = std::max(m_worst, ++m_overtaken);
        ++m_turns;
    }
    unsigned turns() const { return m_turns; }
    unsigned worst() const { return m_worst; }

private:
    FairMutex& m_lock;
    uint64_t m_oldest = 0; // whom it has overtaken last
    unsigned m_overtaken = 0, m_worst = 0;
    unsigned m_turns = 0;
};

} // namespace

// fairness [CONNECTIONS] [SAMPLES]
int main(int argc, char* argv[])
{
    const int connections = argc > 1 ? atoi(argv[1]) : 64;
    const int samples = argc > 2 ? atoi(argv[2]) : 10000;
    cWlog::init(cWlog::WARN);
    Card card(std::max(connections, 2));
    std::atomic<int> unfinished{3};
    const auto play = [&](Turns& turns, auto work) {
        for (int i = 0; unfinished > 0; ++i) {
            turns.take([&] { work(i); });
            if (i == samples)
                --unfinished;
        }
    };
    Turns events(card.manager.mEvaluationMutex), refreshes(events), commands(events);
    std::thread delivery([&] { play(events, [&](int i) { card.deliver(Card::event(i % 2, i / 2 % 2 == 0)); }); });
    std::thread poll([&] { play(refreshes, [&](int) { card.manager.update_lists(); }); });
    tavTrigger* commanded = action(Card::output(1).c_str());
    play(commands, [&](int) { card.manager.setActionState(GSMIOmanager::SET, commanded, nullptr, nullptr); });
    delivery.join();
    poll.join();
    printf(
        "%d connections: %u events of two inputs, %u refreshes and %u GSM commands without pause; beside what was "
        "under "
        "way when it asked, nobody waited for more than %u events, %u refreshes and %u commands that had asked later\n",
        connections, events.turns(), refreshes.turns(), commands.turns(), events.worst(), refreshes.worst(),
        commands.worst());
    fflush(stdout);
    std::_Exit(0); // the threads of the daemon have no end
}
