// Helpers for reply lines, shared by the AT commands.
#ifndef REPLYTEXT_H
#define REPLYTEXT_H

#include <cstddef>
#include <cstdlib>
#include <cstring>

inline bool beginsWith(const char* text, const char* prefix)
{
    return strncmp(text, prefix, strlen(prefix)) == 0;
}

inline bool beginsWith(const unsigned char* line, const char* prefix)
{
    return beginsWith(reinterpret_cast<const char*>(line), prefix);
}

/// The rest of @p line, which begins with @p prefix.
inline const unsigned char* afterPrefix(const unsigned char* line, const char* prefix)
{
    return line + strlen(prefix);
}

/// Copies @p text into @p field, cut to its size and padded with NUL.
template <std::size_t Size> void keepLine(char (&field)[Size], const char* text)
{
    const std::size_t length = strnlen(text, Size - 1);
    memcpy(field, text, length);
    memset(field + length, 0, Size - length);
}

template <std::size_t Size> void keepLine(char (&field)[Size], const unsigned char* line)
{
    keepLine(field, reinterpret_cast<const char*>(line));
}

/// @p field as a decimal integer, after any spaces; @p absent if it has no digits.
inline long figure(const char* field, long absent)
{
    char* end = nullptr;
    const long value = std::strtol(field, &end, 10);
    return end == field ? absent : value;
}

#endif
