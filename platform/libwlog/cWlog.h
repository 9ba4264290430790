/// The named logger, a thin layer over log4cpp. Most classes of the daemon derive from it.
#ifndef CWLOG_H
#define CWLOG_H

#include <atomic>

namespace log4cpp {
class Category;
}

/// A logger writes to the log4cpp category of its name. The priorities are log4cpp's.
/// Threads: any number of threads may use one logger. Each call writes one whole line.
/// Lock:    one private mutex for the process, held while a line is written and while init configures. It is the
///          innermost lock: nothing that takes another is called under it.
/// Texts:   printf formats. A text is cut to 1023 bytes. A line whose priority is off is not formatted.
///          Line feeds at either end of a format are dropped. Other control characters of the format are written as
///          they are. Control characters and broken UTF-8 in arguments are written as escapes ("\n", "\x1b"), and
///          backslashes are doubled, so that no argument can forge a line. A format of 1024 bytes or more is treated
///          like an argument.
/// Errors:  none is reported and nothing throws. A line that an appender cannot write is lost.
class cWlog {
public:
    /// The values are log4cpp's: smaller is more urgent.
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

    /// @param name  category, null for the root. The pointer is kept: the text must outlive the logger
    explicit cWlog(const char* name);

    /// Configures logging for the whole process from the lines of @p file that begin with "log4cpp."; log4cpp's
    /// property configurator interprets them. It replaces any earlier configuration, and deletes its appenders. If the
    /// file or its root category cannot be used, or no appender is left, INFO and above (or the root category's
    /// priority) go to standard error. An error line says what is wrong, with file and line, unless the last call found
    /// the same. Other threads may log meanwhile.
    static void init(const char* file);
    /// Configures logging without a file: lines of @p priority and above go to standard error.
    static void init(WlogPiority priority);

    /// @return the log4cpp category called @p name, the root for null or "". log4cpp owns it
    log4cpp::Category& getLog(const char* name);
    /// Selects another category. No other thread may be using the logger. As in the constructor, @p name must outlive
    /// the logger.
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

    static std::atomic<bool> mInitialised; ///< init has run
    const char* mCatName;                  ///< not a copy
    char mLogBuffer[1024];                 ///< the line being written; guarded by the logging mutex
    log4cpp::Category* mCategory;          ///< of mCatName; log4cpp owns it and keeps it as long as the process lives
};

#endif
