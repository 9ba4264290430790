// Rules as one HTML file, for a plant's documentation.
#ifndef CHECK_DOCUMENT_H
#define CHECK_DOCUMENT_H

#include "RuleStates.h"

#include <optional>
#include <string>
#include <vector>

/// A file that needs nothing beside it, neither network nor script: each of @p rules in words, as a picture and as a
/// truth table, for light and dark screens and for paper. It is well-formed XML, too.
/// @param heading  lines above it all, the first of which is its title
/// @param states  evaluates the tables; its inputs change
/// @return nothing where Graphviz failed, which is said on standard error
std::optional<std::string> document(const std::vector<std::string>& heading, const std::vector<RuleState>& rules,
                                    RuleStates& states, bool withStates, bool withOffline);

#endif
