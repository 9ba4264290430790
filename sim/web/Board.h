// What the page shows: the card's present state and its recent history.
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

/// One thing that happened. Texts are as they came; the board makes them fit to be shown.
struct Happening {
    enum Kind { Port, SmsIn, SmsOut, ToModem, FromModem, Power, Log, Print, Fault, Note, Done };
    Kind kind = Note;
    int64_t time = 0; ///< milliseconds since 1970
    std::string who;  ///< the number of an SMS
    std::string text;
    sim::Port port; ///< of Port: as it is now
};

/// Bounded, whatever happens: a number of events, each with a text of bounded length. One thread at a time.
class Board {
public:
    static constexpr size_t kEvents = 2000; ///< of ports, SMS, faults, notes
    static constexpr size_t kLines = 600;   ///< of the log and the modem

    /// Replaces all ports, without events.
    void setPorts(const std::vector<sim::Port>& ports);
    /// Reads a pair file; the inputs keep their states.
    void setRules(const std::string& pairFile);
    /// A part of the state that the board only hands on: "modem", "server", "scenario", ...
    void set(const std::string& part, nlohmann::json value);

    /// Takes one happening into state and history.
    /// @return the event as the page gets it; null where nothing changed
    nlohmann::json apply(const Happening& happening);

    /// Everything that a new viewer needs.
    nlohmann::json snapshot();
    /// What has changed, but for ports, since it was asked last; "parts" and "states" of rules.
    nlohmann::json changes();
    /// All ports, for viewers that were not told every change.
    nlohmann::json ports() const;

private:
    using Key = std::pair<bool, std::string>; // output, label

    nlohmann::json portEvent(const Happening& happening);
    nlohmann::json causeOf(const sim::Port& output, int64_t time);
    nlohmann::json portState(const sim::Port& port) const;

    std::map<Key, sim::Port> m_ports;
    std::vector<Key> m_order;                       // as the server lists them
    std::map<std::string, nlohmann::json> m_causes; // of outputs, by label
    std::map<std::string, int64_t> m_changed;       // when an input changed last
    Happening m_lastSms;
    std::unique_ptr<Rules> m_rules;
    std::set<size_t> m_dirtyRules;
    std::map<std::string, nlohmann::json> m_parts;
    std::set<std::string> m_dirtyParts;
    std::deque<nlohmann::json> m_events, m_lines;
};

} // namespace web

#endif
