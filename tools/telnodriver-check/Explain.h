// What the daemon would do, and why.
#ifndef CHECK_EXPLAIN_H
#define CHECK_EXPLAIN_H

#include <map>
#include <string>

/// Explains every connection of @p pairs as a tree with the value of every node. The verdicts are the daemon's own
/// evaluation's. @p values: "set", "clear", "warn", "unknown" or "offline" by input label; an input that is not named
/// is clear.
/// @return exit status
int explain(const std::string& pairs, const std::map<std::string, std::string>& values);

/// The same with the values that the object server at @p host has now.
int explainLive(const std::string& pairs, const std::string& host);

/// The truth table of the connections that drive @p output, clear and set for each input and, if wished, offline; an
/// error for more than 1024 rows.
int explainTable(const std::string& pairs, const std::string& output, bool withOffline);

#endif
