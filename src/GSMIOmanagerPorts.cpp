// The port lists: which labels the connections name, and the ports that the object server has for them.
#include "GSMIOmanager.h"

#include "scopedLock.h"

#include <cstring>
#include <vector>

namespace {

const char* word(bool set)
{
    return set ? "SET" : "CLEARED";
}

bool holdsLabel(WList* ports, const char* label)
{
    ports->reset();
    while (auto* port = static_cast<cObjectPort*>(ports->get())) {
        if (port->getPortLabel() != nullptr && strcmp(port->getPortLabel(), label) == 0)
            return true;
        ports->step();
    }
    return false;
}

// Takes a port list's objects out of it, to be freed once no evaluation can use them.
std::vector<cObjectPort*> portsOf(WList* ports)
{
    std::vector<cObjectPort*> taken;
    if (ports == nullptr)
        return taken;
    ports->reset();
    for (uint16_t i = ports->size(); i > 0; --i) {
        taken.push_back(static_cast<cObjectPort*>(ports->get()));
        ports->step();
    }
    return taken;
}

// The daemon's longest walk: @p traced is a constant of the caller's, so that an untraced walk compares and steps only.
template <typename Port, typename Trace> Port* findPort(WList* ports, const char* label, Trace trace)
{
    if (ports == nullptr)
        return nullptr;
    ports->reset();
    for (uint16_t i = ports->size(); i > 0; --i) {
        if (auto* port = static_cast<Port*>(ports->get())) {
            const char* held = port->getPortLabel();
            trace(port, held);
            if (held != nullptr && strcmp(held, label) == 0)
                return port;
        }
        ports->step();
    }
    return nullptr;
}

} // namespace

void GSMIOmanager::update_lable_list(tavTrigger* t, bool trig)
{
    if (t == nullptr)
        return;
    if (WList* children = t->getTriggerLst()) {
        children->reset();
        while (auto* child = static_cast<tavTrigger*>(children->get())) {
            update_lable_list(child, trig);
            children->step();
        }
        return;
    }
    if (trig) {
        debug("%d-%s Label: %s; Invert:", t->getType(), t->getType() == 0 ? "INPUT" : "OUTPUT", t->getLabel());
        if (holdsLabel(mTriggerPortLabels, t->getLabel()))
            return;
        auto* port = new cObjectPort();
        port->setPortLabel(t->getLabel());
        mTriggerPortLabels->add(port);
        debug("Adding Trigger Port");
    } else {
        if (holdsLabel(mOutputPortLabels, t->getLabel()))
            return;
        auto* port = new cObjectDOutput();
        port->setPortLabel(t->getLabel());
        mOutputPortLabels->add(port);
        debug("Adding Output Port");
    }
}

// The evaluation mutex is held from before the first request until the replaced ports are freed: a write between the
// server's answer and the replacement of the lists would be forgotten, and the output would stay wrong until the next
// refresh. It costs nothing: an evaluation's first look-up waits for the refresh anyway.
void GSMIOmanager::update_lists()
{
    ScopedLock evaluation(mEvaluationMutex);
    std::vector<cObjectPort*> replaced;
    {
        ScopedLock lists(mPortListMutex);
        replaced = portsOf(mTriggerPorts);
        refreshPorts(mTriggerPorts, mTriggerPortLabels, false);
        const std::vector<cObjectPort*> outputs = portsOf(mOutputPorts);
        replaced.insert(replaced.end(), outputs.begin(), outputs.end());
        refreshPorts(mOutputPorts, mOutputPortLabels, true);
    }
    for (cObjectPort* port : replaced)
        delete port;
}

void GSMIOmanager::refreshPorts(WList*& ports, WList* labels, bool outputs)
{
    delete ports;
    ports = new WList();

    cObjectList request;
    labels->reset();
    while (auto* label = static_cast<cObjectPort*>(labels->get())) {
        request.add(label->copy());
        labels->step();
    }
    cObjectList* answer = mObjectClient != nullptr ? mObjectClient->get(&request) : nullptr;
    request.deleteObjects();
    if (answer == nullptr)
        return;

    cObject* object = answer->first();
    for (; object != nullptr; object = answer->next()) {
        auto* port = outputs ? dynamic_cast<cObjectDOutput*>(object) : dynamic_cast<cObjectPort*>(object); // NOLINT
        if (port == nullptr)
            break;
        logPort(port, outputs);
        ports->add(port);
    }
    if (object != nullptr)
        warn("The object server's answer holds an object of another kind, type %d: it and what follows is not used",
             object->getType());
    for (; object != nullptr; object = answer->next())
        delete object;
    delete answer;
}

void GSMIOmanager::logPort(cObjectPort* port, bool output)
{
    const bool set = port->getPortStatus() == cObject::OBJ_STATUS_ALARM_SET;
    if (!output) {
        debug("Got TriggerPort: 0x%08X,%d,%d,%s,%s", port->getDeviceSerial(), port->getPortId(), port->getPortType(),
              port->getPortLabel(), word(set));
        return;
    }
    auto* out = static_cast<cObjectDOutput*>(port);
    debug("Got OutputPort: 0x%08X,%d,%d,%s,%s,%s,%s", out->getDeviceSerial(), out->getPortId(), out->getPortType(),
          out->getPortLabel(), word(set), word(out->getDefaultState() == cObject::OBJ_IO_STATE_SET),
          word(out->getOutputState() == cObject::OBJ_IO_STATE_SET));
}

cObjectPort* GSMIOmanager::getInputs(const char* label, uint8_t /*type*/)
{
    ScopedLock lists(mPortListMutex);
    return findPort<cObjectPort>(mTriggerPorts, label, [](const void*, const char*) {});
}

cObjectDOutput* GSMIOmanager::getOutputs(const char* label, uint8_t /*type*/)
{
    ScopedLock lists(mPortListMutex);
    if (!debugEnabled()) // asked once instead of at every port
        return findPort<cObjectDOutput>(mOutputPorts, label, [](const void*, const char*) {});
    return findPort<cObjectDOutput>(mOutputPorts, label, [&](const void* port, const char* held) {
        debug("Checking Output %p,%p,%p", port, static_cast<const void*>(held), static_cast<const void*>(label));
    });
}
