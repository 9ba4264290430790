// What the daemon's own evaluation makes of rules, over all states of their inputs where these are few.
#ifndef CHECK_EVALUATION_H
#define CHECK_EVALUATION_H

#include "GSMIOmanager.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

/// Evaluates with every input known: set or clear. Like the daemon's manager, it lives as long as the process.
class Evaluation : private GSMIOmanager {
public:
    using States = std::map<std::string, bool>; ///< inputs, and whether each is set

    /// Reads the connections of the pair file @p pairs.
    explicit Evaluation(const std::string& pairs);

    /// In the order of the file.
    const std::vector<tavConnection*>& connections() const { return m_connections; }
    /// The triggers of a tree that have children, a trigger before those in it.
    static std::vector<tavTrigger*> composites(tavTrigger* tree);
    static std::vector<std::string> inputsOf(tavTrigger* tree);

    /// Whether inputs can make @p trigger active (or not active, for false); no trigger in it is an INVERSE. Exact
    /// where not more than 16 inputs are read both as they are and inverted, and of 64 inputs at most; nothing where
    /// they are more, or where the work of this run is spent.
    std::optional<bool> canBe(tavTrigger* trigger, bool active);

    /// A state of the inputs in which one connection drives the output away from its default and the other back to it.
    /// @param certain  false where none was found and not all states were tried: inputs are too many, or work is spent
    std::optional<States> contradiction(tavConnection* one, tavConnection* other, bool& certain);

private:
    /// Whether a tree reads an input as it is, and inverted.
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
    unsigned m_cost = 1; ///< leaves that an evaluation reads at most
};

#endif
