/// The named logger: base of most classes of the daemon, a thin layer over log4cpp.
#ifndef CWLOG_H
#define CWLOG_H

#include <atomic>

namespace log4cpp {
class Category;
}

/// A logger stands for the log4cpp category of its name; its priorities are log4cpp's.
/// Threads: one logger may be used by any number of threads at once; each call writes one whole line.
/// Lock:    one private mutex of the process, held while a line is formatted and written and while init configures.
///          It is the innermost lock: nothing of the daemon is called under it.
/// Texts:   printf formats. Line feeds with which a format begins or ends are dropped; its other control characters
/// stand
///          as they are. Those of the arguments, and broken UTF-8, are written as escapes ("\n", "\x1b"), their
///          backslashes doubled. A text is cut to 1023 bytes. A line whose priority is off is not formatted.
/// Errors:  none is reported and nothing throws; a line that an appender cannot write is lost.
class cWlog {
public:
    /// Numerically log4cpp's; the smaller, the more urgent.
    enum WlogPiority {
        EMERG = 0,
        FATAL = 0,
        ALERT = 100,
        CRIT = 200,
        ERROR = 300,
        WARN = 400,
        NOTICE = 500,
        INFO = 600,
        DEBUG = 700,
        NOTSET = 800
    };

    /// @param name  category; the pointer is kept, so the text must live as long as the logger. Null is the root
    /// category
    explicit cWlog(const char* name);

    /// Configures the logging of the whole process from the lines of @p file that begin with "log4cpp.", as log4cpp's
    /// property configurator understands them; other lines are not looked at. What an earlier call configured is gone.
    /// Where the file, its root category or an appender cannot be used, INFO and above (or the priority that the root
    /// category names) go to standard error, and one error line says why; the same trouble is not told twice in a row.
    /// May be called while other threads log.
    static void init(const char* file);
    /// Configures logging without a file: @p priority and more urgent go to standard error.
    static void init(WlogPiority priority);

    /// @return the log4cpp category called @p name (root for null or ""); owned by log4cpp
    log4cpp::Category& getLog(const char* name);
    /// Turns this logger to another category; not while another thread uses it. @p name is kept as the constructor's
    /// is.
    void setLogName(const char* name);
    /// @return whether debug() would write
    bool debugEnabled();
    /// @return whether a line of this priority would be written
    bool writes(WlogPiority priority) const;

    void debug(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void info(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void warn(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void error(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void fatal(const char* format, ...) __attribute__((format(printf, 2, 3)));

private:
    void write(WlogPiority priority, const char* format, __builtin_va_list arguments)
        __attribute__((format(printf, 3, 0)));

    static std::atomic<bool> mInitialised; ///< an init has run
    const char* mCatName;                  ///< as given; not a copy
    char mLogBuffer[1024];                 ///< the line being written; guarded by the process's logging mutex
    log4cpp::Category* mCategory;          ///< of mCatName; owned by log4cpp, lives as long as the process
};

#endif
