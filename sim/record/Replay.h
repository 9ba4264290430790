// Plays a record at the daemon of a card on the bench and compares what it does.
#ifndef SIM_RECORD_REPLAY_H
#define SIM_RECORD_REPLAY_H

#include "bench/Card.h"
#include "record/Compare.h"
#include "record/Record.h"
#include "record/Recorder.h"

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace record {

/// What a whole record holds.
struct Contents {
    std::vector<std::pair<sim::Port, uint64_t>> ports; ///< as each was at first, and the line that says so
    bool ofCard = false, ended = false;
    uint64_t lines = 0, inputs = 0, outputs = 0, smsIn = 0, smsOut = 0;
    int64_t time = 0; ///< how long it lasts, in milliseconds

    std::string text() const; ///< of one line
};

/// Reads a record to its end. @return what is wrong with it, or nothing
std::string survey(const std::string& file, Contents& contents);

/// Milliseconds of the daemon's time.
int64_t daemonsTime();

/// From now on, and before the card's start(), the recorder is told what happens on the card; it outlives the card.
void recordCard(Recorder& recorder, bench::Card& card);

/// Threads: one makes it and calls run(); the card's simulators report on theirs. Lock: m_mutex guards the comparison.
class Replay {
public:
    struct Settings {
        bool log = false, at = false; ///< lines of these are compared, too
        int64_t tolerance = 5000;     ///< of an output that no SMS can have driven; docs/bench.md says why
    };

    /// @param card handed over; it has its configuration and is not started
    Replay(std::unique_ptr<bench::Card> card, Settings settings);

    /// @param contents of this record, surveyed
    /// @return the first difference. @throws bench::Failure when it cannot go on
    std::optional<Difference> run(const std::string& file, const Contents& contents);
    uint64_t compared() const { return m_compare.compared(); }

private:
    void usePorts(const Contents& contents);
    std::optional<Difference> settle(const Contents& contents);
    void obey(const Change& change);
    bool follow(Reader& reader);
    void forget();
    void expect(const Change& change, int64_t due, uint64_t line);
    std::string streamOf(const Change& change) const;
    void happened(const Change& change);
    void hear(bench::Trace kind, const std::string& text);
    int64_t toleranceOf(const Change& change, int64_t time) const;
    bool waitUntil(int64_t time, const std::function<bool()>& holds);
    bool give(const Change& change);
    bool different(int64_t now);

    Settings m_settings;
    std::mutex m_mutex;
    Compare m_compare;
    std::map<std::string, std::string> m_outputs; // states as they were told last
    bool m_begun = false;                         // before it nothing is compared
    int64_t m_shift = 0;                          // from the record's time to the clock's
    int64_t m_lastSms = INT64_MIN / 2;
    uint64_t m_line = 0;
    uint64_t m_commandsRecorded = 0, m_commands = 0; // to the modem
    std::unique_ptr<bench::Card> m_card;             // ends before what it reports to
};

} // namespace record

#endif
