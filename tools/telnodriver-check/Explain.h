// What the daemon would do, and why.
#ifndef CHECK_EXPLAIN_H
#define CHECK_EXPLAIN_H

#include <optional>
#include <string>
#include <vector>

/// What is asked about the rules.
struct Explaining {
    std::vector<std::string> values;      ///< LABEL=STATUS; inputs that are not named are clear
    bool live = false;                    ///< take the values from the object server instead
    std::string server;                   ///< "HOST" or "HOST:PORT"
    std::string table;                    ///< only the truth table of this output; an error for more than 1024 rows
    bool offline = false;                 ///< in tables: offline inputs, too
    std::optional<std::string> svg, html; ///< a picture, or pictures and tables, in this file; "" is standard output
};

/// Explains the connections of the pair file @p pairs: every one as a tree with the value of every node, unless a
/// table, picture or document is asked for. The verdicts are those of the daemon's own evaluation.
/// @return exit status
int explain(const std::string& pairs, const Explaining& asked);

#endif
