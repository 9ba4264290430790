// From bytes to command lines and SMS texts, and from a line to its commands.
#pragma once

#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace modemsim {

constexpr char kCtrlZ = 26;
constexpr char kEscape = 27;
constexpr std::size_t kMostBacklog = 65536; ///< bytes that InputReader should hold; its owner stops reading then

/// One unit of input: a command line, or what was typed at the "> " prompt.
struct Input {
    enum Kind { Line, TextLine, TextEnd } kind; ///< TextLine: a line of an SMS text that goes on
    std::string text; ///< TextLine: that line; TextEnd: the whole text, lines parted by a line feed
    char end;         ///< the byte that ended it
    bool tooLong;     ///< bytes were dropped
};

/// Cuts the input as ITU-T V.250 clause 5.2 says: a carriage return ends a command line, control characters in it count
/// for nothing, a backspace takes one character back. At the prompt Ctrl-Z or ESC ends the text. Bounded: longer input
/// is cut. Threads: its owner's lock guards it.
class InputReader {
public:
    void add(const std::string& bytes) { m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end()); }
    std::size_t backlog() const { return m_bytes.size(); } ///< bytes added and not yet looked at
    std::optional<Input> next();                           ///< nothing: more bytes are needed
    void expectText();                                     ///< the next input is an SMS text
    void reset();                                          ///< forgets everything, expects a command line
    void setKeepsStrayText(bool keeps) { m_keepsStrayText = keeps; }

private:
    std::optional<Input> takeLineByte(char byte);
    std::optional<Input> takeTextByte(char byte);
    void append(char byte);
    Input finish(Input::Kind kind, char end);

    std::deque<char> m_bytes; // not yet looked at
    std::string m_text;
    bool m_tooLong = false;
    bool m_inText = false;
    bool m_keepsStrayText = false;
};

/// A parameter; quotes are taken off.
struct Parameter {
    std::string text;
    bool quoted = false;
};

/// One command of a line.
struct AtCall {
    enum Form { Plain, Read, Test, Set } form = Plain;
    std::string
        name; ///< capitals, such as "+CMGF", "E", "&F"; what cannot be read is kept whole and matches no command
    std::vector<Parameter> parameters; ///< of a basic command: its number, if it has one

    std::string text(std::size_t i) const { return i < parameters.size() ? parameters[i].text : std::string(); }
    std::optional<int> number(std::size_t i) const; ///< nothing: absent, quoted or not a decimal number
};

/// Where the commands of a line begin, after "AT" or "at"; npos: it is not a command line.
std::size_t commandStart(const std::string& line);

/// The commands of a line after its "AT", as V.250 clause 5.3 joins them: "E0V1", "+CMGF=1;+CSCS=\"GSM\"".
std::vector<AtCall> parseCommands(const std::string& body);

} // namespace modemsim
