#include "cWlog.h"

#include "logSetup.h"
#include "visibleText.h"

#include <log4cpp/Appender.hh>
#include <log4cpp/Category.hh>
#include <log4cpp/HierarchyMaintainer.hh>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <mutex>
#include <new>
#include <string>
#include <vector>

static_assert(static_cast<int>(cWlog::ERROR) == static_cast<int>(log4cpp::Priority::ERROR) &&
                  static_cast<int>(cWlog::DEBUG) == static_cast<int>(log4cpp::Priority::DEBUG),
              "priorities are log4cpp's");

std::atomic<bool> cWlog::mInitialised{false};

namespace {

/// Guards every mLogBuffer and log4cpp's configuration. A thread holds it while it writes a line.
std::mutex gate;

/// Set at exit: log4cpp is being destroyed, and nothing is written any more. Guarded by gate.
bool closed = false;

using Categories = log4cpp::HierarchyMaintainer::CategoryMap;

/// The categories, kept out of log4cpp's destruction for threads that still ask for a priority.
Categories& saved()
{
    static auto* const categories = new Categories;
    return *categories;
}

/// Gives access to log4cpp's map of categories, which is protected.
struct Hierarchy : log4cpp::HierarchyMaintainer {
    static Categories& categories() { return getDefaultMaintainer().*(&Hierarchy::_categoryMap); }
};

/// Prepares log4cpp before main, while there is one thread, and for exit, when other threads are still running.
struct Lifetime {
    Lifetime()
    {
        using Initializer = log4cpp::Appender::AppenderMapStorageInitializer;
        alignas(Initializer) static unsigned char storage[sizeof(Initializer)];
        new (storage) Initializer; // never destroyed: the last one's destructor deletes all appenders
        log4cpp::Category::getRoot();
        saved();
        std::atexit([] {
            const std::lock_guard<std::mutex> lock(gate);
            closed = true;
            saved().swap(Hierarchy::categories());
        });
    }
} const lifetime;

/// Copies @p format with blanks for its control characters and backslashes. @return false if it does not fit
template <size_t size> bool blankStructure(const char* format, char (&copy)[size])
{
    size_t length = 0;
    for (; length < size - 1 && format[length] != '\0'; ++length) {
        const char character = format[length];
        const bool structure = static_cast<unsigned char>(character) < ' ' || character == '\\';
        copy[length] = structure ? ' ' : character;
    }
    copy[length] = '\0';
    return format[length] == '\0';
}

log4cpp::Category& category(const char* name)
{
    const std::string key = name != nullptr ? name : "";
    const std::lock_guard<std::mutex> lock(gate);
    if (!closed) {
        return log4cpp::Category::getInstance(key);
    }
    const auto known = saved().find(key);
    return known != saved().end() ? *known->second : *saved().begin()->second;
}

} // namespace

cWlog::cWlog(const char* name) : mCatName(name), mCategory(&category(name))
{
    mLogBuffer[0] = '\0';
}

void cWlog::init(const char* file)
{
    static std::vector<std::string> told; // guarded by gate
    std::vector<std::string> troubles;
    {
        const std::lock_guard<std::mutex> lock(gate);
        troubles = logSetup::fromFile(file);
        mInitialised = true;
        std::swap(told, troubles);
        if (told == troubles) {
            return;
        }
        troubles = told;
    }
    cWlog logger("cWlog");
    for (const std::string& trouble : troubles) {
        logger.error("%s", trouble.c_str());
    }
}

void cWlog::init(WlogPiority priority)
{
    const std::lock_guard<std::mutex> lock(gate);
    logSetup::toStandardError(priority);
    mInitialised = true;
}

log4cpp::Category& cWlog::getLog(const char* name)
{
    return category(name);
}

void cWlog::setLogName(const char* name)
{
    mCatName = name;
    mCategory = &category(name);
}

bool cWlog::debugEnabled()
{
    return writes(DEBUG);
}

bool cWlog::writes(WlogPiority priority) const
{
    return mCategory->getChainedPriority() >= priority;
}

void cWlog::write(WlogPiority priority, const char* format, va_list arguments)
{
    const std::lock_guard<std::mutex> lock(gate);
    if (closed) {
        return;
    }
    static char blankFormat[sizeof mLogBuffer]; // guarded by gate, like the next
    static char blanked[sizeof mLogBuffer];
    const char* const second = blankStructure(format, blankFormat) ? blankFormat : format;
    va_list again;
    va_copy(again, arguments);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral" // the second has the conversions of the first
    const bool formatted = std::vsnprintf(mLogBuffer, sizeof mLogBuffer, format, arguments) >= 0 &&
                           std::vsnprintf(blanked, sizeof blanked, second, again) >= 0;
#pragma GCC diagnostic pop
    va_end(again);
    if (!formatted) {
        return;
    }
    std::cout.clear(); // a full disk must not silence a console appender for ever
    std::cerr.clear();
    try {
        mCategory->log(priority,
                       // the overload that takes a finished text, not a format
                       visibleText(mLogBuffer, blanked));
    } catch (...) {
        return; // out of memory: the line is lost
    }
}

// A macro, because a function cannot start the variable argument list of its caller.
#define CWLOG_LINE(priority)                                                                                           \
    if (writes(priority)) {                                                                                            \
        va_list arguments;                                                                                             \
        va_start(arguments, format);                                                                                   \
        write(priority, format, arguments);                                                                            \
        va_end(arguments);                                                                                             \
    }

void cWlog::debug(const char* format, ...)
{
    CWLOG_LINE(DEBUG)
}

void cWlog::info(const char* format, ...)
{
    CWLOG_LINE(INFO)
}

void cWlog::warn(const char* format, ...)
{
    CWLOG_LINE(WARN)
}

void cWlog::error(const char* format, ...)
{
    CWLOG_LINE(ERROR)
}

void cWlog::fatal(const char* format, ...)
{
    CWLOG_LINE(FATAL)
}
