#include "Evaluation.h"

#include "Entries.h"

#include <algorithm>
#include <set>

namespace {

constexpr size_t kMostInputs = 16;        // all of whose states are tried
constexpr size_t kMostLooked = 64;        // inputs of a tree that is evaluated at all
constexpr unsigned kMostReads = 1U << 25; // leaves read in one run, which takes seconds

template <typename Take> void forEachLeaf(tavTrigger* tree, const Take& take)
{
    if (tree->getTriggerLst() == nullptr) {
        take(tree);
        return;
    }
    for (tavTrigger* child : entriesOf<tavTrigger>(tree->getTriggerLst()))
        forEachLeaf(child, take);
}

// The number's bits as the states of @p labels.
void spread(unsigned number, const std::vector<std::string>& labels, Evaluation::States& states)
{
    for (const std::string& label : labels) {
        states[label] = (number & 1U) != 0;
        number >>= 1;
    }
}

} // namespace

Evaluation::Evaluation(const std::string& pairs)
    : GSMIOmanager(property_values{}), m_path(pairs), m_reader(m_path.c_str()), m_left(kMostReads)
{
    mTriggerPorts = new WList();
    mOutputPorts = new WList();
    if (WList* read = m_reader.getConnectionLst()) {
        delete mConnLst;
        mConnLst = read;
        m_connections = entriesOf<tavConnection>(mConnLst);
    }
}

std::vector<tavTrigger*> Evaluation::composites(tavTrigger* tree)
{
    std::vector<tavTrigger*> all;
    if (tree->getTriggerLst() == nullptr)
        return all;
    all.push_back(tree);
    for (tavTrigger* child : entriesOf<tavTrigger>(tree->getTriggerLst())) {
        const std::vector<tavTrigger*> inner = composites(child);
        all.insert(all.end(), inner.begin(), inner.end());
    }
    return all;
}

std::vector<std::string> Evaluation::inputsOf(tavTrigger* tree)
{
    std::set<std::string> labels;
    forEachLeaf(tree, [&](tavTrigger* leaf) { labels.insert(leaf->getLabel()); });
    return {labels.begin(), labels.end()};
}

std::map<std::string, Evaluation::Senses> Evaluation::sensesOf(tavTrigger* tree)
{
    std::map<std::string, Senses> senses;
    forEachLeaf(tree, [&](tavTrigger* leaf) {
        Senses& input = senses[leaf->getLabel()];
        (leaf->getInvert() ? input.inverted : input.plain) = true;
    });
    return senses;
}

// Only the ports of these trees, so that look-ups are fast.
void Evaluation::usePorts(const std::vector<std::string>& labels, const std::vector<tavTrigger*>& trees)
{
    m_cost = 0;
    for (tavTrigger* tree : trees)
        forEachLeaf(tree, [&](tavTrigger*) { ++m_cost; });
    while (auto* port = static_cast<cObjectPort*>(mTriggerPorts->pull()))
        delete port;
    m_ports.clear();
    for (const std::string& label : labels) {
        auto* port = new cObjectPort();
        port->setPortLabel(label.c_str());
        mTriggerPorts->add(port);
        m_ports[label] = port;
    }
}

GSMIOmanager::eTrigState Evaluation::stateWith(tavTrigger* trigger, const States& states)
{
    for (const auto& state : states)
        m_ports[state.first]->setPortStatus(state.second ? cObject::OBJ_STATUS_ALARM_SET
                                                         : cObject::OBJ_STATUS_ALARM_CLEAR);
    m_left -= std::min(m_left, m_cost);
    return getTriggerState(trigger);
}

bool Evaluation::drivesAway(tavConnection* connection, const States& states)
{
    const bool inverse = connection->getAction()->getOperation() == tavTrigger::INVERSE;
    return (stateWith(connection->getTrigger(), states) == SET) != inverse;
}

// AND and OR are monotonic: an input that occurs only plain, or only inverted, needs to be tried in one state only.
std::optional<bool> Evaluation::canBe(tavTrigger* trigger, bool active)
{
    States states;
    std::vector<std::string> both;
    for (const auto& input : sensesOf(trigger)) {
        states[input.first] = input.second.plain == active;
        if (input.second.plain && input.second.inverted)
            both.push_back(input.first);
    }
    if (both.empty())
        return true;
    if (both.size() > kMostInputs || states.size() > kMostLooked)
        return {};
    usePorts(inputsOf(trigger), {trigger});
    for (unsigned number = 0; number < 1U << both.size(); ++number) {
        if (m_left == 0)
            return {};
        spread(number, both, states);
        if (stateWith(trigger, states) == (active ? SET : RESET))
            return true;
    }
    return false;
}

std::optional<Evaluation::States> Evaluation::contradiction(tavConnection* one, tavConnection* other, bool& certain)
{
    std::set<std::string> all;
    for (tavConnection* connection : {one, other}) {
        for (const std::string& label : inputsOf(connection->getTrigger()))
            all.insert(label);
    }
    const std::vector<std::string> labels(all.begin(), all.end());
    certain = labels.size() <= kMostInputs;
    if (labels.size() > kMostLooked)
        return {};
    usePorts(labels, {one->getTrigger(), other->getTrigger()});
    // First tries to make one active and the other inactive, which succeeds for most rules.
    for (tavConnection* active : {one, other}) {
        States states;
        for (tavConnection* connection : {active == one ? other : one, active}) {
            for (const auto& input : sensesOf(connection->getTrigger()))
                states[input.first] = input.second.plain == (connection == active);
        }
        if (drivesAway(one, states) != drivesAway(other, states))
            return states;
    }
    for (unsigned number = 0; certain && number < 1U << labels.size(); ++number) {
        States states;
        spread(number, labels, states);
        certain = m_left > 0;
        if (drivesAway(one, states) != drivesAway(other, states))
            return states;
    }
    return {};
}
