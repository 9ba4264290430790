// The object server's messages, on the client's delivery thread.
#include "GSMIOmanager.h"

#include "scopedLock.h"

#include <unistd.h>

namespace {

enum eMsgType { MSG_GET = 0, MSG_SET = 1, MSG_EVT = 3 };

const char* word(cObject::eObjectStatus status)
{
    return status == cObject::OBJ_STATUS_ALARM_SET ? "SET" : "CLEARED";
}

} // namespace

void GSMIOmanager::handleObjectAction(cObjectList* rx_msg)
{
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
        if (event == nullptr)
            continue;
        if (event->getEventType() == cObjectEvent::EVENT_PORT) {
            updateInput(event);
            check_trigger_values();
        } else if (event->getEventType() == cObjectEvent::EVENT_SITE) {
            // The server is new, and may have forgotten outputs or learned ports: refresh now, not at the next poll.
            const uint64_t once = 1;
            (void)!::write(mWakeFd, &once, sizeof once);
        }
    }
}

// Marks the input that the event is about, if it is in the list. The evaluation mutex is held because evaluations read
// the status of the objects that they have looked up.
void GSMIOmanager::updateInput(cObjectEvent* event)
{
    debug("Got MSG_EVT:EVENT_PORT Serial=0x%08X,port=%d,port_type=%d,almstat=%s", event->getDeviceSerial(),
          event->getPortId(), event->getObjectType(), word(event->getStatus()));

    ScopedLock evaluation(mEvaluationMutex);
    ScopedLock lists(mPortListMutex);
    if (mTriggerPorts == nullptr)
        return;
    mTriggerPorts->reset();
    for (uint16_t i = mTriggerPorts->size(); i > 0; --i) {
        auto* port = static_cast<cObjectPort*>(mTriggerPorts->get());
        if (port != nullptr && port->getDeviceSerial() == event->getDeviceSerial() &&
            port->getPortId() == event->getPortId() && port->getPortType() == event->getObjectType()) {
            port->setPortStatus(event->getStatus());
            debug("Updating Trigger: Serial=0x%08X,port=%d,port_type=%d,almstat=%s", port->getDeviceSerial(),
                  port->getPortId(), port->getPortType(), word(port->getPortStatus()));
            return;
        }
        mTriggerPorts->step();
    }
}
