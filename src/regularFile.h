/// Reads a configuration file into memory.
#ifndef REGULARFILE_H
#define REGULARFILE_H

#include <cstddef>
#include <string>

/// Reads all of the regular file @p path. A pipe, a device or a folder is refused, so that no read waits.
/// Any thread. @param most  bytes; a longer file is refused
/// @return false with the reason in @p trouble when the file was refused; @p content is unusable then
bool readRegularFile(const char* path, size_t most, std::string& content, std::string& trouble);

#endif
