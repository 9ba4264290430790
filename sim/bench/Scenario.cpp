#include "bench/Scenario.h"

#include <cctype>
#include <cmath>
#include <cstdlib>

namespace bench {

namespace {

// Decodes an escape. Moves @p at from the backslash to the escape's last character.
char escaped(const std::string& line, size_t& at)
{
    const char kind = ++at < line.size() ? line[at] : '\0';
    switch (kind) {
    case 'n':
        return '\n';
    case 'r':
        return '\r';
    case 't':
        return '\t';
    case '"':
    case '\\':
        return kind;
    case 'x':
        if (at + 2 < line.size() && isxdigit(static_cast<unsigned char>(line[at + 1])) != 0 &&
            isxdigit(static_cast<unsigned char>(line[at + 2])) != 0) {
            at += 2;
            return static_cast<char>(strtol(line.substr(at - 1, 2).c_str(), nullptr, 16));
        }
        break;
    default:
        break;
    }
    throw Failure("a backslash stands before n, r, t, \", \\ or xNN");
}

std::string quotedText(const std::string& line, size_t& at)
{
    std::string text;
    for (++at; at < line.size(); ++at) {
        if (line[at] == '"') {
            ++at;
            return text;
        }
        text += line[at] == '\\' ? escaped(line, at) : line[at];
    }
    throw Failure("a quoted text has no end");
}

} // namespace

Words::Words(const std::string& line)
{
    for (size_t at = 0; at < line.size();) {
        if (isspace(static_cast<unsigned char>(line[at])) != 0) {
            ++at;
        } else if (line[at] == '#') {
            return;
        } else if (line[at] == '"') {
            std::string text = quotedText(line, at);
            m_words.push_back({std::move(text), true});
        } else {
            const size_t start = at;
            while (at < line.size() && isspace(static_cast<unsigned char>(line[at])) == 0)
                ++at;
            m_words.push_back({line.substr(start, at - start), false});
        }
    }
}

bool Words::take(const char* word)
{
    if (empty() || m_words.front().quoted || m_words.front().text != word)
        return false;
    m_words.pop_front();
    return true;
}

std::string Words::next(const char* what)
{
    if (empty())
        throw Failure(std::string(what) + " is missing");
    std::string text = std::move(m_words.front().text);
    m_words.pop_front();
    return text;
}

long Words::number(const char* what, long least, long most)
{
    const std::string text = next(what);
    char* end = nullptr;
    const long value = strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || value < least || value > most)
        throw Failure(std::string(what) + " is a number from " + std::to_string(least) + " to " + std::to_string(most) +
                      ", not " + text);
    return value;
}

Milliseconds Words::time(const char* what)
{
    return parseTime(next(what));
}

std::optional<Milliseconds> Words::takeTime(const char* word)
{
    if (m_words.size() < 2 || m_words[m_words.size() - 2].quoted || m_words[m_words.size() - 2].text != word)
        return std::nullopt;
    const Milliseconds time = parseTime(m_words.back().text);
    m_words.pop_back();
    m_words.pop_back();
    return time;
}

size_t Words::oneOf(const char* what, const std::vector<const char*>& words)
{
    const std::string text = next(what);
    std::string list;
    for (size_t i = 0; i < words.size(); ++i) {
        if (text == words[i])
            return i;
        list += (i == 0 ? "" : i + 1 == words.size() ? " or " : ", ") + std::string(words[i]);
    }
    throw Failure(std::string(what) + " is " + list + ", not " + text);
}

std::string Words::rest(const char* what)
{
    std::string text = next(what);
    while (!empty())
        text += ' ' + next(what);
    return text;
}

void Words::end() const
{
    if (!empty())
        throw Failure("\"" + m_words.front().text + "\" is one word too many");
}

Milliseconds parseTime(const std::string& text)
{
    char* unit = nullptr;
    const double value = strtod(text.c_str(), &unit);
    const std::string name(unit);
    const double factor = name == "ms" ? 1 : name == "s" ? 1000 : name == "m" ? 60000 : name == "h" ? 3600000 : 0;
    if (unit == text.c_str() || factor == 0 || !(value >= 0) || value * factor > 1e12)
        throw Failure("a time is a number with ms, s, m or h, such as 1.5s, not " + text);
    return Milliseconds(std::lround(value * factor));
}

} // namespace bench
