// What the checker has found, and how it says so.
#ifndef CHECK_REPORT_H
#define CHECK_REPORT_H

#include "Text.h"

#include <map>
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
    /// @param edits  of @p file, where there is but one remedy
    void error(const std::string& file, long line, const std::string& text, const std::vector<Edit>& edits = {});
    void warning(const std::string& file, long line, const std::string& text, const std::vector<Edit>& edits = {});

    /// FILE:LINE: error|warning: text, a line each.
    void print() const;
    void printJson() const;
    /// 0 nothing found, 1 warnings, 2 errors; with @p strict warnings are errors.
    int exitStatus(bool strict) const;

    /// The proposed changes by file.
    const std::map<std::string, std::vector<Edit>>& edits() const { return m_edits; }

private:
    std::vector<Finding> m_findings;
    std::map<std::string, std::vector<Edit>> m_edits;
};

#endif
