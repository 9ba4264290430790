// Any pair file, read and evaluated over inputs in many states, against the rules said once more.
#include "ManagerBench.h"
#include "fuzz.h"

#include <map>
#include <string>

namespace {

using Statuses = std::map<std::string, cObject::eObjectStatus>;

// 1 active, 0 not active, -1 no state.
int stateOf(tavTrigger* node, const Statuses& inputs)
{
    WList* children = node->getTriggerLst();
    if (children == nullptr) {
        const auto found = inputs.find(node->getLabel());
        if (node->getLabel()[0] == '\0' || found == inputs.end())
            return -1;
        return (found->second == cObject::OBJ_STATUS_ALARM_SET) != node->getInvert() ? 1 : 0;
    }
    if (node->getOperation() == tavTrigger::INVERSE)
        return -1;
    const int deciding = node->getOperation() == tavTrigger::OR ? 1 : 0;
    int state = -1;
    children->reset();
    while (auto* child = static_cast<tavTrigger*>(children->get())) {
        state = stateOf(child, inputs);
        if (state == deciding)
            break;
        children->step();
    }
    return state;
}

// The file's content is the input but for its first byte, which picks the inputs' states.
class Round {
public:
    Round(ManagerBench& manager, const uint8_t* data, size_t size) : m_seed(data[0]), m_manager(manager)
    {
        const InputFile file(data + 1, size - 1);
        const std::string path = file.path();
        cIOpairs reader(path.c_str());
        if (WList* connections = reader.getConnectionLst()) {
            delete m_manager.mConnLst;
            m_manager.mConnLst = connections;
        }
        m_manager.collectLabels();
        addPorts();
    }
    ~Round()
    {
        for (WList* list : {m_manager.mTriggerPorts, m_manager.mOutputPorts, m_manager.mTriggerPortLabels,
                            m_manager.mOutputPortLabels}) {
            while (list != nullptr && !list->empty())
                delete static_cast<cObjectPort*>(list->pull());
        }
        while (auto* connection = static_cast<tavConnection*>(m_manager.mConnLst->pull()))
            delete connection;
    }
    void play()
    {
        std::map<std::string, cObject::eObjectIOState> expected = m_outputs;
        m_manager.mConnLst->reset();
        for (; auto* connection = static_cast<tavConnection*>(m_manager.mConnLst->get()); m_manager.mConnLst->step()) {
            const int state = stateOf(connection->getTrigger(), m_inputs);
            tavTrigger* action = connection->getAction();
            const auto output = expected.find(action->getLabel());
            if (state < 0 || action->getType() == 9 || output == expected.end())
                continue;
            const bool active = (state == 1) != (action->getOperation() == tavTrigger::INVERSE);
            output->second = active ? cObject::OBJ_IO_STATE_SET : cObject::OBJ_IO_STATE_CLEAR;
        }
        m_manager.check_trigger_values();
        for (const auto& output : expected)
            require(m_manager.getOutputs(output.first.c_str(), 0)->getOutputState() == output.second);
    }

private:
    // One label in four has no port.
    void addPorts()
    {
        unsigned state = m_seed;
        const auto next = [&state] { return (state = state * 1103515245u + 12345u) >> 16; };
        for (WList* labels : {m_manager.mTriggerPortLabels, m_manager.mOutputPortLabels}) {
            const bool inputs = labels == m_manager.mTriggerPortLabels;
            labels->reset();
            for (int id = 1; auto* port = static_cast<cObjectPort*>(labels->get()); ++id, labels->step()) {
                const char* label = port->getPortLabel();
                if (next() % 4 == 0)
                    continue;
                if (inputs) {
                    m_inputs[label] = static_cast<cObject::eObjectStatus>(next() % 4);
                    m_manager.addInput(label, id, m_inputs[label]);
                } else {
                    m_outputs[label] = static_cast<cObject::eObjectIOState>(next() % 3);
                    m_manager.addOutput(label, cObject::OBJ_IO_STATE_CLEAR, m_outputs[label]);
                }
            }
        }
    }

    unsigned m_seed;
    ManagerBench& m_manager; // its lists are empty between two rounds
    Statuses m_inputs;
    std::map<std::string, cObject::eObjectIOState> m_outputs;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static ManagerBench& manager = ManagerBench::forEver();
    if (size > 0)
        Round(manager, data, size).play();
    return 0;
}
