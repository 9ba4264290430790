// The file of a record: one JSON object a line, a time and one change in each.
#ifndef SIM_RECORD_RECORD_H
#define SIM_RECORD_RECORD_H

#include "tavd/Ports.h"

#include <cstdint>
#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace record {

/// One line of a record.
struct Change {
    enum Kind {
        Begin,   ///< the first line; text is who recorded: "bench" or "card"
        Port,    ///< a port and its state, before its first change
        Input,   ///< port: label and status
        Output,  ///< port: label, state, and who drove it (toggled)
        SmsIn,   ///< who: the sender's number
        SmsOut,  ///< who: the number it went to
        Log,     ///< a line of the daemon's
        ToModem, ///< an AT line, with visible control characters
        FromModem,
        End ///< the last line; lines: how many stand before it
    };
    Kind kind = Log;
    int64_t time = 0; ///< milliseconds of the daemon's time since the record began; never decreases
    std::string who;
    std::string text; ///< any bytes
    sim::Port port;
    uint64_t lines = 0;
};

/// @return @p bytes as printable text. Control characters and bytes that are not UTF-8 become "\x1b"; a backslash is
/// doubled
std::string escaped(const std::string& bytes);

/// @return the change as a line of JSON, without a line end. Its texts are escaped, so that they keep every byte
std::string lineOf(const Change& change);

/// Reads a record line by line, and checks it: times in order, ports before their changes, a last line with the right
/// count. Its memory grows with the number of ports only, at most kMostPorts. One thread at a time.
class Reader {
public:
    static constexpr size_t kMostPorts = 10000;
    static constexpr size_t kMostBytes = 65536; ///< of a line

    explicit Reader(const std::string& file);

    /// @return false at the end of the record, or with error() set
    bool next(Change& change);
    /// "FILE:LINE: what is wrong", or nothing.
    const std::string& error() const { return m_error; }
    /// The line of the change that next() returned last, from 1.
    uint64_t line() const { return m_line; }
    int64_t time() const { return m_time; }
    /// Whether the record has its last line. Without it the recorder was killed.
    bool ended() const { return m_ended; }

private:
    bool readLine(std::string& line);
    std::string place(const Change& change);
    std::string placePort(const Change& change);
    bool fail(const std::string& what);

    std::string m_file, m_error;
    std::ifstream m_stream;
    std::vector<char> m_buffer;
    uint64_t m_line = 0;
    int64_t m_time = 0;
    bool m_ended = false;
    std::map<std::pair<bool, std::string>, uint64_t> m_ports; // by output and label: the line that tells of it
};

} // namespace record

#endif
