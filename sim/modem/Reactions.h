// The scripted faults: reactions by command, each with a number of times.
#pragma once

#include "modem/ModemTypes.h"

#include <list>
#include <optional>
#include <string>

namespace modemsim {

/// Threads: the owner's lock guards it.
class Reactions {
public:
    void add(std::string prefix, Reaction reaction, int times)
    {
        if (times != 0) {
            m_rows.push_back({std::move(prefix), std::move(reaction), times});
        }
    }
    void clear() { m_rows.clear(); }

    /// Takes the first reaction whose prefix @p line begins with, and counts it. No value: the usual reply.
    std::optional<Reaction> take(const std::string& line)
    {
        for (auto row = m_rows.begin(); row != m_rows.end(); ++row) {
            if (line.compare(0, row->prefix.size(), row->prefix) != 0) {
                continue;
            }
            Reaction reaction = row->reaction;
            if (row->times != kForEver && --row->times == 0) {
                m_rows.erase(row);
            }
            return reaction;
        }
        return std::nullopt;
    }

private:
    struct Row {
        std::string prefix;
        Reaction reaction;
        int times;
    };
    std::list<Row> m_rows;
};

} // namespace modemsim
