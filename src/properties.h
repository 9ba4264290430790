/// The daemon's properties file: lines of "key=value".
#ifndef PROPERTIES_H
#define PROPERTIES_H

#include <cstddef>
#include <map>
#include <string>

/// Reads one properties file and answers from it. Nothing is trimmed, '#' begins a comment, the first line of a key
/// wins. Threads: one; the daemon uses it while it starts.
class cProperties {
public:
    static constexpr size_t kMaxBytes = 4U << 20; ///< of a file; a longer one is refused

    /// Reads @p file_name anew; what was read before is gone. Reading ends at the first line of more than 255 bytes.
    /// @return false when the file cannot be opened, or is a pipe, a device or a folder: a line on standard output says
    ///         so, and the old content stays
    bool load(const char* file_name);
    /// @return the value of @p key (not null), valid until the next load; @p defval itself when there is no such key
    const char* getString(const char* key, const char* defval);
    /// @return the value of @p key (not null) as atoi reads it; @p defval when there is no such key
    int getInt(const char* key, int defval);

private:
    std::map<std::string, std::string> mPropsMap;
};

#endif
