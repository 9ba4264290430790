// Replays a record on the bench, and compares what the daemon does.
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

/// Facts about a whole record.
struct Contents {
    std::vector<std::pair<sim::Port, uint64_t>> ports; ///< each as first recorded, and its line
    bool ofCard = false, ended = false;
    uint64_t lines = 0, inputs = 0, outputs = 0, smsIn = 0, smsOut = 0;
    int64_t time = 0; ///< duration, in milliseconds

    std::string text() const; ///< of one line
};

/// Reads a record to its end. @return an error message, or empty
std::string survey(const std::string& file, Contents& contents);

/// Milliseconds of the daemon's time.
int64_t daemonsTime();

/// Makes @p recorder record the card; call it before the card's start(). The recorder must outlive the card.
void recordCard(Recorder& recorder, bench::Card& card);

/// Threads: one makes it and calls run(); the simulators' threads report to it.
/// Lock:    m_mutex guards the comparison.
class Replay {
public:
    struct Settings {
        bool log = false, at = false; ///< whether to compare the log, and the AT lines
        int64_t tolerance = 5000;     ///< of an output that no SMS can have driven; docs/bench.md says why
    };

    /// @param card  owned from now on; configured, but not started
    Replay(std::unique_ptr<bench::Card> card, Settings settings);

    /// @param contents  the facts about this record
    /// @return the first difference. @throws bench::Failure if it cannot continue
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
    std::map<std::string, std::string> m_outputs; // the last states
    bool m_begun = false;                         // whether the comparison has begun
    int64_t m_shift = 0;                          // from the record's time to the clock's
    int64_t m_lastSms = INT64_MIN / 2;
    uint64_t m_line = 0;
    uint64_t m_commandsRecorded = 0, m_commands = 0; // to the modem
    std::unique_ptr<bench::Card> m_card;             // destroyed before the members that it reports to
};

} // namespace record

#endif
