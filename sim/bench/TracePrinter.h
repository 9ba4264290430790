// What happens on the card, as lines for people.
#ifndef SIM_BENCH_TRACEPRINTER_H
#define SIM_BENCH_TRACEPRINTER_H

#include "bench/Card.h"

#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace bench {

/// Prints each event on a card with the time since the printer was made. Events of one moment are sorted, causes first,
/// so that two plays of a scenario print the same.
/// Threads: any thread may cause a line; the card's thread makes and destroys it.
class TracePrinter {
public:
    /// @param talk  also the AT traffic   @param log  also the daemon's log
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
