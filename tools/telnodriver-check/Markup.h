// Text from outside as text within markup.
#ifndef CHECK_MARKUP_H
#define CHECK_MARKUP_H

#include <string>

/// @p text for XML or HTML, between tags or in a double-quoted attribute. Control characters, marks that turn the
/// writing direction, and bytes that are not UTF-8 are written as \\n, \\t, \\u202e or \\xff.
std::string xmlText(const std::string& text);
/// The same for a double-quoted string of the DOT language that is a label.
std::string dotText(const std::string& text);

#endif
