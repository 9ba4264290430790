/// The lines of a properties file that configure the logging.
#ifndef LOGSETTINGS_H
#define LOGSETTINGS_H

#include <set>
#include <string>
#include <vector>

/// What a properties file says to log4cpp, and what is wrong with it as far as that can be told without log4cpp.
/// No thread but the one that reads it uses it.
class logSettings {
public:
    /// Reads the lines of @p file whose key begins with "log4cpp.": "key=value", blanks around both dropped, '#' begins
    /// a comment. What cannot be read is told by troubles().
    explicit logSettings(const std::string& file);

    /// @return "FILE[:LINE]: text" for each fault that was found; the lines at fault are left out
    const std::vector<std::string>& troubles() const { return mTroubles; }
    bool empty() const { return mLines.empty(); }
    bool has(const std::string& key) const;
    /// @return the names of the appenders that the file defines
    std::set<std::string> appenders() const;
    /// @return why a category cannot be configured: it names an appender that the file does not define; empty when none
    std::string undefinedAppender() const;
    /// @return why an appender's file cannot be opened without a wait: it is a pipe that nobody reads; empty when none
    /// is
    std::string unreadPipe() const;
    /// @return "FILE:LINE" of the line about the appender or category @p name, "FILE" when there is none
    std::string place(const std::string& name) const;
    /// @return the lines, for log4cpp
    std::string text() const;

private:
    struct Line {
        int number;
        std::string key;
        std::string value;
    };
    void take(int number, std::string line);

    std::string mFile;
    std::vector<Line> mLines;
    std::vector<std::string> mTroubles;
};

#endif
