// Prints what the evaluation of a leaf costs on cards of different sizes, beside two look-ups in a hash table of
// labels. Usage: evaluation [CONNECTIONS...]
#include "card.h"
#include "figures.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unordered_map>
#include <vector>

namespace {

constexpr int kRounds = 15;
constexpr long kLeavesOfARun = 400000;

class CardOfSize {
public:
    explicit CardOfSize(int connections) : m_connections(connections), m_card(connections)
    {
        for (int i = 0; i < connections; ++i) {
            for (const std::string& label : {Card::input(i), Card::output(i)}) {
                m_labels.push_back(label);
                m_table[label] = i;
            }
        }
    }
    int connections() const { return m_connections; }
    double evaluation()
    {
        return nanosecondsALeaf([this] { m_card.manager.check_trigger_values(); });
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
    Card m_card;
    std::vector<std::string> m_labels;
    std::unordered_map<std::string, int> m_table;
};

} // namespace

int main(int argc, char** argv)
{
    cWlog::init(cWlog::WARN);
    std::vector<int> sizes = {16, 64, 256, 1024, 4096};
    if (argc > 1)
        sizes.clear();
    for (int i = 1; i < argc; ++i)
        sizes.push_back(std::max(atoi(argv[i]), 1));
    std::vector<CardOfSize> cards(sizes.begin(), sizes.end());
    std::vector<std::vector<double>> whole(cards.size()), bare(cards.size()), ratios(cards.size());
    for (int round = 0; round < kRounds; ++round) { // in turns, so that other work on the machine meets all of them
        for (size_t i = 0; i < cards.size(); ++i) {
            whole[i].push_back(cards[i].evaluation());
            bare[i].push_back(cards[i].lookUps());
            ratios[i].push_back(whole[i].back() / whole[0].back());
        }
    }
    for (size_t i = 0; i < cards.size(); ++i)
        printf("%5d connections: %6.1f ns a leaf (quickest round %.1f), %.2f times the first; two look-ups in a hash "
               "table "
               "%6.1f ns\n",
               cards[i].connections(), figures::median(whole[i]), figures::percentile(whole[i], 0),
               figures::median(ratios[i]), figures::median(bare[i]));
    return 0;
}
