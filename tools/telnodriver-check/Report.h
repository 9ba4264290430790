// The checker's findings.
#ifndef CHECK_REPORT_H
#define CHECK_REPORT_H

#include "Text.h"

#include <map>
#include <string>
#include <vector>

enum class Severity { Warning, Error };

struct Finding {
    std::string file;
    long line; ///< 0 for the whole file
    Severity severity;
    std::string text; ///< what is wrong, and what to do
};

class Report {
public:
    /// @param edits  the remedy, if there is only one
    void error(const std::string& file, long line, const std::string& text, const std::vector<Edit>& edits = {});
    void warning(const std::string& file, long line, const std::string& text, const std::vector<Edit>& edits = {});

    /// A line for each finding: "FILE:LINE: error|warning: text".
    void print() const;
    void printJson() const;
    /// 0 without findings, 1 with warnings, 2 with errors. If @p strict, warnings count as errors.
    int exitStatus(bool strict) const;

    /// The proposed changes by file.
    const std::map<std::string, std::vector<Edit>>& edits() const { return m_edits; }

private:
    std::vector<Finding> m_findings;
    std::map<std::string, std::vector<Edit>> m_edits;
};

#endif
