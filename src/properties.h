/// The daemon's properties file: lines of "key=value".
#ifndef PROPERTIES_H
#define PROPERTIES_H

#include <cstddef>
#include <map>
#include <string>

/// The keys and values of one file. Nothing is trimmed, '#' begins a comment, the first line of a key wins.
/// Threads: one.
class cProperties {
public:
    static constexpr size_t kMaxBytes = 4U << 20; ///< of a file; a longer one is refused

    /// Replaces the content by that of @p file_name, up to the first line of more than 255 bytes.
    /// @return false, with a line on standard output and the old content, if the file cannot be opened or is a pipe, a
    ///         device or a folder
    bool load(const char* file_name);
    /// @return the value of @p key, valid until the next load; @p defval if there is none. @p key is not null
    const char* getString(const char* key, const char* defval);
    /// @return the value of @p key as atoi reads it; @p defval if there is none. @p key is not null
    int getInt(const char* key, int defval);

private:
    std::map<std::string, std::string> mPropsMap;
};

#endif
