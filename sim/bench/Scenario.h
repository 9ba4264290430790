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

/// Something in a scenario that cannot be obeyed, or an expectation that was not met.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The words of one line, taken from the front by the command that obeys it.
class Words {
public:
    /// Splits a line at blanks; "..." is one word, in which \" \\ \n \r \t and \xNN stand for a byte. # starts a
    /// comment.
    /// @throws Failure for a quote without an end or an escape that is none
    explicit Words(const std::string& line);

    bool empty() const { return m_words.empty(); }
    /// The next word is this, unquoted; it is taken then.
    bool take(const char* word);
    /// The next word, whatever it is. @throws Failure "... is missing"
    std::string next(const char* what);
    long number(const char* what, long least, long most);
    /// 500ms, 2s, 1.5s, 2m or 1h.
    Milliseconds time(const char* what);
    /// "within TIME" or "for TIME" at the end, if it stands there.
    std::optional<Milliseconds> takeTime(const char* word);
    /// One of these words. @throws Failure naming them
    size_t oneOf(const char* what, const std::vector<const char*>& words);
    /// What is left, joined by blanks.
    std::string rest(const char* what);
    /// @throws Failure when words are left
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
