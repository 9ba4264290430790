#include "codec.h"

#include "tavobj.pb.h"

namespace tavcodec {

namespace {

template <typename Enumeration> Enumeration inRange(uint32_t value, Enumeration last)
{
    return value <= static_cast<uint32_t>(last) ? static_cast<Enumeration>(value) : static_cast<Enumeration>(0);
}

void readPort(const tavobj::Port& from, cObjectPort& to)
{
    to.setPortLabel(from.label().c_str());
    to.setDeviceSerial(from.serial());
    to.setPortId(static_cast<int>(from.id()));
    to.setPortType(static_cast<int>(from.type()));
    to.setPortStatus(inRange(from.status(), cObject::OBJ_STATUS_ALARM_WARN));
    to.setPortToggled(inRange(from.toggled(), cObjectPort::PORT_TOGGLED_IODRIVER));
}

void writePort(const cObjectPort& from, tavobj::Object& to)
{
    to.set_kind(static_cast<uint32_t>(from.getType()));
    tavobj::Port& port = *to.mutable_port();
    port.set_label(from.getPortLabel());
    port.set_serial(from.getDeviceSerial());
    port.set_id(static_cast<uint32_t>(from.getPortId()));
    port.set_type(static_cast<uint32_t>(from.getPortType()));
    port.set_status(static_cast<uint32_t>(from.getPortStatus()));
    port.set_toggled(static_cast<uint32_t>(from.getPortToggled()));
    if (const auto* output = dynamic_cast<const cObjectDOutput*>(&from)) {
        port.set_default_state(static_cast<uint32_t>(output->getDefaultState()));
        port.set_output_state(static_cast<uint32_t>(output->getOutputState()));
    }
}

bool usableLabel(const std::string& label)
{
    return label.size() <= kMaxLabel && label.find('\0') == std::string::npos;
}

cObject* makeObject(const tavobj::Object& from)
{
    const auto kind = static_cast<cObject::eObjectTypes>(from.kind());
    switch (kind) {
    case cObject::OBJ_PORT:
    case cObject::OBJ_PORT_DIN:
    case cObject::OBJ_PORT_AIN:
    case cObject::OBJ_PORT_AOUT: {
        auto* port = new cObjectPort(kind);
        readPort(from.port(), *port);
        return port;
    }
    case cObject::OBJ_PORT_DOUT: {
        auto* output = new cObjectDOutput();
        readPort(from.port(), *output);
        output->setDefaultState(inRange(from.port().default_state(), cObject::OBJ_IO_STATE_CLEAR));
        output->setOutputState(inRange(from.port().output_state(), cObject::OBJ_IO_STATE_CLEAR));
        return output;
    }
    case cObject::OBJ_EVENT: {
        auto* event = new cObjectEvent();
        event->setEventType(inRange(from.event().event_type(), cObjectEvent::EVENT_PORT_ANALOG));
        event->setDeviceSerial(from.event().serial());
        event->setPortId(static_cast<int>(from.event().id()));
        event->setObjectType(static_cast<int>(from.event().object_type()));
        event->setStatus(inRange(from.event().status(), cObject::OBJ_STATUS_ALARM_WARN));
        return event;
    }
    default:
        return new cObject(kind);
    }
}

std::string frame(const tavobj::Message& message)
{
    std::string content;
    if (!message.SerializeToString(&content) || content.size() > kMaxFrame)
        return {};
    const auto length = static_cast<uint32_t>(content.size());
    std::string framed;
    framed.reserve(kHeader + content.size());
    for (int shift = 24; shift >= 0; shift -= 8)
        framed.push_back(static_cast<char>(length >> shift & 0xff));
    return framed += content;
}

} // namespace

size_t frameLength(const unsigned char (&header)[kHeader])
{
    return size_t{header[0]} << 24 | size_t{header[1]} << 16 | size_t{header[2]} << 8 | size_t{header[3]};
}

std::unique_ptr<Incoming> decode(const char* content, size_t length, std::string& error)
{
    tavobj::Message message;
    if (length == 0) {
        error = "an empty message";
        return nullptr;
    }
    if (length > kMaxFrame || !message.ParseFromArray(content, static_cast<int>(length))) {
        error = "not a message";
        return nullptr;
    }
    if (static_cast<size_t>(message.objects_size()) > kMaxObjects) {
        error = "a message of " + std::to_string(message.objects_size()) + " objects";
        return nullptr;
    }
    if (message.type() > UINT8_MAX) {
        error = "message type " + std::to_string(message.type());
        return nullptr;
    }
    auto incoming = std::make_unique<Incoming>();
    incoming->id = message.id();
    incoming->list->setMsgType(static_cast<uint8_t>(message.type()));
    for (const tavobj::Object& object : message.objects()) {
        if (object.kind() >= cObject::OBJ_NUM_OBJECT_TYPES)
            incoming->remark = "an object of unknown type " + std::to_string(object.kind());
        else if (!usableLabel(object.port().label()))
            incoming->remark = "a port with a label of " + std::to_string(object.port().label().size()) + " bytes";
        else
            incoming->list->add(makeObject(object));
    }
    return incoming;
}

std::string encodeGet(uint32_t id, cObjectList& request)
{
    tavobj::Message message;
    message.set_type(MSG_GET);
    message.set_id(id);
    for (cObject* object = request.first(); object != nullptr; object = request.next()) {
        if (const auto* port = dynamic_cast<const cObjectPort*>(object))
            writePort(*port, *message.add_objects());
    }
    return frame(message);
}

std::string encodeSet(uint32_t id, const cObject& object)
{
    const auto* port = dynamic_cast<const cObjectPort*>(&object);
    if (port == nullptr)
        return {};
    tavobj::Message message;
    message.set_type(MSG_SET);
    message.set_id(id);
    writePort(*port, *message.add_objects());
    return frame(message);
}

std::string setKey(const cObject& object)
{
    const auto* port = dynamic_cast<const cObjectPort*>(&object);
    if (port == nullptr)
        return {};
    return std::to_string(port->getDeviceSerial()) + '/' + std::to_string(port->getPortId()) + '/' +
           std::to_string(port->getType()) + '/' + port->getPortLabel();
}

} // namespace tavcodec
