#include "sendQueue.h"

#include <sys/socket.h>

#include <cerrno>
#include <iterator>
#include <utility>

void SendQueue::clear()
{
    m_sets.clear();
    m_waiting.clear();
    m_front.clear();
    m_sent = 0;
}

bool SendQueue::add(const std::string& key, std::string frame)
{
    if (empty()) {
        m_front = std::move(frame);
        return true;
    }
    const auto older = key.empty() ? m_sets.end() : m_sets.find(key);
    if (older != m_sets.end()) {
        older->second->frame = std::move(frame);
        return true;
    }
    if (m_waiting.size() >= kLimit)
        return false;
    m_waiting.push_back({key, std::move(frame)});
    if (!key.empty())
        m_sets[key] = std::prev(m_waiting.end());
    return true;
}

int SendQueue::sendFront(int socket)
{
    while (m_sent < m_front.size()) {
        const ssize_t gone =
            ::send(socket, m_front.data() + m_sent, m_front.size() - m_sent, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (gone >= 0)
            m_sent += static_cast<size_t>(gone);
        else if (errno != EINTR)
            return errno;
    }
    m_sent = 0;
    if (m_waiting.empty()) {
        m_front.clear();
    } else {
        m_front = std::move(m_waiting.front().frame);
        m_sets.erase(m_waiting.front().key);
        m_waiting.pop_front();
    }
    return 0;
}
