// What a record says against what happens now.
#ifndef SIM_RECORD_COMPARE_H
#define SIM_RECORD_COMPARE_H

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>

namespace record {

/// Where a record and what happens part.
struct Difference {
    uint64_t line; ///< of the record
    std::string text;
};

/// Compares streams: each output's states, the SMS to each number. Within one the order counts, between two it does
/// not, for what drives one output races with what drives another. All times are on the replay's clock, in
/// milliseconds. Not locked: one thread at a time.
class Compare {
public:
    /// Two inputs that change this close to one another may be evaluated together in one run and one by one in another,
    /// which an output shows by a pulse of this length or less. Such a pulse is compared where both have it, and left
    /// out where one has.
    static constexpr int64_t kFlicker = 20;

    /// A stream whose value holds until the next, such as an output: a pulse in it may be a flicker.
    void setValue(const std::string& stream, const std::string& value);
    /// The record says that this was so at @p time; it may have come @p tolerance sooner or later here.
    void recorded(const std::string& stream, const std::string& value, int64_t time, int64_t tolerance, uint64_t line);
    /// It has happened here.
    void happened(const std::string& stream, const std::string& value, int64_t time, int64_t tolerance, uint64_t line);
    /// The record's clock stood still for so long: what has happened, and is not in it yet, happened later by that.
    void stoodStill(int64_t milliseconds);
    /// Gives up what should have come by now. @return whether something recorded is still to come
    bool waits(int64_t now);
    /// Nothing more is recorded: what happens so late that its place may be behind the record's end is no difference.
    void recordEnds(int64_t end) { m_end = end; }
    /// The first difference, once no earlier one can be found any more: of the record's lowest line that did not come
    /// as it says, or of what came though nothing near was recorded.
    std::optional<Difference> first() const;
    uint64_t compared() const { return m_compared; }

private:
    struct Item {
        std::string value;
        int64_t time, tolerance;
        uint64_t line; // a recorded one's own; of another the last that had been read
    };
    struct Stream {
        std::optional<std::string> value; // where the two agreed last
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
    std::optional<Found> m_missed; // the lowest line of the record that did not come so
    std::optional<Found> m_extra;  // the first that came unrecorded
    int64_t m_now = 0, m_end = INT64_MAX;
    uint64_t m_compared = 0;
};

} // namespace record

#endif
