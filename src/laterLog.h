// Log lines that are written after a lock is released.
#ifndef LATERLOG_H
#define LATERLOG_H

#include "cWlog.h"

#include <cstdarg>
#include <string>
#include <vector>

/// Keeps the lines that the calling thread adds, and writes them when it is destroyed. Declare it before a lock, so
/// that it ends after the lock: a blocked log then delays nobody who waits for the lock. At most one for each thread.
class LaterLog {
public:
    /// @param log  borrowed; receives the lines, in order
    explicit LaterLog(cWlog& log) : m_log(log) { s_current = this; }
    ~LaterLog();
    LaterLog(const LaterLog&) = delete;
    LaterLog& operator=(const LaterLog&) = delete;

    /// Keeps a line for the calling thread's LaterLog; without one, writes it to @p log. The line is cut to 1023 bytes.
    /// Line feeds at its ends are dropped. @param priority  DEBUG, INFO or WARN
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
