// What happens on the card, as lines for people.
#ifndef SIM_BENCH_TRACEPRINTER_H
#define SIM_BENCH_TRACEPRINTER_H

#include "bench/Card.h"

#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace bench {

/// Prints what happens on a card with the time since the printer was made. What happens at one time of the bench's
/// clock is printed in an order of its own, causes first, so that two plays of a scenario print the same. Threads:
/// lines come from any; the card's thread makes and ends it.
class TracePrinter {
public:
    /// @param talk the modem's, too; @param log what the daemon prints, too
    TracePrinter(Card& card, bool talk, bool log);
    ~TracePrinter();
    TracePrinter(const TracePrinter&) = delete;
    TracePrinter& operator=(const TracePrinter&) = delete;

private:
    struct Line {
        Trace kind;
        double time;
        std::string text;
    };
    struct Self {
        std::mutex mutex; // guards the printer
        TracePrinter* self;
    };
    void add(Trace kind, const std::string& text); // these two with the mutex held
    void printLines();
    void print();

    Card& m_card;
    const bool m_talk, m_log;
    const Time::Clock::time_point m_begin = Time::Clock::now();
    const std::shared_ptr<Self> m_self;
    std::vector<Line> m_lines;
};

} // namespace bench

#endif
