// What the daemon would do, and why.
#ifndef CHECK_EXPLAIN_H
#define CHECK_EXPLAIN_H

#include <map>
#include <string>

/// Prints every connection of @p pairs as a tree, with the value of every node as the daemon's own evaluation finds it.
/// @param values  "set", "clear", "warn", "unknown" or "offline" by input label; other inputs are clear
/// @return exit status
int explain(const std::string& pairs, const std::map<std::string, std::string>& values);

/// The same, with the present values of the object server at @p host.
int explainLive(const std::string& pairs, const std::string& host);

/// Prints the truth table of the connections that drive @p output: each input clear, set and, @p withOffline, offline.
/// More than 1024 rows are an error.
int explainTable(const std::string& pairs, const std::string& output, bool withOffline);

#endif
