// Texts from outside, made fit for a page.
#ifndef SIM_WEB_TEXT_H
#define SIM_WEB_TEXT_H

#include <string>

namespace web {

/// Any thread. @return valid UTF-8 on one line: control characters and bytes that are not UTF-8 are written as \n or
/// \x1b, marks that turn or hide text as <U+202E>; a text of more than @p most bytes is cut, and its length told
std::string shown(const std::string& text, size_t most = 1000);

} // namespace web

#endif
