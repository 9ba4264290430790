// The messages that the simulated object server writes.
#ifndef SIM_TAVD_PROTOCOL_H
#define SIM_TAVD_PROTOCOL_H

#include "tavd/Ports.h"
#include "tavobj.pb.h"

#include <string>

namespace sim {

constexpr size_t kMaxFrame = 1 << 20; ///< bytes of a frame's content
enum eKind : uint32_t { KIND_PORT = 1, KIND_DIN = 2, KIND_DOUT = 3, KIND_AIN = 4, KIND_EVENT = 5, KIND_ACCESS = 10 };
enum eType : uint32_t { TYPE_GET = 0, TYPE_SET = 1, TYPE_EVENT = 3 };
enum eEvent : uint32_t { EVENT_DEVICE = 1, EVENT_PORT = 2, EVENT_SITE = 3 };

/// Any thread. Adds the port's state to an answer or a set.
void addPort(const Port& from, tavobj::Message& message);
/// Makes the message an event and adds the port's alarm status.
void addEvent(const Port& from, tavobj::Message& message);
/// Adds events of other objects, which a client must ignore.
void addStrangeEvents(tavobj::Message& message);
/// A frame: the length, then the content.
std::string frame(const std::string& content);
std::string framed(const tavobj::Message& message);

} // namespace sim

#endif
