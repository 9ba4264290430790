// Lines of log that wait until a lock has been let go.
#ifndef LATERLOG_H
#define LATERLOG_H

#include "cWlog.h"

#include <cstdarg>
#include <string>
#include <vector>

/// Keeps the lines that the calling thread adds, and writes them when it ends: made before a lock is taken, it ends
/// after that lock. So a log that stands still holds up nobody who waits for the lock. One at a time for a thread.
class LaterLog {
public:
    /// @param log borrowed; gets the lines, in order
    explicit LaterLog(cWlog& log) : m_log(log) { s_current = this; }
    ~LaterLog();
    LaterLog(const LaterLog&) = delete;
    LaterLog& operator=(const LaterLog&) = delete;

    /// Writes a line to @p log, or keeps it for the calling thread's LaterLog. Cut to 1023 bytes, without the line
    /// feeds at its ends. @param priority DEBUG, INFO or WARN
    static void add(cWlog& log, cWlog::WlogPiority priority, const char* format, va_list arguments)
        __attribute__((format(printf, 3, 0)));

private:
    struct Line {
        cWlog::WlogPiority priority;
        std::string text;
    };
    static void write(cWlog& log, cWlog::WlogPiority priority, const char* text);

    static thread_local LaterLog* s_current;
    cWlog& m_log;
    std::vector<Line> m_lines;
};

#endif
