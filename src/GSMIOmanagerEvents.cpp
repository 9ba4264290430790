// The object server's messages, on the client's delivery thread.
#include "GSMIOmanager.h"

#include "scopedLock.h"
#include "supervisor.h"

namespace {

enum eMsgType { MSG_GET = 0, MSG_SET = 1, MSG_EVT = 3 };

// The first port that the event may concern, for a list without an index.
cObjectPort* walkTo(WList* ports, cObjectEvent* event)
{
    if (ports == nullptr)
        return nullptr;
    ports->reset();
    for (uint16_t i = ports->size(); i > 0; --i) {
        auto* port = static_cast<cObjectPort*>(ports->get());
        if (port != nullptr && port->getDeviceSerial() == event->getDeviceSerial() &&
            port->getPortId() == event->getPortId() && port->getPortType() == event->getObjectType())
            return port;
        ports->step();
    }
    return nullptr;
}

} // namespace

void GSMIOmanager::handleObjectAction(cObjectList* rx_msg)
{
    const Supervisor::DeliveryWork work;
    debug("Received Message from tavd\n");
    switch (rx_msg->getMsgType()) {
    case MSG_GET:
    case MSG_SET:
        break;
    case MSG_EVT:
        debug("Got MSG_EVT");
        handle_event(rx_msg);
        break;
    default:
        debug("Unknown Message Type %d", rx_msg->getMsgType());
    }
}

void GSMIOmanager::handle_event(cObjectList* rx_msg)
{
    for (cObject* object = rx_msg->first(); object != nullptr; object = rx_msg->next()) {
        if (object->getType() == cObject::OBJ_ACCESS) {
            debug("Got MSG_EVT:ACCESS\n");
            continue;
        }
        auto* event = object->getType() == cObject::OBJ_EVENT ? dynamic_cast<cObjectEvent*>(object) : nullptr;
        if (event == nullptr || event->getEventType() != cObjectEvent::EVENT_PORT)
            continue;
        Heartbeat::within(Supervisor::kLongestWork);
        updateInput(event);
        check_trigger_values();
    }
}

// Updates the event's input, if it is in the list. Holds the evaluation mutex, because evaluations read the status of
// the objects that they have looked up.
void GSMIOmanager::updateInput(cObjectEvent* event)
{
    debug("Got MSG_EVT:EVENT_PORT Serial=0x%08X,port=%d,port_type=%d,almstat=%s", event->getDeviceSerial(),
          event->getPortId(), event->getObjectType(), word(event->getStatus() == cObject::OBJ_STATUS_ALARM_SET));

    const Evaluating evaluation(*this);
    ScopedLock lists(mPortListMutex);
    cObjectPort* port = mInputIndex.isOf(mTriggerPorts)
                            ? mInputIndex.find(event->getDeviceSerial(), event->getPortId(), event->getObjectType())
                            : walkTo(mTriggerPorts, event);
    if (port == nullptr)
        return;
    port->setPortStatus(event->getStatus());
    debug("Updating Trigger: Serial=0x%08X,port=%d,port_type=%d,almstat=%s", port->getDeviceSerial(), port->getPortId(),
          port->getPortType(), word(port->getPortStatus() == cObject::OBJ_STATUS_ALARM_SET));
}
