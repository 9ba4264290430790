// A maker's logger: everything goes to standard output, and debugEnabled() does not know it.
#pragma once

namespace log4cpp {
class Category;
}

class cWlog {
public:
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

    explicit cWlog(const char* name) : mCatName(name) {}
    static void init(const char* file);
    bool debugEnabled() { return false; }
    void debug(const char* format, ...);
    void info(const char* format, ...);
    void warn(const char* format, ...);
    void error(const char* format, ...);
    void fatal(const char* format, ...);

private:
    const char* mCatName;
};
