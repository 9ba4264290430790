// A file's text as it stands on the disk, and changes to it: what a parser has lost, and a patch needs.
#ifndef CHECK_TEXT_H
#define CHECK_TEXT_H

#include <cstddef>
#include <map>
#include <string>
#include <vector>

/// A change of a file: the @p length bytes at @p offset become @p text.
struct Edit {
    size_t offset, length;
    std::string text;
};

/// The whole content of the regular file @p path.
/// @return false with errno set when it cannot be read; a pipe or device is not read (EINVAL), nor more than 4 MiB
bool readText(const std::string& path, std::string& text);

/// An attribute of a start tag, as it stands in the file.
struct RawAttribute {
    std::string name, value; ///< the value without quotes; references and white space as written
    size_t offset;           ///< of the value
};

/// All attributes of an XML text by the line in which their start tag ends, as the parser counts. Empty for a text that
/// declares entities, whose tags may stand elsewhere.
std::multimap<long, RawAttribute> rawAttributes(const std::string& text);

#endif
