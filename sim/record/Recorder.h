// Writes a record while things happen.
#ifndef SIM_RECORD_RECORDER_H
#define SIM_RECORD_RECORDER_H

#include "record/Record.h"

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace record {

/// Writes each change as a whole line at once, so that a recorder that is killed leaves a readable record.
/// Threads: any, except that open() comes first.
/// Lock:    its own, held during a write, so that lines are in the order of their times.
class Recorder {
public:
    /// The daemon's time in milliseconds; it never goes back.
    using Clock = std::function<int64_t()>;

    explicit Recorder(Clock clock) : m_clock(std::move(clock)) {}
    ~Recorder();
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    /// Creates the file, for its owner alone: a record holds numbers and texts. Never overwrites a file.
    /// @return an error message, or empty
    std::string open(const std::string& file);
    /// Starts the record's time, with these ports. Changes before it and after end() are ignored, and so is a second
    /// call.
    /// @param of  "bench" or "card"
    void begin(const char* of, const std::vector<sim::Port>& ports);
    /// Records the port if it has changed.
    void port(const sim::Port& port);
    /// Records another change. @param who  the number of an SMS
    void tell(Change::Kind kind, const std::string& text, const std::string& who = "");
    void end();
    /// Whether a write has failed. The record then ends with the last whole line before it.
    bool failed() const { return m_failed; }

private:
    void write(Change change);

    Clock m_clock;
    std::mutex m_mutex;
    int m_file = -1;
    int64_t m_begin = 0;
    bool m_begun = false;
    std::atomic<bool> m_failed{false};
    uint64_t m_lines = 0;
    std::map<std::pair<bool, std::string>, std::pair<uint32_t, uint32_t>> m_ports; // state and driver
};

} // namespace record

#endif
