// The rules of a pair file with the state of every node, by the daemon's own evaluation.
#ifndef CHECK_RULESTATES_H
#define CHECK_RULESTATES_H

#include "GSMIOmanager.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

/// A trigger or one of its inputs.
struct NodeState {
    enum Kind { INPUT, AND, OR, INVERSE };

    Kind kind;
    std::string label, status; ///< of an input; the status is set, clear, warn, unknown or offline
    bool inverted;             ///< of an input
    GSMIOmanager::eTrigState state;
    std::vector<NodeState> children;
    std::optional<size_t> decider; ///< the child that gave an AND or OR of several its state
    bool decidedAsLast;            ///< no child is in the deciding state, so that the last one counts

    const char* stateWord() const; ///< active, not active or no state
};

/// A connection: what its trigger says, and what follows for its action.
struct RuleState {
    NodeState trigger;
    std::string action;    ///< label of the output or alarm
    bool isAlarm, inverse; ///< kind of the action; whether an output's two outcomes are swapped
    std::string effect;    ///< what the daemon does
    std::string written;   ///< "stays STATE" or "is written STATE"; empty for a port that is not known
};

/// The effect of one rule for every state of its inputs.
struct TruthTable {
    struct Row {
        std::vector<const char*> states; ///< in the order of the inputs
        const char* effect;
    };
    std::vector<std::string> inputs;
    std::vector<Row> rows; ///< empty where there would be more than 1024
};

/// A manager that starts nothing, with ports of the checker's own. Like the daemon's, it lives as long as the process.
class RuleStates : private GSMIOmanager {
public:
    /// Reads the pair file @p pairs. Every input is offline at first.
    explicit RuleStates(const std::string& pairs);

    bool empty() const { return m_connections.empty(); }

    /// Sets inputs by label: "set", "clear", "warn", "unknown" or "offline"; those not named are clear.
    /// @return what is wrong with @p values; then nothing has changed
    std::string setInputs(const std::map<std::string, std::string>& values);
    /// Takes inputs and outputs from the object server at @p host.
    /// @return false without an answer
    bool takeFrom(const std::string& host);

    /// All rules in the order of the file. The effects are tried on the checker's copies of the outputs: call it once.
    std::vector<RuleState> rules();

    /// The places, in that order, of the rules that drive @p output.
    std::vector<size_t> driving(const std::string& output);
    /// Changes the inputs.
    TruthTable table(size_t rule, bool withOffline);

private:
    void setInput(const std::string& label, cObject::eObjectStatus status);
    void forgetInputs();
    NodeState node(tavTrigger* trigger);
    void findDecider(tavTrigger* trigger, NodeState& node);
    RuleState rule(tavConnection* connection);

    cIOpairs m_reader;
    std::vector<tavConnection*> m_connections;
};

#endif
