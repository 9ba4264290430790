// Graphviz, as the program "dot".
#ifndef CHECK_GRAPHVIZ_H
#define CHECK_GRAPHVIZ_H

#include <optional>
#include <string>
#include <vector>

/// A drawn graph.
struct Drawing {
    double width, height; ///< in points
    std::string group;    ///< an SVG element "g" at the origin
};

/// Draws each of @p graphs, texts in the DOT language, in one run of dot, which is started without a shell.
/// @return one drawing for each; no value, with a line on standard error, on failure
std::optional<std::vector<Drawing>> draw(const std::vector<std::string>& graphs);

#endif
