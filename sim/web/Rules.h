// The rules of a pair file, with the daemon's own verdicts.
#ifndef SIM_WEB_RULES_H
#define SIM_WEB_RULES_H

#include "tavd/Ports.h"

#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

namespace web {

/// The pair file of a folder that stands for /etc/tav: the one that its properties name.
std::string pairFileOf(const std::string& folder);

/// Connections as trees, and what the daemon makes of them with given inputs. One thread at a time.
class Rules {
public:
    /// A file that cannot be read gives no rules, as in the daemon.
    explicit Rules(const std::string& pairFile);
    ~Rules();
    Rules(const Rules&) = delete;
    Rules& operator=(const Rules&) = delete;

    /// The labels that the rules name.
    const std::vector<std::string>& inputLabels() const { return m_inputLabels; }
    const std::vector<std::string>& outputLabels() const { return m_outputLabels; }

    /// An input's status from now on. @return the rules that look at it
    const std::set<size_t>& setInput(const std::string& label, uint32_t status);

    /// Every rule: {"output", "sms" (an alarm instead of an output), "inverse", "tree"}; a node is {"label",
    /// "inverted"} or {"operation", "children"}.
    nlohmann::json trees() const;
    /// A rule's present states, a letter a node from the root on, each before its children: a active, n not active,
    /// o no state; and for each node the index of the child that decided, or -1: [rule, "ann", [1, -1, -1]].
    nlohmann::json states(size_t rule);
    size_t size() const;

    /// The rules that drive an output, and whether a rule looks at an input.
    std::vector<size_t> driving(const std::string& output) const;
    bool looksAt(size_t rule, const std::string& input) const;
    /// Whether rule's trigger has a state, so that it drives its output. The daemon drives it nowhere else.
    bool hasState(size_t rule);

private:
    class Manager;
    static Manager* newManager(const std::string& pairFile);

    Manager* m_manager; // borrowed from the process, as long as which it lives, like the daemon's
    std::vector<std::string> m_inputLabels, m_outputLabels;
    std::vector<std::set<std::string>> m_inputsOf; // by rule
    std::map<std::string, std::set<size_t>> m_rulesOf;
};

} // namespace web

#endif
