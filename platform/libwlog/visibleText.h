/// Makes a text that came from outside harmless for a line of the log.
#ifndef VISIBLETEXT_H
#define VISIBLETEXT_H

#include <string>

/// Any thread. @return @p text without one trailing line feed, its control characters (C0, DEL, C1) and the bytes that
/// are not UTF-8 written as "\n", "\r", "\t" or "\x1b"; every other byte as it stands
std::string visibleText(const char* text);

#endif
