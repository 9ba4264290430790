/// The lines of a properties file that configure logging.
#ifndef LOGSETTINGS_H
#define LOGSETTINGS_H

#include <set>
#include <string>
#include <vector>

/// The settings for log4cpp in a properties file, and the mistakes in them that can be found without log4cpp.
/// Not shared between threads.
class logSettings {
public:
    /// Reads the lines "key=value" of @p file whose key begins with "log4cpp.". Blanks around key and value are
    /// dropped; '#' begins a comment. Check troubles() afterwards.
    explicit logSettings(const std::string& file);

    /// @return "FILE[:LINE]: text" for each mistake. The lines with mistakes are skipped
    const std::vector<std::string>& troubles() const { return mTroubles; }
    bool empty() const { return mLines.empty(); }
    bool has(const std::string& key) const;
    /// @return the names of all appenders that the file defines
    std::set<std::string> appenders() const;
    /// @return the mistake of a category that names an undefined appender; empty when there is none
    std::string undefinedAppender() const;
    /// @return the mistake of an appender whose file is a FIFO without a reader, so that opening it would block; empty
    /// when there is none
    std::string unreadPipe() const;
    /// @return "FILE:LINE" of the line that sets the appender or category @p name; "FILE" when there is none
    std::string place(const std::string& name) const;
    /// @return all lines, as input for log4cpp
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
