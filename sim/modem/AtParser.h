// Parses bytes into command lines and SMS texts, and lines into commands.
#pragma once

#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace modemsim {

constexpr char kCtrlZ = 26;
constexpr char kEscape = 27;
constexpr std::size_t kMostBacklog = 65536; ///< bytes in an InputReader, above which its owner stops reading

/// One unit of input: a command line, or a text from the "> " prompt.
struct Input {
    enum Kind { Line, TextLine, TextEnd } kind; ///< TextLine: a line of an unfinished SMS text
    std::string text; ///< TextLine: that line; TextEnd: the whole text, with line feeds between its lines
    char end;         ///< the byte that ended it
    bool tooLong;     ///< bytes were dropped
};

/// Splits the input as in ITU-T V.250 clause 5.2: a carriage return ends a command line, a backspace removes one
/// character, other control characters are ignored. At the prompt, Ctrl-Z or ESC ends the text. Longer input is cut.
/// Threads: the owner's lock guards it.
class InputReader {
public:
    void add(const std::string& bytes) { m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end()); }
    std::size_t backlog() const { return m_bytes.size(); } ///< bytes added and not yet parsed
    std::optional<Input> next();                           ///< no value: more bytes are needed
    void expectText();                                     ///< the next input is an SMS text
    void reset();                                          ///< drops everything, and expects a command line
    void setKeepsStrayText(bool keeps) { m_keepsStrayText = keeps; }

private:
    std::optional<Input> takeLineByte(char byte);
    std::optional<Input> takeTextByte(char byte);
    void append(char byte);
    Input finish(Input::Kind kind, char end);

    std::deque<char> m_bytes; // not yet parsed
    std::string m_text;
    bool m_tooLong = false;
    bool m_inText = false;
    bool m_keepsStrayText = false;
};

/// A parameter, without its quotes.
struct Parameter {
    std::string text;
    bool quoted = false;
};

/// One command of a line.
struct AtCall {
    enum Form { Plain, Read, Test, Set } form = Plain;
    std::string name; ///< in capitals, such as "+CMGF", "E", "&F"; a syntax error is kept whole, and matches no command
    std::vector<Parameter> parameters; ///< of a basic command: its number, if it has one

    std::string text(std::size_t i) const { return i < parameters.size() ? parameters[i].text : std::string(); }
    std::optional<int> number(std::size_t i) const; ///< no value: absent, quoted or not a decimal number
};

/// The position of the first command of a line, after "AT" or "at"; npos if it is not a command line.
std::size_t commandStart(const std::string& line);

/// The commands in a line after its "AT", joined as in V.250 clause 5.3: "E0V1", "+CMGF=1;+CSCS=\"GSM\"".
std::vector<AtCall> parseCommands(const std::string& body);

} // namespace modemsim
