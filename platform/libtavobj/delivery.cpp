#include "delivery.h"

#include "cObjectListener.h"

void Delivery::start()
{
    m_thread = std::thread([this] { deliver(); });
}

void Delivery::stop()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stop = true;
    }
    m_arrived.notify_one();
    if (m_thread.joinable())
        m_thread.join();
}

bool Delivery::push(std::unique_ptr<tavcodec::Incoming> message)
{
    std::deque<std::unique_ptr<tavcodec::Incoming>> dropped;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        const size_t objects = message->list->size();
        if (m_queue.size() >= kLimit || m_objects + objects > kObjectLimit) {
            dropped.swap(m_queue);
            m_objects = 0;
            m_undelivered = 0;
            return false;
        }
        m_objects += objects;
        m_queue.push_back(std::move(message));
        m_undelivered = m_queue.size();
    }
    m_arrived.notify_one();
    return true;
}

void Delivery::deliver()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    for (;;) {
        m_arrived.wait(lock, [this] { return m_stop || !m_queue.empty(); });
        if (m_stop)
            return;
        std::unique_ptr<tavcodec::Incoming> message = std::move(m_queue.front());
        m_queue.pop_front();
        m_undelivered = m_queue.size();
        m_objects -= message->list->size();
        lock.unlock();
        for (cObjectListener* listener : m_listeners)
            listener->handleObjectAction(message->list.get());
        message.reset();
        lock.lock();
    }
}
