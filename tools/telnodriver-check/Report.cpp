#include "Report.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

void Report::error(const std::string& file, long line, const std::string& text, const std::vector<Edit>& edits)
{
    m_findings.push_back({file, line, Severity::Error, text});
    for (const Edit& edit : edits)
        m_edits[file].push_back(edit);
}

void Report::warning(const std::string& file, long line, const std::string& text, const std::vector<Edit>& edits)
{
    m_findings.push_back({file, line, Severity::Warning, text});
    for (const Edit& edit : edits)
        m_edits[file].push_back(edit);
}

namespace {

// Text from a file goes to a terminal: escapes its control characters, including NUL.
std::string printable(const std::string& text)
{
    std::string shown;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        char escaped[5] = {c, '\0'};
        if (byte < 0x20 || byte == 0x7f)
            snprintf(escaped, sizeof escaped, "\\x%02x", byte);
        shown += escaped;
    }
    return shown;
}

} // namespace

void Report::print() const
{
    for (const Finding& finding : m_findings) {
        const std::string place = finding.line > 0 ? ':' + std::to_string(finding.line) : "";
        printf("%s%s: %s: %s\n", printable(finding.file).c_str(), place.c_str(),
               finding.severity == Severity::Error ? "error" : "warning", printable(finding.text).c_str());
    }
}

void Report::printJson() const
{
    nlohmann::json all = nlohmann::json::array();
    for (const Finding& finding : m_findings)
        all.push_back({{"file", finding.file},
                       {"line", finding.line},
                       {"severity", finding.severity == Severity::Error ? "error" : "warning"},
                       {"text", finding.text}});
    printf("%s\n", all.dump(2, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
}

int Report::exitStatus(bool strict) const
{
    const bool errors = std::any_of(m_findings.begin(), m_findings.end(),
                                    [](const Finding& finding) { return finding.severity == Severity::Error; });
    return m_findings.empty() ? 0 : errors || strict ? 2 : 1;
}
