// Log lines that are written after a lock has been released.
#ifndef LATERLOG_H
#define LATERLOG_H

#include "cWlog.h"
#include "libraryExtras.h"

#include <cstdarg>
#include <cstddef>
#include <string>

/// Keeps the lines that the calling thread adds, and writes them in its destructor. Declare it before the lock: then a
/// blocked log delays no thread that waits for the lock. At most one in each thread.
/// Memory: a few lines fit into the object; further ones are on the heap.
class LaterLog {
public:
    /// @param log borrowed; gets the lines, in order
    explicit LaterLog(cWlog& log) : m_log(log), m_mayTrace(libraryExtras::mayTrace(log)) { s_current = this; }
    ~LaterLog();
    LaterLog(const LaterLog&) = delete;
    LaterLog& operator=(const LaterLog&) = delete;

    /// Whether a debug line of @p log may be written. Asked once for the calling thread's LaterLog, not for each line.
    static bool mayTrace(const cWlog& log)
    {
        return s_current != nullptr ? s_current->m_mayTrace : libraryExtras::mayTrace(log);
    }

    /// Writes a line to @p log, or keeps it for the calling thread's LaterLog. Cut to 1023 bytes, without the line
    /// feeds at the ends of the format. @param priority DEBUG, INFO or WARN
    static void add(cWlog& log, cWlog::WlogPiority priority, const char* format, va_list arguments)
        __attribute__((format(printf, 3, 0)));

private:
    void keep(char priority, const char* text, size_t length);
    static void write(cWlog& log, char priority, const char* text);
    void writeAll(const char* lines, size_t length);

    static thread_local LaterLog* s_current;
    cWlog& m_log;
    const bool m_mayTrace;
    size_t m_used = 0;
    char m_first[256] = ""; // lines, each between a letter for its priority and a NUL
    std::string m_more;     // the lines that did not fit
};

#endif
