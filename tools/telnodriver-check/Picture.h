// Pictures of rules.
#ifndef CHECK_PICTURE_H
#define CHECK_PICTURE_H

#include "Graphviz.h"
#include "RuleStates.h"

#include <optional>
#include <string>
#include <vector>

/// One drawing of each rule: inputs on the left, what they drive on the right, AND, OR and outputs by shape and colour.
/// @param withStates  with the state of every node, and the child that decided it
/// @return no value, with a line on standard error, if Graphviz failed
std::optional<std::vector<Drawing>> drawRules(const std::vector<RuleState>& rules, bool withStates);

/// A whole SVG file: the lines of @p heading, and the rules below each other, in the order of the file.
std::optional<std::string> picture(const std::vector<std::string>& heading, const std::vector<RuleState>& rules,
                                   bool withStates);

#endif
