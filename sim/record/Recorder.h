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

/// Each change is one write of a whole line, so that whatever ends the recorder leaves a record that can be read.
/// Threads: any, but for open(). Lock: its own, which keeps times and lines in one order; held while it writes.
class Recorder {
public:
    /// The daemon's time in milliseconds; it never goes back.
    using Clock = std::function<int64_t()>;

    explicit Recorder(Clock clock) : m_clock(std::move(clock)) {}
    ~Recorder();
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    /// Makes the file, for its owner alone: a record holds numbers and texts. One that exists is left as it is.
    /// @return what went wrong, or nothing
    std::string open(const std::string& file);
    /// The record's time starts, with these ports. Before it and after end() changes are not recorded; a second time
    /// it does nothing. @param of "bench" or "card"
    void begin(const char* of, const std::vector<sim::Port>& ports);
    /// A port as it is now; recorded where it has changed.
    void port(const sim::Port& port);
    /// Another change. @param who the number of an SMS
    void tell(Change::Kind kind, const std::string& text, const std::string& who = "");
    void end();
    /// Whether the file could not be written: the record ends before that, with a whole line.
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
