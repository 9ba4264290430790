#include "frameBuffer.h"

#include "codec.h"

#include <algorithm>

namespace {

constexpr size_t kRoom = 8192;      // bytes; a longer frame gets as much as it needs
constexpr size_t kKeptRoom = 65536; // after a longer frame, the buffer shrinks to kRoom again

} // namespace

void FrameBuffer::clear()
{
    m_bytes.resize(kRoom);
    m_size = 0;
}

std::string FrameBuffer::take(size_t count, const Receiver& receiver)
{
    m_size += count;
    const char* next = m_bytes.data();
    size_t left = m_size;
    size_t wanted = 0;
    while (left >= tavcodec::kHeader) {
        unsigned char header[tavcodec::kHeader];
        std::copy_n(next, tavcodec::kHeader, header);
        const size_t length = tavcodec::frameLength(header);
        if (length > tavcodec::kMaxFrame)
            return "it announced a message of " + std::to_string(length) + " bytes";
        wanted = tavcodec::kHeader + length;
        if (left < wanted)
            break;
        std::string why = receiver(next + tavcodec::kHeader, length);
        if (!why.empty())
            return why;
        next += wanted;
        left -= wanted;
        wanted = 0;
    }
    keep(next, left, wanted);
    return {};
}

// Moves the unfinished frame to the start, and makes room for the rest of it.
void FrameBuffer::keep(const char* rest, size_t size, size_t wanted)
{
    const size_t room = std::max(wanted, kRoom);
    if (room > m_bytes.size() || (room == kRoom && m_bytes.size() > kKeptRoom)) {
        std::string other(room, '\0');
        std::copy_n(rest, size, other.begin());
        m_bytes.swap(other);
    } else {
        std::copy_n(rest, size, m_bytes.begin());
    }
    m_size = size;
}
