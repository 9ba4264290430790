// Frames that wait for the socket. Private to the library.
#ifndef TAVOBJ_SENDQUEUE_H
#define TAVOBJ_SENDQUEUE_H

#include <cstddef>
#include <list>
#include <string>
#include <unordered_map>

/// The unsent frames of one connection, in order. Not safe by itself: the connection's mutex guards it.
class SendQueue {
public:
    static constexpr size_t kLimit = 20000; ///< above tavcodec::kMaxObjects: every output of an answer may be unsent

    bool empty() const { return m_front.empty(); }
    void clear();

    /// Appends a frame. A set replaces the waiting frame that has its key.
    /// @param key   of a set, see tavcodec::setKey; empty for a get
    /// @param frame not empty
    /// @return false if the queue is full
    bool add(const std::string& key, std::string frame);

    /// Sends as much of the first frame as @p socket takes without blocking, and removes it once all of it is sent.
    /// @return 0 once the first frame is sent, else the errno of the call that failed: EAGAIN if the socket is full
    int sendFront(int socket);

private:
    struct Waiting {
        std::string key;
        std::string frame;
    };

    std::string m_front; // of which m_sent bytes are sent
    size_t m_sent = 0;
    std::list<Waiting> m_waiting;                                         // behind m_front
    std::unordered_map<std::string, std::list<Waiting>::iterator> m_sets; // of m_waiting, by key
};

#endif
