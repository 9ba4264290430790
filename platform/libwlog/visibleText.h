/// Makes untrusted text harmless for the log.
#ifndef VISIBLETEXT_H
#define VISIBLETEXT_H

#include <string>

/// Escapes the control characters that a message has from its arguments, and keeps those of its format. Any thread.
/// @param text     the formatted message
/// @param blanked  the same message, formatted with blanks for the control characters and backslashes of its format:
///                 where the two differ, the byte is the format's. If they are equal, no byte is
/// @return @p text without the format's line feeds at either end. In arguments, control characters (C0, DEL, C1) and
///         bytes that are not UTF-8 become "\n", "\r", "\t" or "\x1b", and backslashes are doubled
std::string visibleText(const char* text, const char* blanked);

#endif
