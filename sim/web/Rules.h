// The rules of a pair file, evaluated by the daemon's own code.
#ifndef SIM_WEB_RULES_H
#define SIM_WEB_RULES_H

#include "tavd/Ports.h"

#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

namespace web {

/// The pair file that the properties file in @p folder names; @p folder stands for /etc/tav.
std::string pairFileOf(const std::string& folder);

/// Connections as trees, with their states for given inputs. One thread at a time.
class Rules {
public:
    /// If the file cannot be read, there are no rules, as in the daemon.
    explicit Rules(const std::string& pairFile);
    ~Rules();
    Rules(const Rules&) = delete;
    Rules& operator=(const Rules&) = delete;

    /// Sets an input's status. @return the rules that have this input
    const std::set<size_t>& setInput(const std::string& label, uint32_t status);

    /// All rules, each {"output", "sms" (an alarm instead of an output), "inverse", "tree"}. A node is {"label",
    /// "inverted"} or {"operation", "children"}.
    nlohmann::json trees() const;
    /// The states of a rule's nodes, parents first: [rule, "ann", [1, -1, -1]]. A letter is a node's state: a active,
    /// n not active, o none. A number is the index of the child that decided, or -1.
    nlohmann::json states(size_t rule);
    size_t size() const;

    /// The rules that drive an output; whether a rule has an input.
    std::vector<size_t> driving(const std::string& output) const;
    bool looksAt(size_t rule, const std::string& input) const;
    /// Whether the rule's trigger has a state. Without one, the daemon does not drive the output.
    bool hasState(size_t rule);

private:
    class Manager;
    static Manager* newManager(const std::string& pairFile);

    Manager* m_manager;                            // never destroyed, like the daemon's
    std::vector<std::set<std::string>> m_inputsOf; // by rule
    std::map<std::string, std::set<size_t>> m_rulesOf;
};

} // namespace web

#endif
