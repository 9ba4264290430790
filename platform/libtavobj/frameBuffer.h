// Received bytes to frames. Private to the library.
#ifndef TAVOBJ_FRAMEBUFFER_H
#define TAVOBJ_FRAMEBUFFER_H

#include <cstddef>
#include <functional>
#include <string>

/// Collects the bytes of one connection and cuts them into frames. For the io thread only.
class FrameBuffer {
public:
    /// Takes the content of a frame. @return why the connection must end; empty to go on
    using Receiver = std::function<std::string(const char* content, size_t length)>;

    /// Drops all bytes, for a new connection.
    void clear();

    /// Where the next bytes go, and how many may follow: never none.
    char* room() { return &m_bytes[m_size]; }
    size_t roomSize() const { return m_bytes.size() - m_size; }

    /// Passes every whole frame to @p receiver, after @p count bytes have been written to room().
    /// @return why the connection must end: what the receiver says, or a frame above the limit; empty to go on
    std::string take(size_t count, const Receiver& receiver);

private:
    void keep(const char* rest, size_t size, size_t wanted);

    std::string m_bytes;
    size_t m_size = 0; // received; what follows is room
};

#endif
