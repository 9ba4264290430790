/// Makes what came from outside harmless for the log.
#ifndef VISIBLETEXT_H
#define VISIBLETEXT_H

#include <string>

/// Any thread. @param text  a formatted message   @param blanked  the same, formatted with blanks in place of the
/// control characters and backslashes of its format, so that these can be told from those of its arguments
/// @return @p text without the line feeds with which its format begins and ends. Its arguments' control characters (C0,
/// DEL, C1) and bytes that are not UTF-8 are written as "\n", "\r", "\t" or "\x1b", and their backslashes doubled, so
/// that no argument can look like an escape. Every other byte stands as it is
std::string visibleText(const char* text, const char* blanked);

#endif
