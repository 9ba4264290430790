#include "Logging.h"

#include <algorithm>
#include <sstream>
#include <sys/stat.h>

namespace {

const std::string kRoot = "log4cpp.rootCategory", kCategory = "log4cpp.category.", kAppender = "log4cpp.appender.";
const std::vector<std::string> kPriorities = {"DEBUG", "INFO",  "WARN",  "ERROR",  "FATAL",
                                              "CRIT",  "ALERT", "EMERG", "NOTICE", "NOTSET"};
const std::vector<std::string> kTypes = {"ConsoleAppender",          "FileAppender",   "RollingFileAppender",
                                         "DailyRollingFileAppender", "SyslogAppender", "LocalSyslogAppender",
                                         "RemoteSyslogAppender",     "AbortAppender"};
const std::vector<std::string> kLayouts = {"BasicLayout", "PatternLayout", "SimpleLayout", "PassThroughLayout"};

bool begins(const std::string& text, const std::string& with)
{
    return text.rfind(with, 0) == 0;
}

bool isOne(const std::vector<std::string>& known, const std::string& word)
{
    return std::find(known.begin(), known.end(), word) != known.end();
}

std::string orLikely(const std::string& word, const std::vector<std::string>& known, const std::string& otherwise)
{
    const std::string meant = likely(word, known);
    return meant.empty() ? otherwise : meant + " may be meant";
}

// The only priority that differs from @p word in case or in one letter; empty if there is none, or more than one.
std::string oneLetterOff(const std::string& word)
{
    std::string found;
    for (const std::string& priority : kPriorities) {
        const size_t away = distance(word, priority);
        if (away == 0)
            return priority;
        if (away == 1) {
            if (!found.empty())
                return "";
            found = priority;
        }
    }
    return found;
}

} // namespace

void Logging::warning(const Line& line, const std::string& text, const std::vector<Edit>& edits)
{
    m_report.warning(m_properties, line.number, text, edits);
}

void Logging::take(const Line& line)
{
    if (line.key == kRoot || begins(line.key, kCategory)) {
        checkPriority(line);
        std::istringstream tokens(line.value);
        std::string token;
        std::getline(tokens, token, ',');
        while (std::getline(tokens, token, ','))
            m_wanted.emplace_back(trimmed(token), line);
        return;
    }
    if (!begins(line.key, kAppender))
        return;
    const std::string rest = line.key.substr(kAppender.size()), name = rest.substr(0, rest.find('.'));
    if (rest == name) {
        m_appenders.emplace(name, line);
        checkType(line, "appender", kTypes, "write ConsoleAppender or RollingFileAppender");
    } else if (rest == name + ".layout") {
        m_layouts.insert(name);
        checkType(line, "layout", kLayouts, "write BasicLayout or PatternLayout");
    } else if (rest == name + ".fileName") {
        m_named.insert(name);
        checkFile(line);
    }
}

void Logging::checkType(const Line& line, const std::string& kind, const std::vector<std::string>& known,
                        const std::string& otherwise)
{
    const std::string type = trimmed(line.value);
    if (!isOne(known, type))
        warning(line, "the " + kind + " type \"" + type +
                          "\" is unknown, so the log goes to standard error: " + orLikely(type, known, otherwise));
}

void Logging::checkPriority(const Line& line)
{
    const std::string word = line.value.substr(0, line.value.find(',')), priority = trimmed(word);
    const bool number = !priority.empty() && priority.find_first_not_of("0123456789") == std::string::npos;
    if (priority == "DEBUG" || priority == "NOTSET") {
        m_report.warning(m_properties, line.number,
                         "at " + priority +
                             " every step and every AT command is logged, including the PIN, and the card is slowed "
                             "down: write INFO once the card works");
    } else if (!isOne(kPriorities, priority) && !number) {
        const std::string meant = oneLetterOff(priority);
        const size_t blanks = std::min(word.find_first_not_of(" \t"), word.size());
        const Edit edit = {line.valueOffset + blanks, priority.size(), meant};
        warning(line,
                "the priority \"" + priority + "\" is unknown, so the log goes to standard error: " +
                    orLikely(priority, kPriorities, "write ERROR, WARN, INFO or DEBUG"),
                meant.empty() ? std::vector<Edit>() : std::vector<Edit>{edit});
    }
}

// A log file that others can read shows every AT command at debug, the PIN included.
void Logging::checkFile(const Line& line)
{
    const std::string path = trimmed(line.value);
    struct stat file {};
    m_files.push_back({path, line.number});
    if (stat(path.c_str(), &file) == 0 && S_ISREG(file.st_mode) && (file.st_mode & S_IROTH) != 0)
        m_report.warning(m_properties, line.number,
                         "others can read the log file " + path +
                             ", which holds SMS texts and, at DEBUG, the PIN: chmod o-r");
}

void Logging::finish(const std::string& text)
{
    std::vector<std::string> names;
    for (const auto& appender : m_appenders)
        names.push_back(appender.first);
    for (const auto& wanted : m_wanted) {
        if (m_appenders.count(wanted.first) == 0)
            warning(wanted.second, "the appender \"" + wanted.first +
                                       "\" is not defined, so the log goes to standard error: " +
                                       orLikely(wanted.first, names, "write a line " + kAppender + wanted.first + "="));
    }
    for (const auto& appender : m_appenders) {
        const std::string type = trimmed(appender.second.value), file = kAppender + appender.first + ".fileName=";
        if (isOne(kTypes, type) && type.find("FileAppender") != std::string::npos && m_named.count(appender.first) == 0)
            warning(appender.second, "the appender \"" + appender.first +
                                         "\" names no file, so it writes to a file called foobar: write " + file +
                                         "/var/lib/telnodriver/log");
        if (m_layouts.count(appender.first) != 0)
            continue;
        const Line& line = appender.second;
        const std::string added = kAppender + appender.first + ".layout=BasicLayout";
        // In a file with CR LF, another edit changes the line's end.
        const bool returns = text.compare(line.offset + line.length, 1, "\r") == 0;
        warning(line,
                "the appender \"" + appender.first + "\" has no layout, so the log goes to standard error: write " +
                    added,
                {{line.offset + line.length + (returns ? 1 : 0), 0, "\n" + added}});
    }
}
