#include "record/Record.h"

#include "visibleText.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>
#include <stdexcept>

using Json = nlohmann::ordered_json;

namespace record {

std::string escaped(const std::string& bytes)
{
    std::string text;
    for (size_t begin = 0; begin <= bytes.size();) {
        const std::string part = bytes.c_str() + begin; // up to a NUL
        text += visibleText(part.c_str(), part.c_str());
        begin += part.size() + 1;
        if (begin <= bytes.size())
            text += "\\x00";
    }
    return text;
}

namespace {

constexpr int kVersion = 1;
const std::array<const char*, 5> kDrivers = {"unknown", "none", "website", "ccd", "iodriver"};

// A line whose key is its kind. It has a text and, for an SMS, a number.
struct TextKind {
    Change::Kind kind;
    const char* key;
    bool hasNumber;
};
const std::array<TextKind, 5> kTextKinds = {{{Change::SmsIn, "sms_in", true},
                                             {Change::SmsOut, "sms_out", true},
                                             {Change::Log, "log", false},
                                             {Change::ToModem, "to_modem", false},
                                             {Change::FromModem, "from_modem", false}}};

struct Wrong : std::runtime_error {
    using std::runtime_error::runtime_error;
};

int digit(char c)
{
    return c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

std::string unescaped(const std::string& text)
{
    static const std::map<char, char> shorts = {{'\\', '\\'}, {'n', '\n'}, {'r', '\r'}, {'t', '\t'}};
    std::string bytes;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            bytes += text[i];
            continue;
        }
        const char kind = i + 1 < text.size() ? text[++i] : '\0';
        if (const auto found = shorts.find(kind); found != shorts.end()) {
            bytes += found->second;
        } else if (kind == 'x' && i + 2 < text.size() && digit(text[i + 1]) >= 0 && digit(text[i + 2]) >= 0) {
            bytes += static_cast<char>(digit(text[i + 1]) * 16 + digit(text[i + 2]));
            i += 2;
        } else {
            throw Wrong("a backslash in a text is \\\\, \\n, \\r, \\t or \\x and two of 0-9a-f");
        }
    }
    return bytes;
}

const Json& field(const Json& object, const char* key)
{
    const auto found = object.find(key);
    if (found == object.end())
        throw Wrong(std::string("it has no \"") + key + '"');
    return *found;
}

std::string textField(const Json& object, const char* key)
{
    const Json& value = field(object, key);
    if (!value.is_string())
        throw Wrong(std::string("\"") + key + "\" is no text");
    return unescaped(value.get<std::string>());
}

uint64_t numberField(const Json& object, const char* key, uint64_t most)
{
    const Json& value = field(object, key);
    if (!value.is_number_unsigned() || value.get<uint64_t>() > most)
        throw Wrong(std::string("\"") + key + "\" is no number from 0 to " + std::to_string(most));
    return value.get<uint64_t>();
}

uint32_t wordField(const Json& object, const char* key, bool (*parse)(const std::string&, uint32_t&))
{
    uint32_t value = 0;
    const std::string word = textField(object, key);
    if (!parse(word, value))
        throw Wrong(std::string("\"") + key + "\" is \"" + escaped(word.substr(0, 40)) + "\", which is no state");
    return value;
}

bool parseDriver(const std::string& word, uint32_t& driver)
{
    driver = static_cast<uint32_t>(std::find(kDrivers.begin(), kDrivers.end(), word) - kDrivers.begin());
    return driver < kDrivers.size();
}

const char* wordOf(const sim::Port& port)
{
    return port.output ? sim::stateWord(port.state) : sim::statusWord(port.status);
}

void putPort(Json& line, const sim::Port& port)
{
    line["port"] = port.output ? "output" : "input";
    line["label"] = escaped(port.label);
    line["serial"] = port.serial;
    line["id"] = port.id;
    line["type"] = port.type;
    if (port.output)
        line["default"] = sim::stateWord(port.defaultState);
}

void takePort(const Json& line, sim::Port& port)
{
    const std::string kind = textField(line, "port");
    if (kind != "input" && kind != "output")
        throw Wrong("\"port\" is neither input nor output");
    port.output = kind == "output";
    port.label = textField(line, "label");
    port.serial = static_cast<uint32_t>(numberField(line, "serial", UINT32_MAX));
    port.id = static_cast<uint32_t>(numberField(line, "id", UINT32_MAX));
    port.type = static_cast<uint32_t>(numberField(line, "type", UINT32_MAX));
    if (port.output)
        port.defaultState = wordField(line, "default", sim::parseState);
}

void putState(Json& line, const sim::Port& port)
{
    line[port.output ? "state" : "status"] = wordOf(port);
    if (port.output)
        line["by"] = kDrivers.at(port.toggled);
}

void takeState(const Json& line, sim::Port& port)
{
    if (port.output) {
        port.state = wordField(line, "state", sim::parseState);
        port.toggled = wordField(line, "by", parseDriver);
    } else {
        port.status = wordField(line, "status", sim::parseStatus);
    }
}

bool takeText(const Json& line, Change& change)
{
    for (const TextKind& text : kTextKinds) {
        if (!line.contains(text.key))
            continue;
        change.kind = text.kind;
        if (text.hasNumber)
            change.who = textField(line, text.key);
        change.text = textField(line, text.hasNumber ? "text" : text.key);
        return true;
    }
    return false;
}

void takeBegin(const Json& line, Change& change)
{
    change.kind = Change::Begin;
    if (numberField(line, "record", UINT32_MAX) != kVersion)
        throw Wrong("it is a record of another version");
    change.text = textField(line, "of");
}

Change changeOf(const std::string& text)
{
    const Json line = Json::parse(text, nullptr, false);
    if (!line.is_object())
        throw Wrong("it is no JSON object");
    Change change;
    change.time = static_cast<int64_t>(numberField(line, "time", INT64_MAX));
    if (line.contains("record")) {
        takeBegin(line, change);
    } else if (line.contains("end")) {
        change.kind = Change::End;
        change.lines = numberField(line, "end", UINT64_MAX);
    } else if (line.contains("port")) {
        change.kind = Change::Port;
        takePort(line, change.port);
        takeState(line, change.port);
    } else if (line.contains("input") || line.contains("output")) {
        change.port.output = line.contains("output");
        change.kind = change.port.output ? Change::Output : Change::Input;
        change.port.label = textField(line, change.port.output ? "output" : "input");
        takeState(line, change.port);
    } else if (!takeText(line, change)) {
        throw Wrong("it tells no change that is known");
    }
    return change;
}

} // namespace

std::string lineOf(const Change& change)
{
    Json line = {{"time", change.time}};
    switch (change.kind) {
    case Change::Begin:
        line["record"] = kVersion;
        line["of"] = escaped(change.text);
        break;
    case Change::Port:
        putPort(line, change.port);
        putState(line, change.port);
        break;
    case Change::Input:
    case Change::Output:
        line[change.kind == Change::Output ? "output" : "input"] = escaped(change.port.label);
        putState(line, change.port);
        break;
    case Change::End:
        line["end"] = change.lines;
        break;
    default:
        for (const TextKind& text : kTextKinds) {
            if (text.kind == change.kind)
                line[text.key] = escaped(text.hasNumber ? change.who : change.text);
            if (text.kind == change.kind && text.hasNumber)
                line["text"] = escaped(change.text);
        }
    }
    return line.dump();
}

Reader::Reader(const std::string& file) : m_file(file), m_stream(file, std::ios::binary), m_buffer(kMostBytes)
{
    if (!m_stream)
        m_error = file + ": " + strerror(errno);
}

bool Reader::fail(const std::string& what)
{
    m_error = m_file + ':' + std::to_string(m_line) + ": " + what;
    return false;
}

bool Reader::readLine(std::string& line)
{
    m_stream.getline(m_buffer.data(), static_cast<std::streamsize>(m_buffer.size()));
    const auto taken = static_cast<size_t>(m_stream.gcount());
    if (m_stream.bad()) {
        m_error = m_file + ": it cannot be read";
        return false;
    }
    if (m_stream.eof() && taken == 0) {
        if (m_line == 0)
            m_error = m_file + ": it is empty";
        return false;
    }
    ++m_line;
    if (m_stream.eof())
        return fail(
            "the line is cut off: recording was broken off in it. Without this line the record can be replayed");
    if (m_stream.fail())
        return fail("the line has more than " + std::to_string(kMostBytes - 2) + " bytes");
    line.assign(m_buffer.data(), taken - 1);
    return true;
}

bool Reader::next(Change& change)
{
    std::string line;
    if (!m_error.empty() || !readLine(line))
        return false;
    try {
        change = changeOf(line);
    } catch (const Wrong& wrong) {
        return fail((m_line == 1 ? "not a record: " : "") + std::string(wrong.what()));
    }
    const std::string wrong = place(change);
    return wrong.empty() || fail(wrong);
}

// What is wrong with a change in this position.
std::string Reader::place(const Change& change)
{
    if ((change.kind == Change::Begin) != (m_line == 1))
        return m_line == 1 ? "not a record: its first line is {\"time\":0,\"record\":1,...}"
                           : "the record begins again";
    if (m_ended)
        return "it stands behind the record's end";
    if (change.time < m_time)
        return "its time lies before that of the line above";
    m_time = change.time;
    m_ended = change.kind == Change::End;
    if (m_ended && change.lines != m_line - 1)
        return "the end tells of " + std::to_string(change.lines) + " lines before it, and there are " +
               std::to_string(m_line - 1);
    const bool ofPort = change.kind == Change::Port || change.kind == Change::Input || change.kind == Change::Output;
    return ofPort ? placePort(change) : "";
}

std::string Reader::placePort(const Change& change)
{
    const sim::Port& port = change.port;
    const std::string name = (port.output ? "output " : "input ") + escaped(port.label.substr(0, 100));
    const auto known = m_ports.find({port.output, port.label});
    if (change.kind != Change::Port)
        return known != m_ports.end() ? "" : name + " is not among the ports above";
    if (known != m_ports.end())
        return name + " was told of at line " + std::to_string(known->second) + " already";
    if (m_ports.size() == kMostPorts)
        return "there are more than " + std::to_string(kMostPorts) + " ports";
    m_ports[{port.output, port.label}] = m_line;
    return "";
}

} // namespace record
