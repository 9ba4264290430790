// Makes untrusted text safe to show.
#ifndef SIM_WEB_TEXT_H
#define SIM_WEB_TEXT_H

#include <string>

namespace web {

/// Any thread. @return @p text as one line of valid UTF-8. Control characters and bytes that are not UTF-8 become \n or
/// \x1b; marks that reverse or hide text become <U+202E>. More than @p most bytes are cut, and the length is added
std::string shown(const std::string& text, size_t most = 1000);

} // namespace web

#endif
