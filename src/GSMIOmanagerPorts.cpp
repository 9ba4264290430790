// The label lists, with the labels in the connections, and the port lists, with the object server's ports for them.
#include "GSMIOmanager.h"

#include "libraryExtras.h"
#include "scopedLock.h"

#include <cstring>

namespace {

// Adds a label to a label list, once. @p known holds the list's labels, and is rebuilt if others have changed the list.
template <typename Port> bool addLabel(WList* labels, std::unordered_set<std::string>& known, const char* label)
{
    if (known.size() != labels->size()) {
        known.clear();
        labels->reset();
        while (auto* port = static_cast<cObjectPort*>(labels->get())) {
            if (port->getPortLabel() != nullptr)
                known.insert(port->getPortLabel());
            labels->step();
        }
    }
    if (known.find(label) != known.end())
        return false;
    auto* port = new Port();
    port->setPortLabel(label);
    labels->add(port);
    known.insert(label);
    return true;
}

// Adds a port list's objects to those to free once no evaluation can use them.
void addPorts(WList* ports, cObjectList& replaced)
{
    if (ports == nullptr)
        return;
    ports->reset();
    for (uint16_t i = ports->size(); i > 0; --i) {
        if (auto* port = static_cast<cObjectPort*>(ports->get()))
            replaced.add(port);
        ports->step();
    }
}

// The first port with this label, for a list without an index or a walk that is traced.
template <typename Trace> cObjectPort* walkTo(WList* ports, const char* label, Trace trace)
{
    if (ports == nullptr)
        return nullptr;
    ports->reset();
    for (uint16_t i = ports->size(); i > 0; --i) {
        if (auto* port = static_cast<cObjectPort*>(ports->get())) {
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
        if (addLabel<cObjectPort>(mTriggerPortLabels, mKnownTriggerLabels, t->getLabel()))
            debug("Adding Trigger Port");
    } else {
        if (addLabel<cObjectDOutput>(mOutputPortLabels, mKnownOutputLabels, t->getLabel()))
            debug("Adding Output Port");
    }
}

// Holds the evaluation mutex from the first request until the replaced ports are freed. Otherwise a write between the
// server's answer and the replacement of the lists would be lost, and the output would stay wrong until the next
// refresh. It costs nothing: an evaluation's first look-up waits for the refresh anyway.
void GSMIOmanager::update_lists()
{
    const Evaluating evaluation(*this);
    cObjectList replaced;
    {
        ScopedLock lists(mPortListMutex);
        addPorts(mTriggerPorts, replaced);
        refreshPorts(mTriggerPorts, mTriggerPortLabels, false);
        addPorts(mOutputPorts, replaced);
        refreshPorts(mOutputPorts, mOutputPortLabels, true);
    }
    replaced.deleteObjects();
}

void GSMIOmanager::refreshPorts(WList*& ports, WList* labels, bool outputs)
{
    delete ports;
    ports = new WList();
    fetchPorts(ports, labels, outputs);
    (outputs ? mOutputIndex : mInputIndex).build(ports);
}

void GSMIOmanager::fetchPorts(WList* ports, WList* labels, bool outputs)
{
    cObjectList request;
    labels->reset();
    while (auto* label = static_cast<cObjectPort*>(labels->get())) {
        cObjectPort* wanted = outputs ? new cObjectDOutput() : new cObjectPort();
        wanted->setPortLabel(label->getPortLabel());
        request.add(wanted);
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
        warn("The object server's answer contains an object of the wrong kind, type %d: it and all that follow are "
             "ignored",
             object->getType());
    cObjectList unused;
    for (; object != nullptr; object = answer->next())
        unused.add(object);
    unused.deleteObjects();
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
    if (mInputIndex.isOf(mTriggerPorts))
        return mInputIndex.find(label);
    return walkTo(mTriggerPorts, label, [](const void*, const char*) {});
}

cObjectDOutput* GSMIOmanager::getOutputs(const char* label, uint8_t /*type*/)
{
    ScopedLock lists(mPortListMutex);
    if (mOutputIndex.isOf(mOutputPorts) && !libraryExtras::mayTrace(*this))
        return static_cast<cObjectDOutput*>(mOutputIndex.find(label));
    return static_cast<cObjectDOutput*>(walkTo(mOutputPorts, label, [&](const void* port, const char* held) {
        debug("Checking Output %p,%p,%p", port, static_cast<const void*>(held), static_cast<const void*>(label));
    }));
}
