// The content of the page: the card's state and its recent history.
#ifndef SIM_WEB_BOARD_H
#define SIM_WEB_BOARD_H

#include "tavd/Ports.h"
#include "web/Rules.h"

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

namespace web {

/// One event on the card. Its texts are raw; the board escapes them for the page.
struct Happening {
    enum Kind { Port, SmsIn, SmsOut, ToModem, FromModem, Power, Log, Print, Fault, Note, Done };
    Kind kind = Note;
    int64_t time = 0; ///< milliseconds since 1970
    std::string who;  ///< the number of an SMS
    std::string text;
    sim::Port port; ///< of Port: its new state
};

/// Its memory is bounded: a limited number of events, each with a limited text. One thread at a time.
class Board {
public:
    static constexpr size_t kEvents = 2000; ///< of ports, SMS, faults, notes
    static constexpr size_t kLines = 600;   ///< of the log and the modem

    /// Replaces all ports, without making events.
    void setPorts(const std::vector<sim::Port>& ports);
    /// Reads a pair file; the inputs keep their states.
    void setRules(const std::string& pairFile);
    /// Sets a part of the state that the board only passes on: "modem", "server", "scenario", ...
    void set(const std::string& part, nlohmann::json value);

    /// Adds @p happening to state and history. @return the event for the page; null if nothing changed
    nlohmann::json apply(const Happening& happening);

    /// Everything that a new viewer needs.
    nlohmann::json snapshot();
    /// All changes since the last call, except ports: "parts", and "states" of rules.
    nlohmann::json changes();
    /// All ports, for viewers that have missed changes.
    nlohmann::json ports() const;

private:
    using Key = std::pair<bool, std::string>; // output, label

    nlohmann::json portEvent(const Happening& happening);
    nlohmann::json causeOf(const sim::Port& output, int64_t time);
    nlohmann::json portState(const sim::Port& port) const;

    std::map<Key, sim::Port> m_ports;
    std::vector<Key> m_order;                       // the server's order
    std::map<std::string, nlohmann::json> m_causes; // of outputs, by label
    std::map<std::string, int64_t> m_changed;       // time of an input's last change
    Happening m_lastSms;
    std::unique_ptr<Rules> m_rules;
    std::set<size_t> m_dirtyRules;
    std::map<std::string, nlohmann::json> m_parts;
    std::set<std::string> m_dirtyParts;
    std::deque<nlohmann::json> m_events, m_lines;
};

} // namespace web

#endif
