// Converts objects to frames and back. Private to the library; a separate header for the fuzzer.
#ifndef TAVOBJ_CODEC_H
#define TAVOBJ_CODEC_H

#include "cObjectList.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace tavcodec {

constexpr size_t kMaxFrame = 1 << 20; ///< bytes of a frame's content
constexpr size_t kHeader = 4;         ///< bytes of the length before it, big-endian
constexpr size_t kMaxObjects = 16384; ///< in one message
constexpr size_t kMaxLabel = 31;      ///< characters

enum eMsgType : uint8_t { MSG_GET = 0, MSG_SET = 1, MSG_EVT = 3 };

/// A received message. Owns list and objects until the list is taken.
struct Incoming {
    uint32_t id = 0;
    std::unique_ptr<cObjectList> list = std::make_unique<cObjectList>();
    std::string remark; ///< what was left out of the message and why; usually empty

    Incoming() = default;
    Incoming(Incoming&&) = default;
    Incoming& operator=(Incoming&&) = default;
    ~Incoming()
    {
        if (list)
            list->deleteObjects();
    }
};

/// The length in a header, not checked against kMaxFrame.
size_t frameLength(const unsigned char (&header)[kHeader]);

/// Decodes a frame's content. Objects with an unusable kind or label are left out, with a remark.
/// @return null if the content is no message; @p error says why
std::unique_ptr<Incoming> decode(const char* content, size_t length, std::string& error);

/// The frame of a get, and of a set for one output; empty if it is too long.
std::string encodeGet(uint32_t id, cObjectList& request);
std::string encodeSet(uint32_t id, const cObject& object);

/// Identifies the output of a set: sets with equal keys replace one another.
std::string setKey(const cObject& object);

} // namespace tavcodec

#endif
