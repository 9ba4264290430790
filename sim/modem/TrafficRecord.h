// The record of every line in both directions.
#pragma once

#include "modem/ModemTypes.h"

#include <deque>
#include <string>
#include <vector>

namespace modemsim {

/// Threads: the owner's lock guards it.
class TrafficRecord {
public:
    void toModem(const std::string& line);
    void fromModem(const std::string& bytes); ///< split into lines; empty lines are left out
    void clear();

    std::vector<TrafficLine> lines() const { return {m_lines.begin(), m_lines.end()}; }
    std::size_t count(const std::string& prefix) const; ///< lines to the modem that begin with @p prefix
    std::vector<std::string> commands() const;
    std::string transcript() const;
    /// The lines since the last call, for observers.
    std::vector<TrafficLine> takeNews();

private:
    void add(TrafficLine::Direction direction, std::string text);

    std::deque<TrafficLine> m_lines;
    std::vector<TrafficLine> m_news;
    std::string m_partial; // the modem's unfinished line
    const Clock::time_point m_start = Clock::now();
};

} // namespace modemsim
