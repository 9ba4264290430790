#include "Explain.h"

#include "GSMIOmanager.h"
#include "Server.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <vector>

namespace {

constexpr unsigned kMostRows = 1024; // of a truth table

const char* const kStatusWords[] = {"unknown", "set", "clear", "warn"};

const char* stateWord(GSMIOmanager::eTrigState state)
{
    return state == GSMIOmanager::SET ? "active" : state == GSMIOmanager::RESET ? "not active" : "no state";
}

bool parseStatus(const std::string& word, cObject::eObjectStatus& status)
{
    for (int i = 0; i < 4; ++i) {
        if (word == kStatusWords[i]) {
            status = static_cast<cObject::eObjectStatus>(i);
            return true;
        }
    }
    return false;
}

// A manager that starts nothing, with the connections of a file and ports of the checker's own.
class Card : public GSMIOmanager {
public:
    explicit Card(const std::string& pairs) : GSMIOmanager(property_values{}), m_reader(pairs.c_str())
    {
        mTriggerPorts = new WList();
        mOutputPorts = new WList();
        if (WList* read = m_reader.getConnectionLst()) {
            delete mConnLst;
            mConnLst = read;
        }
        forEach<tavConnection>(mConnLst, [this](tavConnection* connection) {
            update_lable_list(connection->getTrigger(), true);
            update_lable_list(connection->getAction(), false);
        });
    }

    bool empty() { return mConnLst->size() == 0; }
    std::vector<std::string> inputLabels() { return labels(mTriggerPortLabels); }
    std::vector<std::string> outputLabels() { return labels(mOutputPortLabels); }

    void setInput(const std::string& label, cObject::eObjectStatus status)
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
    void forgetInputs()
    {
        while (auto* port = static_cast<cObjectPort*>(mTriggerPorts->pull()))
            delete port;
    }
    void addOutput(cObjectDOutput* port) { mOutputPorts->add(port); }

    /// Prints each connection; without ports of the server an output's default is not known, and "away from its default
    /// state" is said.
    void print()
    {
        int number = 0;
        forEach<tavConnection>(mConnLst, [&](tavConnection* connection) {
            printf("connection %d\n", ++number);
            printNode(connection->getTrigger(), 1);
            printAction(connection->getAction(), getTriggerState(connection->getTrigger()));
        });
    }

    std::vector<tavConnection*> driving(const std::string& output)
    {
        std::vector<tavConnection*> found;
        forEach<tavConnection>(mConnLst, [&](tavConnection* connection) {
            if (output == connection->getAction()->getLabel() && connection->getAction()->getType() != 9)
                found.push_back(connection);
        });
        return found;
    }
    static void inputsOf(tavTrigger* trigger, std::vector<std::string>& inputs)
    {
        if (trigger->getTriggerLst() != nullptr)
            forEach<tavTrigger>(trigger->getTriggerLst(), [&](tavTrigger* child) { inputsOf(child, inputs); });
        else if (std::find(inputs.begin(), inputs.end(), trigger->getLabel()) == inputs.end())
            inputs.emplace_back(trigger->getLabel());
    }
    static const char* effect(tavTrigger* action, eTrigState state)
    {
        if (state == OFFLINE)
            return "left alone";
        return (state == SET) != (action->getOperation() == tavTrigger::INVERSE) ? "away from its default state"
                                                                                 : "in its default state";
    }

private:
    // Walks a copy of the list's entries: an evaluation in between moves the list's one cursor.
    template <typename Entry, typename Take> static void forEach(WList* list, Take take)
    {
        std::vector<Entry*> entries;
        list->reset();
        for (uint16_t i = list->size(); i > 0; --i) {
            entries.push_back(static_cast<Entry*>(list->get()));
            list->step();
        }
        for (Entry* entry : entries)
            take(entry);
    }

    static std::vector<std::string> labels(WList* list)
    {
        std::vector<std::string> all;
        forEach<cObjectPort>(list, [&](cObjectPort* port) { all.emplace_back(port->getPortLabel()); });
        return all;
    }

    void printNode(tavTrigger* node, int depth)
    {
        const std::string indent(static_cast<size_t>(depth) * 2, ' ');
        const char* state = stateWord(getTriggerState(node));
        if (node->getTriggerLst() == nullptr) {
            cObjectPort* input = getInputs(node->getLabel(), node->getType());
            printf("%s%s: %s%s: %s\n", indent.c_str(), node->getLabel(),
                   input != nullptr ? kStatusWords[input->getPortStatus()] : "offline",
                   node->getInvert() ? ", inverted" : "", state);
            return;
        }
        const char* name = node->getOperation() == tavTrigger::AND  ? "AND"
                           : node->getOperation() == tavTrigger::OR ? "OR"
                                                                    : "INVERSE, which never acts";
        printf("%s%s: %s%s\n", indent.c_str(), name, state, reason(node).c_str());
        forEach<tavTrigger>(node->getTriggerLst(), [&](tavTrigger* child) { printNode(child, depth + 1); });
    }

    static std::string nameOf(tavTrigger* node)
    {
        if (node->getTriggerLst() == nullptr)
            return node->getLabel();
        return node->getOperation() == tavTrigger::AND ? "the AND below" : "the OR below";
    }

    // Which child gave a composite its state: the first one in the deciding state, else the last.
    std::string reason(tavTrigger* node)
    {
        const bool isAnd = node->getOperation() == tavTrigger::AND;
        if ((!isAnd && node->getOperation() != tavTrigger::OR) || node->getTriggerLst()->size() < 2)
            return "";
        tavTrigger* decider = nullptr;
        tavTrigger* last = nullptr;
        forEach<tavTrigger>(node->getTriggerLst(), [&](tavTrigger* child) {
            if (decider == nullptr && getTriggerState(child) == (isAnd ? RESET : SET))
                decider = child;
            last = child;
        });
        return decider != nullptr ? ", decided by " + nameOf(decider) : ", decided by its last child, " + nameOf(last);
    }

    void printAction(tavTrigger* action, eTrigState state)
    {
        if (action->getType() == 9) {
            printf("  => GSM action %s: %s\n", action->getLabel(),
                   state == OFFLINE ? "nothing"
                                    : "the GSM handler is made to evaluate again; an SMS command sends its alarm");
            return;
        }
        printf("  => output %s: %s", action->getLabel(), effect(action, state));
        cObjectDOutput* output = getOutputs(action->getLabel(), action->getType());
        if (output != nullptr && state != OFFLINE) {
            const int before = output->getOutputState();
            setActionState(state, action, nullptr); // the daemon's own step, on the checker's copy of the port
            const char* now = kStatusWords[output->getOutputState()];
            printf(before == output->getOutputState() ? ": stays %s" : ": is written %s", now);
        }
        printf("\n");
    }

    cIOpairs m_reader;
};

// Like the daemon's manager, it lives as long as the process; a run of the checker needs one.
Card& cardOf(const std::string& pairs)
{
    static Card* const card = new Card(pairs);
    return *card;
}

bool read(Card& card, const std::string& pairs)
{
    if (card.empty())
        fprintf(stderr, "telnodriver-check: %s yields no connection\n", pairs.c_str());
    return !card.empty();
}

} // namespace

int explain(const std::string& pairs, const std::map<std::string, std::string>& values)
{
    Card& card = cardOf(pairs);
    if (!read(card, pairs))
        return 2;
    const std::vector<std::string> labels = card.inputLabels();
    for (const auto& value : values) {
        cObject::eObjectStatus status = cObject::OBJ_STATUS_ALARM_CLEAR;
        if (std::find(labels.begin(), labels.end(), value.first) == labels.end()) {
            fprintf(stderr, "telnodriver-check: no trigger has an input labelled %s\n", value.first.c_str());
            return 2;
        }
        if (value.second != "offline" && !parseStatus(value.second, status)) {
            fprintf(stderr, "telnodriver-check: %s is set, clear, warn, unknown or offline, not %s\n",
                    value.first.c_str(), value.second.c_str());
            return 2;
        }
    }
    for (const std::string& label : labels) {
        const auto value = values.find(label);
        cObject::eObjectStatus status = cObject::OBJ_STATUS_ALARM_CLEAR;
        if (value == values.end() || parseStatus(value->second, status))
            card.setInput(label, status);
    }
    card.print();
    return 0;
}

int explainLive(const std::string& pairs, const std::string& host)
{
    Card& card = cardOf(pairs);
    if (!read(card, pairs))
        return 2;
    Server server(host);
    const auto inputs = server.ports(card.inputLabels(), false), outputs = server.ports(card.outputLabels(), true);
    if (!inputs || !outputs) {
        fprintf(stderr, "telnodriver-check: the object server at %s does not answer\n", host.c_str());
        return 2;
    }
    for (cObject* object = inputs->first(); object != nullptr; object = inputs->next()) {
        if (auto* port = dynamic_cast<cObjectPort*>(object))
            card.setInput(port->getPortLabel(), port->getPortStatus());
    }
    inputs->deleteObjects();
    for (cObject* object = outputs->first(); object != nullptr; object = outputs->next()) {
        if (auto* port = dynamic_cast<cObjectDOutput*>(object))
            card.addOutput(port);
    }
    card.print();
    return 0;
}

int explainTable(const std::string& pairs, const std::string& output, bool withOffline)
{
    Card& card = cardOf(pairs);
    if (!read(card, pairs))
        return 2;
    const std::vector<tavConnection*> connections = card.driving(output);
    if (connections.empty()) {
        fprintf(stderr, "telnodriver-check: no connection drives an output labelled %s\n", output.c_str());
        return 2;
    }
    for (tavConnection* connection : connections) {
        std::vector<std::string> inputs;
        Card::inputsOf(connection->getTrigger(), inputs);
        const unsigned values = withOffline ? 3 : 2;
        unsigned rows = 1;
        for (size_t i = 0; i < inputs.size() && rows <= kMostRows; ++i)
            rows *= values;
        if (rows > kMostRows) {
            fprintf(stderr, "telnodriver-check: %zu inputs make too long a table\n", inputs.size());
            return 2;
        }
        for (const std::string& input : inputs)
            printf("%-12s ", input.c_str());
        printf("%s\n", output.c_str());
        for (unsigned row = 0; row < rows; ++row) {
            card.forgetInputs();
            unsigned left = row;
            for (const std::string& input : inputs) {
                const unsigned value = left % values;
                left /= values;
                if (value < 2)
                    card.setInput(input, value == 1 ? cObject::OBJ_STATUS_ALARM_SET : cObject::OBJ_STATUS_ALARM_CLEAR);
                printf("%-12s ", value == 0 ? "clear" : value == 1 ? "set" : "offline");
            }
            printf("%s\n", Card::effect(connection->getAction(), card.getTriggerState(connection->getTrigger())));
        }
    }
    return 0;
}
