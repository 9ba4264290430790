#include "RuleStates.h"

#include "Entries.h"
#include "Server.h"

#include <algorithm>

namespace {

constexpr unsigned kMostRows = 1024; // of a truth table

const char* const kStatusWords[] = {"unknown", "set", "clear", "warn"};

std::optional<cObject::eObjectStatus> statusOf(const std::string& word)
{
    for (int i = 0; i < 4; ++i) {
        if (word == kStatusWords[i])
            return static_cast<cObject::eObjectStatus>(i);
    }
    return {};
}

std::vector<std::string> labelsOf(WList* ports)
{
    std::vector<std::string> labels;
    for (cObjectPort* port : entriesOf<cObjectPort>(ports))
        labels.emplace_back(port->getPortLabel());
    return labels;
}

void addInputs(tavTrigger* trigger, std::vector<std::string>& inputs)
{
    if (trigger->getTriggerLst() != nullptr) {
        for (tavTrigger* child : entriesOf<tavTrigger>(trigger->getTriggerLst()))
            addInputs(child, inputs);
    } else if (std::find(inputs.begin(), inputs.end(), trigger->getLabel()) == inputs.end()) {
        inputs.emplace_back(trigger->getLabel());
    }
}

NodeState::Kind kindOf(tavTrigger* trigger)
{
    if (trigger->getTriggerLst() == nullptr)
        return NodeState::INPUT;
    return trigger->getOperation() == tavTrigger::AND  ? NodeState::AND
           : trigger->getOperation() == tavTrigger::OR ? NodeState::OR
                                                       : NodeState::INVERSE;
}

const char* effectOf(tavTrigger* action, GSMIOmanager::eTrigState state)
{
    if (state == GSMIOmanager::OFFLINE)
        return "left alone";
    return (state == GSMIOmanager::SET) != (action->getOperation() == tavTrigger::INVERSE)
               ? "away from its default state"
               : "in its default state";
}

} // namespace

const char* NodeState::stateWord() const
{
    return state == GSMIOmanager::SET ? "active" : state == GSMIOmanager::RESET ? "not active" : "no state";
}

RuleStates::RuleStates(const std::string& pairs) : GSMIOmanager(property_values{}), m_reader(pairs.c_str())
{
    mTriggerPorts = new WList();
    mOutputPorts = new WList();
    if (WList* read = m_reader.getConnectionLst()) {
        delete mConnLst;
        mConnLst = read;
    }
    m_connections = entriesOf<tavConnection>(mConnLst);
    for (tavConnection* connection : m_connections) {
        update_lable_list(connection->getTrigger(), true);
        update_lable_list(connection->getAction(), false);
    }
}

void RuleStates::setInput(const std::string& label, cObject::eObjectStatus status)
{
    if (cObjectPort* known = getInputs(label.c_str(), 0)) {
        known->setPortStatus(status);
        return;
    }
    auto* port = new cObjectPort();
    port->setPortLabel(label.c_str());
    port->setPortStatus(status);
    mTriggerPorts->add(port);
}

void RuleStates::forgetInputs()
{
    while (auto* port = static_cast<cObjectPort*>(mTriggerPorts->pull()))
        delete port;
}

std::string RuleStates::setInputs(const std::map<std::string, std::string>& values)
{
    const std::vector<std::string> labels = labelsOf(mTriggerPortLabels);
    for (const auto& value : values) {
        if (std::find(labels.begin(), labels.end(), value.first) == labels.end())
            return "no trigger has an input labelled " + value.first;
        if (value.second != "offline" && !statusOf(value.second))
            return value.first + " is set, clear, warn, unknown or offline, not " + value.second;
    }
    for (const std::string& label : labels) {
        const auto value = values.find(label);
        if (value == values.end())
            setInput(label, cObject::OBJ_STATUS_ALARM_CLEAR);
        else if (const auto status = statusOf(value->second))
            setInput(label, *status);
    }
    return "";
}

bool RuleStates::takeFrom(const std::string& host)
{
    Server server(host);
    const auto inputs = server.ports(labelsOf(mTriggerPortLabels), false),
               outputs = server.ports(labelsOf(mOutputPortLabels), true);
    if (!inputs || !outputs)
        return false;
    for (cObject* object = inputs->first(); object != nullptr; object = inputs->next()) {
        if (auto* port = dynamic_cast<cObjectPort*>(object))
            setInput(port->getPortLabel(), port->getPortStatus());
    }
    inputs->deleteObjects();
    for (cObject* object = outputs->first(); object != nullptr; object = outputs->next()) {
        if (auto* port = dynamic_cast<cObjectDOutput*>(object))
            mOutputPorts->add(port);
    }
    return true;
}

std::vector<RuleState> RuleStates::rules()
{
    std::vector<RuleState> all;
    all.reserve(m_connections.size());
    for (tavConnection* connection : m_connections)
        all.push_back(rule(connection));
    return all;
}

NodeState RuleStates::node(tavTrigger* trigger)
{
    NodeState node{};
    node.kind = kindOf(trigger);
    node.label = trigger->getLabel();
    node.inverted = trigger->getInvert();
    node.state = getTriggerState(trigger);
    if (node.kind == NodeState::INPUT) {
        cObjectPort* const input = getInputs(trigger->getLabel(), trigger->getType());
        node.status = input != nullptr ? kStatusWords[input->getPortStatus()] : "offline";
        return node;
    }
    for (tavTrigger* child : entriesOf<tavTrigger>(trigger->getTriggerLst()))
        node.children.push_back(this->node(child));
    findDecider(trigger, node);
    return node;
}

// Which child gave a composite its state: the first one in the deciding state, else the last.
void RuleStates::findDecider(tavTrigger* trigger, NodeState& node)
{
    if (node.kind == NodeState::INVERSE || node.children.size() < 2)
        return;
    const eTrigState deciding = trigger->getOperation() == tavTrigger::AND ? RESET : SET;
    const auto first = std::find_if(node.children.begin(), node.children.end(),
                                    [&](const NodeState& child) { return child.state == deciding; });
    node.decidedAsLast = first == node.children.end();
    node.decider = node.decidedAsLast ? node.children.size() - 1 : static_cast<size_t>(first - node.children.begin());
}

// Without ports of the server an output's default is not known, and "away from its default state" is said.
RuleState RuleStates::rule(tavConnection* connection)
{
    tavTrigger* const action = connection->getAction();
    RuleState rule{node(connection->getTrigger()),
                   action->getLabel(),
                   action->getType() == tavTrigger::kTypeGsm,
                   action->getOperation() == tavTrigger::INVERSE,
                   "",
                   ""};
    const eTrigState state = rule.trigger.state;
    if (rule.isAlarm) {
        rule.effect =
            state == OFFLINE ? "nothing" : "the GSM handler is made to evaluate again; an SMS command sends its alarm";
        return rule;
    }
    rule.effect = effectOf(action, state);
    cObjectDOutput* const output = getOutputs(action->getLabel(), action->getType());
    if (output != nullptr && state != OFFLINE) {
        const int before = output->getOutputState();
        setActionState(state, action, nullptr); // the daemon's own step, on the checker's copy of the port
        const int now = output->getOutputState();
        rule.written = std::string(before == now ? "stays " : "is written ") + kStatusWords[now];
    }
    return rule;
}

std::vector<size_t> RuleStates::driving(const std::string& output)
{
    std::vector<size_t> found;
    for (size_t i = 0; i < m_connections.size(); ++i) {
        tavTrigger* const action = m_connections[i]->getAction();
        if (output == action->getLabel() && action->getType() != tavTrigger::kTypeGsm)
            found.push_back(i);
    }
    return found;
}

TruthTable RuleStates::table(size_t rule, bool withOffline)
{
    tavConnection* const connection = m_connections[rule];
    TruthTable table;
    addInputs(connection->getTrigger(), table.inputs);
    const unsigned values = withOffline ? 3 : 2;
    unsigned rows = 1;
    for (size_t i = 0; i < table.inputs.size() && rows <= kMostRows; ++i)
        rows *= values;
    if (rows > kMostRows)
        return table;
    for (unsigned number = 0; number < rows; ++number) {
        TruthTable::Row row{};
        forgetInputs();
        unsigned left = number;
        for (const std::string& input : table.inputs) {
            const unsigned value = left % values;
            left /= values;
            if (value < 2)
                setInput(input, value == 1 ? cObject::OBJ_STATUS_ALARM_SET : cObject::OBJ_STATUS_ALARM_CLEAR);
            row.states.push_back(value == 0 ? "clear" : value == 1 ? "set" : "offline");
        }
        row.effect = effectOf(connection->getAction(), getTriggerState(connection->getTrigger()));
        table.rows.push_back(row);
    }
    return table;
}
