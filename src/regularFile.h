/// Reads a configuration file into memory.
#ifndef REGULARFILE_H
#define REGULARFILE_H

#include <cstddef>
#include <string>

/// Reads the whole regular file @p path. Pipes, devices and folders are refused, because reading them can block.
/// Any thread. @param most  limit in bytes; a longer file is refused
/// @return false if the file is refused; @p trouble then has the reason, and @p content is undefined
bool readRegularFile(const char* path, size_t most, std::string& content, std::string& trouble);

#endif
