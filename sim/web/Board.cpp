#include "web/Board.h"

#include "web/Text.h"

#include <array>

using nlohmann::json;

namespace web {

namespace {

constexpr int64_t kInputMemory = 10000; // ms for which a change of an input may be the cause of an output's
constexpr int64_t kSmsMemory = 180000;  // the same for an SMS, which the daemon reads later

const char* kindWord(Happening::Kind kind)
{
    static const std::array<const char*, 11> words = {"port", "sms-in", "sms-out", "to-modem", "from-modem", "power",
                                                      "log",  "print",  "fault",   "note",     "done"};
    return words.at(kind);
}

bool isLine(Happening::Kind kind)
{
    return kind == Happening::ToModem || kind == Happening::FromModem || kind == Happening::Log ||
           kind == Happening::Print;
}

const char* driverWord(uint32_t toggled)
{
    static const std::array<const char*, 5> words = {"unknown", "nobody", "web site", "central station", "I/O driver"};
    return toggled < words.size() ? words[toggled] : "?";
}

void keep(std::deque<json>& events, size_t most, const json& event)
{
    events.push_back(event);
    if (events.size() > most)
        events.pop_front();
}

} // namespace

json Board::portState(const sim::Port& port) const
{
    json state = {{"label", shown(port.label, 100)}, {"output", port.output}};
    if (port.output) {
        state["value"] = sim::stateWord(port.state);
        state["default"] = sim::stateWord(port.defaultState);
        state["by"] = driverWord(port.toggled);
        if (const auto cause = m_causes.find(port.label); cause != m_causes.end())
            state["cause"] = cause->second;
    } else {
        state["value"] = sim::statusWord(port.status);
    }
    return state;
}

json Board::ports() const
{
    json all = json::array();
    for (const Key& key : m_order)
        all.push_back(portState(m_ports.at(key)));
    return all;
}

void Board::setPorts(const std::vector<sim::Port>& ports)
{
    m_ports.clear();
    m_order.clear();
    m_causes.clear();
    for (const sim::Port& port : ports) {
        const Key key(port.output, port.label);
        if (m_ports.emplace(key, port).second)
            m_order.push_back(key);
        if (!port.output && m_rules)
            m_dirtyRules.merge(std::set<size_t>(m_rules->setInput(port.label, port.status)));
    }
    m_dirtyParts.insert("ports");
}

void Board::setRules(const std::string& pairFile)
{
    m_rules = std::make_unique<Rules>(pairFile);
    m_dirtyRules.clear();
    for (const auto& port : m_ports) {
        if (!port.first.first)
            m_rules->setInput(port.first.second, port.second.status);
    }
    for (size_t i = 0; i < m_rules->size(); ++i)
        m_dirtyRules.insert(i);
    set("rules", m_rules->trees());
}

void Board::set(const std::string& part, json value)
{
    json& held = m_parts[part];
    if (held == value)
        return;
    held = std::move(value);
    m_dirtyParts.insert(part);
}

json Board::apply(const Happening& happening)
{
    json event;
    if (happening.kind == Happening::Port) {
        event = portEvent(happening);
        if (event.is_null())
            return event;
    } else {
        event = {{"kind", kindWord(happening.kind)}, {"text", shown(happening.text)}};
        if (!happening.who.empty())
            event["who"] = shown(happening.who, 40);
        if (happening.kind == Happening::SmsIn)
            m_lastSms = happening;
    }
    event["time"] = happening.time;
    if (isLine(happening.kind))
        keep(m_lines, kLines, event);
    else
        keep(m_events, kEvents, event);
    return event;
}

json Board::portEvent(const Happening& happening)
{
    const sim::Port& now = happening.port;
    const Key key(now.output, now.label);
    const auto known = m_ports.find(key);
    if (known == m_ports.end())
        return {};
    const sim::Port before = known->second;
    known->second = now;
    if (now.output ? before.state == now.state && before.toggled == now.toggled : before.status == now.status)
        return {};
    if (now.output)
        m_causes[now.label] = causeOf(now, happening.time);
    json event = portState(now);
    event["kind"] = now.output ? "output" : "input";
    event.erase("output");
    if (now.output)
        return event;
    m_changed[now.label] = happening.time;
    if (m_rules)
        m_dirtyRules.merge(std::set<size_t>(m_rules->setInput(now.label, now.status)));
    return event;
}

// The cause of an output's change: who drove it; for the daemon, also the latest change of an input in a rule of the
// output, or the latest SMS.
json Board::causeOf(const sim::Port& output, int64_t time)
{
    if (output.toggled != 4)
        return {{"text", output.toggled == 1 ? "a client that gave no name" : driverWord(output.toggled)}};
    json cause = {{"text", "the daemon evaluated its rules anew"}};
    int64_t latest = time - kInputMemory;
    for (const size_t rule : m_rules ? m_rules->driving(output.label) : std::vector<size_t>()) {
        for (const auto& changed : m_changed) {
            const auto input = m_ports.find(Key(false, changed.first));
            if (changed.second < latest || input == m_ports.end() || !m_rules->looksAt(rule, changed.first) ||
                !m_rules->hasState(rule))
                continue;
            latest = changed.second;
            cause = {{"text", shown(changed.first, 100) + " became " + sim::statusWord(input->second.status)},
                     {"rule", rule}};
        }
    }
    if (m_lastSms.time > (cause.contains("rule") ? latest : time - kSmsMemory))
        cause = {{"text", "SMS from " + shown(m_lastSms.who, 40) + ": " + shown(m_lastSms.text, 80)}};
    return cause;
}

json Board::changes()
{
    json changed = json::object();
    for (const std::string& part : m_dirtyParts)
        changed["parts"][part] = part == "ports" ? ports() : m_parts[part];
    for (const size_t rule : m_dirtyRules)
        changed["states"].push_back(m_rules->states(rule));
    m_dirtyParts.clear();
    m_dirtyRules.clear();
    return changed;
}

json Board::snapshot()
{
    json parts = m_parts;
    parts["ports"] = ports();
    json states = json::array();
    for (size_t i = 0; m_rules && i < m_rules->size(); ++i)
        states.push_back(m_rules->states(i));
    json events = m_events;
    for (const json& line : m_lines)
        events.push_back(line);
    return {{"parts", std::move(parts)}, {"states", std::move(states)}, {"events", std::move(events)}};
}

} // namespace web
