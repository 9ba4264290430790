// The exact text of a file, which a parser drops and a patch needs, and edits of it.
#ifndef CHECK_TEXT_H
#define CHECK_TEXT_H

#include <cstddef>
#include <map>
#include <string>
#include <vector>

/// Replaces the @p length bytes at @p offset by @p text.
struct Edit {
    size_t offset, length;
    std::string text;
};

/// Reads the whole regular file @p path.
/// @return false with errno set on failure; EINVAL for a pipe or device, EFBIG for more than 4 MiB
bool readText(const std::string& path, std::string& text);

/// An attribute of a start tag, as written in the file.
struct RawAttribute {
    std::string name, value; ///< the value without quotes; references and white space as written
    size_t offset;           ///< of the value
};

/// All attributes of an XML text by the line in which their start tag ends, as the parser counts. Empty for a text that
/// declares entities, because these may contain tags.
std::multimap<long, RawAttribute> rawAttributes(const std::string& text);

#endif
