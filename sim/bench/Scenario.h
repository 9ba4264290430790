// The scenario language's lines: words, quoted texts, times.
#ifndef SIM_BENCH_SCENARIO_H
#define SIM_BENCH_SCENARIO_H

#include <chrono>
#include <deque>
#include <istream>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace bench {

using Milliseconds = std::chrono::milliseconds;

/// A line of a scenario that cannot be run, or an expectation that was not met.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The words of one line. The command takes them from the front.
class Words {
public:
    /// Splits a line at blanks; "..." is one word, in which \" \\ \n \r \t and \xNN stand for a byte. # starts a
    /// comment.
    /// @throws Failure for a quote without an end, or for an unknown escape
    explicit Words(const std::string& line);

    bool empty() const { return m_words.empty(); }
    /// Takes the next word if it is @p word, unquoted. @return whether it was
    bool take(const char* word);
    /// Takes the next word. @throws Failure "... is missing"
    std::string next(const char* what);
    long number(const char* what, long least, long most);
    /// 500ms, 2s, 1.5s, 2m or 1h.
    Milliseconds time(const char* what);
    /// Takes "within TIME" or "for TIME" from the end, if it is there.
    std::optional<Milliseconds> takeTime(const char* word);
    /// Takes one of these words. @return its index. @throws Failure that lists them
    size_t oneOf(const char* what, const std::vector<const char*>& words);
    /// Takes the remaining words, joined by blanks.
    std::string rest(const char* what);
    /// @throws Failure if words are left
    void end() const;

private:
    struct Word {
        std::string text;
        bool quoted;
    };
    std::deque<Word> m_words;
};

/// "500ms", "2s", "1.5s", "2m", "1h". @throws Failure
Milliseconds parseTime(const std::string& text);

} // namespace bench

#endif
