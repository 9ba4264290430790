// Compares a record with what happens in its replay.
#ifndef SIM_RECORD_COMPARE_H
#define SIM_RECORD_COMPARE_H

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>

namespace record {

/// The first difference.
struct Difference {
    uint64_t line; ///< of the record
    std::string text;
};

/// Compares streams: the states of each output, the SMS to each number. The order counts only within a stream, because
/// the causes of two outputs race. All times are milliseconds on the replay's clock. One thread at a time.
class Compare {
public:
    /// Longest pulse that may be missing, ms. If two inputs change within this time, the daemon may evaluate them
    /// together or one by one, and only then does an output show a pulse. A pulse on one side only is no difference.
    static constexpr int64_t kFlicker = 20;

    /// Declares a stream whose values last until the next one, such as an output: only such a stream has pulses.
    void setValue(const std::string& stream, const std::string& value);
    /// Adds a recorded value. The replay may have it @p tolerance sooner or later.
    void recorded(const std::string& stream, const std::string& value, int64_t time, int64_t tolerance, uint64_t line);
    /// Adds a value of the replay.
    void happened(const std::string& stream, const std::string& value, int64_t time, int64_t tolerance, uint64_t line);
    /// The record's clock was stopped for so long: shifts the values of the replay that have no counterpart yet.
    void stoodStill(int64_t milliseconds);
    /// Gives up recorded values whose time has passed. @return whether others are still to come
    bool waits(int64_t now);
    /// The record has ended: a value so late that it may belong after the end is no difference.
    void recordEnds(int64_t end) { m_end = end; }
    /// The first difference, as soon as no earlier one is possible: a recorded value that is missing or different, or a
    /// value that was not recorded.
    std::optional<Difference> first() const;
    uint64_t compared() const { return m_compared; }

private:
    struct Item {
        std::string value;
        int64_t time, tolerance;
        uint64_t line; // its own, or the last line read before a value of the replay
    };
    struct Stream {
        std::optional<std::string> value; // the last on which both agreed
        std::deque<Item> recorded, happened;
    };

    void match(const std::string& name, Stream& stream);
    static bool flickers(Stream& stream, std::deque<Item>& items);
    static bool mayFlicker(const Stream& stream, const std::deque<Item>& items, int64_t now);
    void expire(const std::string& name, Stream& stream);
    struct Found {
        Difference difference;
        int64_t time, tolerance;
    };
    void miss(const Item& item, const std::string& text);

    std::map<std::string, Stream> m_streams;
    std::optional<Found> m_missed; // the recorded value of the lowest line that is missing
    std::optional<Found> m_extra;  // the first value that was not recorded
    int64_t m_now = 0, m_end = INT64_MAX;
    uint64_t m_compared = 0;
};

} // namespace record

#endif
