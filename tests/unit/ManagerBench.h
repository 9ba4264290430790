// A manager without files and modem, whose lists a test fills as it likes.
#ifndef MANAGERBENCH_H
#define MANAGERBENCH_H

#include "GSMIOmanager.h"
#include "forEver.h"

#include <initializer_list>
#include <string>

class ManagerBench : public GSMIOmanager {
public:
    ManagerBench() : GSMIOmanager(property_values{}) {}
    /// A new one that is there until the process ends, as in the daemon: threads may go on using it.
    static ManagerBench& forEver() { return ::forEver<ManagerBench>(); }

    using GSMIOmanager::connectTo;
    using GSMIOmanager::m_RequestSmsSend;
    using GSMIOmanager::mConfig_struct;
    using GSMIOmanager::mConnLst;
    using GSMIOmanager::mEvaluationMutex;
    using GSMIOmanager::mOutputPortLabels;
    using GSMIOmanager::mOutputPorts;
    using GSMIOmanager::mSmsQHandler;
    using GSMIOmanager::mTriggerPortLabels;
    using GSMIOmanager::mTriggerPorts;
    using GSMIOmanager::obey;

    /// From here on outputs change in the list alone. The client lives on.
    void leaveServer() { mObjectClient = nullptr; }
    /// What run() does with the connections before its loop.
    void collectLabels()
    {
        mConnLst->reset();
        while (auto* connection = static_cast<tavConnection*>(mConnLst->get())) {
            update_lable_list(connection->getTrigger(), true);
            update_lable_list(connection->getAction(), false);
            mConnLst->step();
        }
    }

    cObjectPort* addInput(const char* label, int id, cObject::eObjectStatus status)
    {
        auto* port = new cObjectPort();
        port->setPortLabel(label);
        port->setDeviceSerial(0x10);
        port->setPortId(id);
        port->setPortType(2);
        port->setPortStatus(status);
        if (mTriggerPorts == nullptr)
            mTriggerPorts = new WList();
        mTriggerPorts->add(port);
        return port;
    }
    cObjectDOutput* addOutput(const char* label, cObject::eObjectIOState byDefault, cObject::eObjectIOState now)
    {
        auto* port = new cObjectDOutput();
        port->setPortLabel(label);
        port->setDefaultState(byDefault);
        port->setOutputState(now);
        if (mOutputPorts == nullptr)
            mOutputPorts = new WList();
        mOutputPorts->add(port);
        return port;
    }
    tavConnection* addConnection(tavTrigger* trigger, tavTrigger* action)
    {
        auto* connection = new tavConnection();
        connection->setTrigger(trigger);
        connection->setAction(action);
        mConnLst->add(connection);
        return connection;
    }
};

inline tavTrigger* leaf(const char* label, bool invert = false)
{
    auto* made = new tavTrigger();
    made->setLabel(label);
    made->setType(0);
    made->setInvert(invert);
    return made;
}

inline tavTrigger* composite(tavTrigger::eOperation operation, std::initializer_list<tavTrigger*> children)
{
    auto* made = new tavTrigger();
    made->setOperation(operation);
    auto* list = new WList();
    for (tavTrigger* child : children)
        list->add(child);
    made->setTriggerLst(list);
    return made;
}

inline tavTrigger* action(const char* label, tavTrigger::eOperation operation = tavTrigger::OR, uint8_t type = 0)
{
    auto* made = new tavTrigger();
    made->setLabel(label);
    made->setType(type);
    made->setOperation(operation);
    return made;
}

#endif
