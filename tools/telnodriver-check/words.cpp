// Helpers for words: trimming, and the likely meaning of an unknown one.
#include "Site.h"

#include <algorithm>
#include <cctype>

std::string trimmed(const std::string& text)
{
    const size_t first = text.find_first_not_of(" \t\r"), last = text.find_last_not_of(" \t\r");
    return first == std::string::npos ? "" : text.substr(first, last - first + 1);
}

size_t distance(const std::string& a, const std::string& b)
{
    std::vector<size_t> row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j)
        row[j] = j;
    for (size_t i = 1; i <= a.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const bool same =
                tolower(static_cast<unsigned char>(a[i - 1])) == tolower(static_cast<unsigned char>(b[j - 1]));
            const size_t replaced = diagonal + (same ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row[b.size()];
}

std::string likely(const std::string& word, const std::vector<std::string>& known)
{
    std::string best;
    size_t nearest = 3;
    for (const std::string& candidate : known) {
        const size_t away = distance(word, candidate);
        if (away < nearest) {
            nearest = away;
            best = candidate;
        }
    }
    return best;
}
