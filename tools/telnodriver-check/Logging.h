// The lines of the properties file that configure the log.
#ifndef CHECK_LOGGING_H
#define CHECK_LOGGING_H

#include "Site.h"

#include <map>
#include <set>

/// Checks the lines one by one, and at the end all together. It gives warnings only: an error would refuse the daemon's
/// start, and no output may fail because of the log.
class Logging {
public:
    struct Line {
        long number;
        size_t offset, length; ///< in the file, without its end
        size_t valueOffset;
        std::string key, value; ///< the key without blanks
    };

    /// @param files   receives the paths of log files; borrowed
    /// @param report  borrowed
    Logging(std::string properties, std::vector<Place>& files, Report& report)
        : m_properties(std::move(properties)), m_files(files), m_report(report)
    {
    }

    void take(const Line& line);
    /// @param text  the file
    void finish(const std::string& text);

private:
    void checkType(const Line& line, const std::string& kind, const std::vector<std::string>& known,
                   const std::string& otherwise);
    void checkPriority(const Line& line);
    void checkFile(const Line& line);
    void warning(const Line& line, const std::string& text, const std::vector<Edit>& edits = {});

    std::string m_properties;
    std::vector<Place>& m_files;
    Report& m_report;
    std::map<std::string, Line> m_appenders;            ///< by name
    std::set<std::string> m_layouts, m_named;           ///< names of appenders with a layout, and with a file
    std::vector<std::pair<std::string, Line>> m_wanted; ///< appenders that a category names
};

#endif
