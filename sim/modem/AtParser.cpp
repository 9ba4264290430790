#include "modem/AtParser.h"

#include <algorithm>
#include <cctype>

namespace modemsim {

namespace {

constexpr std::size_t kLongestInput = 2048; // bytes of one line or text
constexpr char kBackspace = 8;

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}
char capital(char c)
{
    return static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
}

/// The end of the parameters that begin at @p from: the next semicolon outside quotes.
std::size_t parametersEnd(const std::string& body, std::size_t from)
{
    bool quoted = false;
    while (from < body.size() && (quoted || body[from] != ';')) {
        quoted ^= body[from] == '"';
        ++from;
    }
    return from;
}

std::vector<Parameter> splitParameters(const std::string& text)
{
    std::vector<Parameter> list(1);
    bool quoted = false;
    for (const char c : text) {
        if (c == '"') {
            quoted = !quoted;
            list.back().quoted = true;
        } else if (c == ',' && !quoted) {
            list.emplace_back();
        } else if (c != ' ' || quoted) {
            list.back().text += c;
        }
    }
    return list;
}

/// A command such as "+CMGF=1", ended by a semicolon or the end of the line.
AtCall takeExtended(const std::string& body, std::size_t& at)
{
    AtCall call;
    call.name = body[at++];
    while (at < body.size() && std::isalnum(static_cast<unsigned char>(body[at])) != 0) {
        call.name += capital(body[at++]);
    }
    const std::size_t end = parametersEnd(body, at);
    const std::string rest = body.substr(at, end - at);
    if (rest == "?") {
        call.form = AtCall::Read;
    } else if (rest == "=?") {
        call.form = AtCall::Test;
    } else if (!rest.empty() && rest[0] == '=') {
        call.form = AtCall::Set;
        call.parameters = splitParameters(rest.substr(1));
    } else if (rest.find_first_not_of(' ') != std::string::npos) {
        call.name += rest;
    }
    at = end;
    return call;
}

/// A command such as "E0" or "&F"; another may follow it directly.
AtCall takeBasic(const std::string& body, std::size_t& at)
{
    AtCall call;
    if (body[at] == '&') {
        call.name = body[at++];
    }
    if (at < body.size()) {
        call.name += capital(body[at++]);
    }
    std::string digits;
    while (at < body.size() && isDigit(body[at])) {
        digits += body[at++];
    }
    if (!digits.empty()) {
        call.parameters.push_back({digits, false});
    }
    return call;
}

} // namespace

std::optional<Input> InputReader::next()
{
    while (!m_bytes.empty()) {
        const char byte = m_bytes.front();
        m_bytes.pop_front();
        if (auto input = m_inText ? takeTextByte(byte) : takeLineByte(byte)) {
            return input;
        }
    }
    return std::nullopt;
}

void InputReader::expectText()
{
    m_inText = true;
}

void InputReader::reset()
{
    m_bytes.clear();
    m_text.clear();
    m_tooLong = false;
    m_inText = false;
}

std::optional<Input> InputReader::takeLineByte(char byte)
{
    if (byte == '\r') {
        return finish(Input::Line, byte);
    }
    if ((byte == kCtrlZ || byte == kEscape) && !m_keepsStrayText) {
        m_text.clear();
        m_tooLong = false;
    } else if (byte == kBackspace && !m_text.empty()) {
        m_text.pop_back();
    } else if (static_cast<unsigned char>(byte) >= ' ') {
        append(byte);
    }
    return std::nullopt;
}

std::optional<Input> InputReader::takeTextByte(char byte)
{
    if (byte == kCtrlZ || byte == kEscape) {
        m_inText = false;
        return finish(Input::TextEnd, byte);
    }
    if (byte == '\r') {
        const Input line{Input::TextLine, m_text.substr(m_text.rfind('\n') + 1), byte, false};
        append('\n');
        return line;
    }
    if (byte == kBackspace) {
        if (!m_text.empty()) {
            m_text.pop_back();
        }
    } else {
        append(byte);
    }
    return std::nullopt;
}

void InputReader::append(char byte)
{
    if (m_text.size() < kLongestInput) {
        m_text += byte;
    } else {
        m_tooLong = true;
    }
}

Input InputReader::finish(Input::Kind kind, char end)
{
    Input input{kind, std::move(m_text), end, m_tooLong};
    m_text.clear();
    m_tooLong = false;
    return input;
}

std::optional<int> AtCall::number(std::size_t i) const
{
    constexpr std::size_t kMostDigits = 9;
    if (i >= parameters.size() || parameters[i].quoted || parameters[i].text.empty() ||
        parameters[i].text.size() > kMostDigits ||
        !std::all_of(parameters[i].text.begin(), parameters[i].text.end(), isDigit)) {
        return std::nullopt;
    }
    return std::stoi(parameters[i].text);
}

std::size_t commandStart(const std::string& line)
{
    const std::size_t start = std::min(line.find("AT"), line.find("at"));
    return start == std::string::npos ? start : start + 2;
}

std::vector<AtCall> parseCommands(const std::string& body)
{
    std::vector<AtCall> calls;
    for (std::size_t at = 0; at < body.size();) {
        if (body[at] == ' ' || body[at] == ';') {
            ++at;
        } else if (body[at] == '+') {
            calls.push_back(takeExtended(body, at));
        } else {
            calls.push_back(takeBasic(body, at));
        }
    }
    return calls;
}

} // namespace modemsim
