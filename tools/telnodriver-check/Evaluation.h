// The daemon's own evaluation of rules, over all states of their inputs if these are few.
#ifndef CHECK_EVALUATION_H
#define CHECK_EVALUATION_H

#include "GSMIOmanager.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

/// Every input is set or clear, never unknown. Like the daemon's manager, an object lives as long as the process.
class Evaluation : private GSMIOmanager {
public:
    using States = std::map<std::string, bool>; ///< whether each input is set, by label

    /// Reads the connections of the pair file @p pairs.
    explicit Evaluation(const std::string& pairs);

    /// In the order of the file.
    const std::vector<tavConnection*>& connections() const { return m_connections; }
    /// The triggers of a tree that have children, parents first.
    static std::vector<tavTrigger*> composites(tavTrigger* tree);
    static std::vector<std::string> inputsOf(tavTrigger* tree);

    /// Whether any state of the inputs makes @p trigger active (@p active is true) or inactive. The tree must contain
    /// no INVERSE. Exact for up to 64 inputs, of which up to 16 occur both plain and inverted. No value if there are
    /// more, or if the run has used up its work.
    std::optional<bool> canBe(tavTrigger* trigger, bool active);

    /// A state of the inputs in which one connection drives the output away from its default, and the other back.
    /// @param certain  false if none was found but not all states were tried: too many inputs, or no work left
    std::optional<States> contradiction(tavConnection* one, tavConnection* other, bool& certain);

private:
    /// Whether an input occurs plain, and whether it occurs inverted.
    struct Senses {
        bool plain, inverted;
    };
    static std::map<std::string, Senses> sensesOf(tavTrigger* tree);

    void usePorts(const std::vector<std::string>& labels, const std::vector<tavTrigger*>& trees);
    eTrigState stateWith(tavTrigger* trigger, const States& states);
    bool drivesAway(tavConnection* connection, const States& states);

    std::string m_path;
    cIOpairs m_reader;
    std::vector<tavConnection*> m_connections;
    std::map<std::string, cObjectPort*> m_ports;
    unsigned m_left;     ///< leaves that this run may still read
    unsigned m_cost = 1; ///< most leaves that one evaluation can read
};

#endif
