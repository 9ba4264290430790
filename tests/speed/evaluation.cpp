// Prints what the evaluation of a leaf costs on cards of different sizes, beside two look-ups in a hash table of
// labels.
#include "../unit/ManagerBench.h"
#include "../unit/simPort.h"
#include "figures.h"
#include "tavd/Tavd.h"

#include <cstdio>
#include <string>
#include <unordered_map>
#include <vector>

namespace {

constexpr int kRounds = 15;
constexpr long kLeavesOfARun = 400000;

// Input i drives output i; the ports come from a server, as on a card.
class CardOfSize {
public:
    explicit CardOfSize(int connections) : m_connections(connections)
    {
        std::vector<sim::Port> ports;
        for (int i = 0; i < connections; ++i) {
            const std::string in = "BUILDING-A-INPUT-" + std::to_string(i);
            const std::string out = "BUILDING-A-OUTPUT-" + std::to_string(i);
            const auto id = static_cast<uint32_t>(i + 1);
            ports.push_back(simPort(false, in, id));
            ports.push_back(simPort(true, out, id));
            m_manager.addConnection(composite(tavTrigger::OR, {leaf(in.c_str())}), action(out.c_str()));
            m_labels.push_back(in);
            m_labels.push_back(out);
            m_table[in] = m_table[out] = i;
        }
        m_server.setPorts(ports);
        m_server.start("127.0.0.1", 0);
        m_manager.connectTo("127.0.0.1", m_server.port());
        m_manager.collectLabels();
        m_manager.update_lists();
        m_manager.check_trigger_values(); // drives the outputs to where they stay
    }
    int connections() const { return m_connections; }
    double evaluation()
    {
        return nanosecondsALeaf([this] { m_manager.check_trigger_values(); });
    }
    double lookUps()
    {
        return nanosecondsALeaf([this] {
            for (const std::string& label : m_labels) {
                const auto found = m_table.find(label);
                __asm__ volatile("" : : "r"(&*found) : "memory"); // look again each time
            }
        });
    }

private:
    template <typename Work> double nanosecondsALeaf(Work work)
    {
        const long calls = kLeavesOfARun / m_connections;
        const auto start = figures::Clock::now();
        for (long i = 0; i < calls; ++i)
            work();
        return 1000 * figures::microseconds(figures::Clock::now() - start) / static_cast<double>(calls * m_connections);
    }

    int m_connections;
    sim::Tavd& m_server = ManagerBench::kept<sim::Tavd>();
    ManagerBench& m_manager = ManagerBench::forEver();
    std::vector<std::string> m_labels;
    std::unordered_map<std::string, int> m_table;
};

} // namespace

int main()
{
    cWlog::init(cWlog::WARN);
    std::vector<CardOfSize> cards;
    for (const int connections : {16, 64, 256, 1024, 4096})
        cards.emplace_back(connections);
    std::vector<std::vector<double>> whole(cards.size()), bare(cards.size()), ratios(cards.size());
    for (int round = 0; round < kRounds; ++round) { // in turns, so that other work on the machine meets all of them
        for (size_t i = 0; i < cards.size(); ++i) {
            whole[i].push_back(cards[i].evaluation());
            bare[i].push_back(cards[i].lookUps());
            ratios[i].push_back(whole[i].back() / whole[0].back());
        }
    }
    for (size_t i = 0; i < cards.size(); ++i)
        printf(
            "%5d connections: %6.1f ns a leaf (quickest round %.1f), %.2f times the cost at 16; two look-ups in a hash "
            "table %6.1f ns\n",
            cards[i].connections(), figures::median(whole[i]), figures::percentile(whole[i], 0),
            figures::median(ratios[i]), figures::median(bare[i]));
    return 0;
}
