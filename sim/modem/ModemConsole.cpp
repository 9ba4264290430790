#include "modem/ModemConsole.h"

#include "modem/Equipment.h"

#include <algorithm>
#include <optional>

namespace {

using Words = std::vector<std::string>;

/// One command; surplus words belong to its last parameter.
struct Row {
    const char* name;
    std::size_t least; ///< words after the name
    std::size_t most;
    const char* usage;
    bool (*run)(ModemSim&, const Words&, std::string& shown);
};

std::optional<int> number(const std::string& text, int most)
{
    if (text.empty() || text.size() > 6 || text.find_first_not_of("0123456789") != std::string::npos ||
        std::stoi(text) > most) {
        return std::nullopt;
    }
    return std::stoi(text);
}

std::optional<bool> onOff(const std::string& word)
{
    return word == "on" ? std::optional<bool>(true) : word == "off" ? std::optional<bool>(false) : std::nullopt;
}

/// Applies a command whose one word is "on" or "off".
bool flip(ModemSim& modem, const std::string& word, void (ModemSim::*method)(bool))
{
    const auto value = onOff(word);
    if (value) {
        (modem.*method)(*value);
    }
    return value.has_value();
}

bool sms(ModemSim& modem, const Words& w, std::string& shown)
{
    const bool plain =
        std::all_of(w[1].begin(), w[1].end(), [](char c) { return static_cast<unsigned char>(c) < 128; });
    const int place = plain ? modem.sms(w[0], w[1]) : modem.smsUnicode(w[0], w[1]);
    shown = place == 0 ? "no free place: kept by the network\n" : "place " + std::to_string(place) + "\n";
    return true;
}

bool store(ModemSim& modem, const Words& w, std::string& /*shown*/)
{
    const auto place = number(w[0], 9999);
    const auto status = modemsim::statusOf(w[1]);
    return place && status && modem.store({*place, *status, w[2], w[3], modemsim::timeStampNow()});
}

bool list(ModemSim& modem, const Words& /*w*/, std::string& shown)
{
    for (const auto& message : modem.stored()) {
        shown += std::to_string(message.place) + " \"" + modemsim::statusWord(message.status) + "\" " + message.number +
                 " \"" + modemsim::visible(message.text) + "\"\n";
    }
    return true;
}

bool signal(ModemSim& modem, const Words& w, std::string& /*shown*/)
{
    const auto strength = number(w[0], 99);
    const auto errors = number(w[1], 99);
    if (strength && errors) {
        modem.setSignal(*strength, *errors);
    }
    return strength && errors;
}

bool help(ModemSim& modem, const Words& w, std::string& shown);

const Row kRows[] = {
    {"sms", 2, 2, "sms NUMBER TEXT", sms},
    {"ussd", 1, 1, "ussd TEXT", [](ModemSim& m, const Words& w, std::string&) { return m.ussd(w[0]), true; }},
    {"raw", 1, 1, "raw LINE", [](ModemSim& m, const Words& w, std::string&) { return m.sendLine(w[0]), true; }},
    {"silent", 1, 1, "silent on|off",
     [](ModemSim& m, const Words& w, std::string&) { return flip(m, w[0], &ModemSim::setSilent); }},
    {"echo", 1, 1, "echo on|off",
     [](ModemSim& m, const Words& w, std::string&) { return flip(m, w[0], &ModemSim::setEcho); }},
    {"power", 1, 1, "power on|off",
     [](ModemSim& m, const Words& w, std::string&) { return flip(m, w[0], &ModemSim::setPower); }},
    {"pulse", 0, 0, "pulse", [](ModemSim& m, const Words&, std::string&) { return m.pulsePower(), true; }},
    {"sim", 1, 1, "sim on|off",
     [](ModemSim& m, const Words& w, std::string&) { return flip(m, w[0], &ModemSim::setSimInserted); }},
    {"hangup", 0, 0, "hangup", [](ModemSim& m, const Words&, std::string&) { return m.hangUp(), true; }},
    {"plugin", 0, 0, "plugin", [](ModemSim& m, const Words&, std::string&) { return m.plugIn(), true; }},
    {"signal", 2, 2, "signal RSSI BER", signal},
    {"operator", 0, 1, "operator [NAME]",
     [](ModemSim& m, const Words& w, std::string&) { return m.setOperator(w.empty() ? "" : w[0]), true; }},
    {"fail", 2, 2, "fail PREFIX LINE",
     [](ModemSim& m, const Words& w, std::string&) { return m.react(w[0], ModemSim::Reaction::line(w[1])), true; }},
    {"store", 4, 4, "store PLACE STATUS NUMBER TEXT", store},
    {"list", 0, 0, "list", list},
    {"traffic", 0, 0, "traffic", [](ModemSim& m, const Words&, std::string& s) { return s = m.transcript(), true; }},
    {"help", 0, 0, "help", help},
    {"quit", 0, 0, "quit", nullptr},
};

bool help(ModemSim& /*modem*/, const Words& /*w*/, std::string& shown)
{
    for (const Row& row : kRows) {
        shown += std::string(row.usage) + "\n";
    }
    return true;
}

} // namespace

std::vector<std::string> ModemConsole::words(const std::string& line)
{
    Words list;
    bool inWord = false;
    bool quoted = false;
    for (std::size_t i = 0; i < line.size(); ++i) {
        char c = line[i];
        if (c == '"') {
            quoted = !quoted;
        } else if (c == '\\' && quoted && i + 1 < line.size()) {
            c = line[++i];
            c = c == 'n' ? '\n' : c == 'r' ? '\r' : c;
            list.back() += c;
            continue;
        } else if (!quoted && (c == ' ' || c == '\t')) {
            inWord = false;
            continue;
        }
        if (!inWord) {
            list.emplace_back();
            inWord = true;
        }
        if (c != '"') {
            list.back() += c;
        }
    }
    return list;
}

ModemConsole::Answer ModemConsole::run(const std::string& line)
{
    Words given = words(line);
    if (given.empty()) {
        return {true, false, ""};
    }
    const auto row = std::find_if(std::begin(kRows), std::end(kRows), [&](const Row& r) { return given[0] == r.name; });
    if (row == std::end(kRows)) {
        return {false, false, "unknown command \"" + modemsim::visible(given[0]) + "\"; help lists them\n"};
    }
    given.erase(given.begin());
    while (row->most > 0 && given.size() > row->most) { // the last parameter may hold blanks without quotes
        given[row->most - 1] += " " + given[row->most];
        given.erase(given.begin() + static_cast<std::ptrdiff_t>(row->most));
    }
    if (row->run == nullptr) {
        return {true, true, ""};
    }
    std::string shown;
    const bool fits = given.size() >= row->least && given.size() <= row->most;
    if (!fits || !row->run(m_modem, given, shown)) {
        return {false, false, std::string("usage: ") + row->usage + "\n"};
    }
    return {true, false, shown};
}
