// Rules as one HTML file, for a plant's documentation.
#ifndef CHECK_DOCUMENT_H
#define CHECK_DOCUMENT_H

#include "RuleStates.h"

#include <optional>
#include <string>
#include <vector>

/// A self-contained file without scripts: each of @p rules in words, as a picture and as a truth table, for light and
/// dark screens and for paper. It is also well-formed XML.
/// @param heading  lines above it all, the first of which is its title
/// @param states  evaluates the tables; its inputs change
/// @return no value, with a line on standard error, if Graphviz failed
std::optional<std::string> document(const std::vector<std::string>& heading, const std::vector<RuleState>& rules,
                                    RuleStates& states, bool withStates, bool withOffline);

#endif
