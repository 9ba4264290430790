#include "web/Rules.h"

#include "GSMIOmanager.h"
#include "properties.h"
#include "web/Text.h"

#include <algorithm>
#include <unistd.h>

using nlohmann::json;

namespace web {

namespace {

// Walks a copy, because evaluations move the list's only cursor.
template <typename Entry> std::vector<Entry*> entries(WList* list)
{
    std::vector<Entry*> all;
    list->reset();
    for (uint16_t i = list->size(); i > 0; --i) {
        all.push_back(static_cast<Entry*>(list->get()));
        list->step();
    }
    return all;
}

std::vector<tavTrigger*> childrenOf(tavTrigger* node)
{
    return node->getTriggerLst() != nullptr ? entries<tavTrigger>(node->getTriggerLst()) : std::vector<tavTrigger*>();
}

json treeOf(tavTrigger* node)
{
    if (node->getTriggerLst() == nullptr)
        return {{"label", shown(node->getLabel())}, {"inverted", node->getInvert()}};
    json children = json::array();
    for (tavTrigger* child : childrenOf(node))
        children.push_back(treeOf(child));
    const tavTrigger::eOperation operation = node->getOperation();
    const char* name = operation == tavTrigger::AND ? "AND" : operation == tavTrigger::OR ? "OR" : "INVERSE";
    return {{"operation", name}, {"children", children}};
}

void gatherInputs(tavTrigger* node, std::set<std::string>& labels)
{
    if (node->getTriggerLst() == nullptr)
        labels.insert(node->getLabel());
    for (tavTrigger* child : childrenOf(node))
        gatherInputs(child, labels);
}

} // namespace

std::string pairFileOf(const std::string& folder)
{
    cProperties properties;
    const std::string file = folder + "/telnodriver.conf";
    if (access(file.c_str(), R_OK) == 0)
        properties.load(file.c_str());
    const std::string path = properties.getString("ioPairFile", "telnodriver.xml");
    return folder + '/' + path.substr(path.rfind('/') + 1);
}

// A passive manager, with the connections of a file and the page's own ports.
class Rules::Manager : public GSMIOmanager {
public:
    explicit Manager(const std::string& pairFile) : GSMIOmanager(property_values{}), m_reader(pairFile.c_str())
    {
        mTriggerPorts = new WList();
        mOutputPorts = new WList();
        if (WList* read = m_reader.getConnectionLst()) {
            delete mConnLst;
            mConnLst = read;
        }
        connections = entries<tavConnection>(mConnLst);
    }

    void setInput(const std::string& label, uint32_t status)
    {
        cObjectPort* port = getInputs(label.c_str(), 0);
        if (port == nullptr) {
            port = new cObjectPort();
            port->setPortLabel(label.c_str());
            mTriggerPorts->add(port);
        }
        port->setPortStatus(static_cast<cObject::eObjectStatus>(status));
    }

    // The child that gave a composite its state: the first in the deciding state, else the last.
    void states(tavTrigger* node, std::string& letters, json& deciders)
    {
        const eTrigState state = getTriggerState(node);
        letters += state == SET ? 'a' : state == RESET ? 'n' : 'o';
        const size_t place = deciders.size();
        deciders.push_back(-1);
        const std::vector<tavTrigger*> children = childrenOf(node);
        const eTrigState deciding = node->getOperation() == tavTrigger::AND ? RESET : SET;
        int decider = node->getOperation() == tavTrigger::INVERSE ? -1 : static_cast<int>(children.size()) - 1;
        for (size_t i = children.size(); i-- > 0;) {
            if (decider >= 0 && getTriggerState(children[i]) == deciding)
                decider = static_cast<int>(i);
        }
        deciders[place] = decider;
        for (tavTrigger* child : children)
            states(child, letters, deciders);
    }

    std::vector<tavConnection*> connections;

private:
    cIOpairs m_reader;
};

// Like the daemon's, a manager is never destroyed. One is kept for each file, even a replaced one.
Rules::Manager* Rules::newManager(const std::string& pairFile)
{
    static auto* const all = new std::vector<Manager*>;
    all->push_back(new Manager(pairFile));
    return all->back();
}

Rules::Rules(const std::string& pairFile) : m_manager(newManager(pairFile))
{
    for (size_t i = 0; i < size(); ++i) {
        m_inputsOf.emplace_back();
        gatherInputs(m_manager->connections[i]->getTrigger(), m_inputsOf.back());
        for (const std::string& label : m_inputsOf.back())
            m_rulesOf[label].insert(i);
    }
}

Rules::~Rules() = default;

size_t Rules::size() const
{
    return m_manager->connections.size();
}

const std::set<size_t>& Rules::setInput(const std::string& label, uint32_t status)
{
    static const std::set<size_t> none;
    const auto rules = m_rulesOf.find(label);
    if (rules == m_rulesOf.end())
        return none;
    m_manager->setInput(label, status);
    return rules->second;
}

json Rules::trees() const
{
    json all = json::array();
    for (tavConnection* connection : m_manager->connections) {
        tavTrigger* action = connection->getAction();
        all.push_back({{"output", shown(action->getLabel())},
                       {"sms", action->getType() == tavTrigger::kTypeGsm},
                       {"inverse", action->getOperation() == tavTrigger::INVERSE},
                       {"tree", treeOf(connection->getTrigger())}});
    }
    return all;
}

json Rules::states(size_t rule)
{
    std::string letters;
    json deciders = json::array();
    m_manager->states(m_manager->connections[rule]->getTrigger(), letters, deciders);
    return {rule, letters, deciders};
}

std::vector<size_t> Rules::driving(const std::string& output) const
{
    std::vector<size_t> found;
    for (size_t i = 0; i < size(); ++i) {
        const tavTrigger* action = m_manager->connections[i]->getAction();
        if (output == action->getLabel() && action->getType() != tavTrigger::kTypeGsm)
            found.push_back(i);
    }
    return found;
}

bool Rules::looksAt(size_t rule, const std::string& input) const
{
    return m_inputsOf[rule].count(input) > 0;
}

bool Rules::hasState(size_t rule)
{
    return m_manager->getTriggerState(m_manager->connections[rule]->getTrigger()) != GSMIOmanager::OFFLINE;
}

} // namespace web
