// What the checker has found, and how it says so.
#ifndef CHECK_REPORT_H
#define CHECK_REPORT_H

#include <string>
#include <vector>

enum class Severity { Warning, Error };

struct Finding {
    std::string file;
    long line; ///< 0: the file as a whole
    Severity severity;
    std::string text; ///< what is wrong, and what to do
};

class Report {
public:
    void error(const std::string& file, long line, const std::string& text);
    void warning(const std::string& file, long line, const std::string& text);

    /// FILE:LINE: error|warning: text, a line each.
    void print() const;
    void printJson() const;
    /// 0 nothing found, 1 warnings, 2 errors; with @p strict warnings are errors.
    int exitStatus(bool strict) const;

private:
    std::vector<Finding> m_findings;
};

#endif
