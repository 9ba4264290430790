#include "tavd/Protocol.h"

namespace sim {

void addPort(const Port& from, tavobj::Message& message)
{
    tavobj::Object* object = message.add_objects();
    object->set_kind(from.output ? KIND_DOUT : KIND_DIN);
    tavobj::Port* port = object->mutable_port();
    port->set_label(from.label);
    port->set_serial(from.serial);
    port->set_id(from.id);
    port->set_type(from.type);
    port->set_status(from.status);
    port->set_toggled(from.toggled);
    if (from.output) {
        port->set_default_state(from.defaultState);
        port->set_output_state(from.state);
    }
}

void addEvent(const Port& from, tavobj::Message& message)
{
    message.set_type(TYPE_EVENT);
    tavobj::Object* object = message.add_objects();
    object->set_kind(KIND_EVENT);
    tavobj::Event* event = object->mutable_event();
    event->set_event_type(EVENT_PORT);
    event->set_serial(from.serial);
    event->set_id(from.id);
    event->set_object_type(from.type);
    event->set_status(from.status);
}

void addStrangeEvents(tavobj::Message& message)
{
    Port unknown;
    unknown.serial = 0xffffffff;
    unknown.id = 0xffffffff;
    unknown.status = 1;
    addEvent(unknown, message);
    for (const uint32_t type : {EVENT_SITE, EVENT_DEVICE}) {
        addEvent(unknown, message);
        message.mutable_objects(message.objects_size() - 1)->mutable_event()->set_event_type(type);
    }
    message.add_objects()->set_kind(KIND_ACCESS);
}

std::string frame(const std::string& content)
{
    const auto length = static_cast<uint32_t>(content.size());
    std::string framed;
    for (int shift = 24; shift >= 0; shift -= 8)
        framed.push_back(static_cast<char>(length >> shift & 0xff));
    return framed + content;
}

std::string framed(const tavobj::Message& message)
{
    return frame(message.SerializeAsString());
}

} // namespace sim
