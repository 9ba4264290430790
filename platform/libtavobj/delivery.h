// The delivery thread's queue. Private to the library.
#ifndef TAVOBJ_DELIVERY_H
#define TAVOBJ_DELIVERY_H

#include "codec.h"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

class cObjectListener;

/// Passes messages to the listeners, one at a time, on its own thread.
class Delivery {
public:
    static constexpr size_t kLimit = 65536;        ///< undelivered messages
    static constexpr size_t kObjectLimit = 262144; ///< objects in them, some tens of MB

    ~Delivery() { stop(); }

    /// Call it before start(). @param listener  borrowed
    void addListener(cObjectListener* listener) { m_listeners.push_back(listener); }
    void start();
    /// Ends the thread after its current message.
    void stop();

    /// For the io thread. @return false if a limit is exceeded: then all undelivered messages are dropped
    bool push(std::unique_ptr<tavcodec::Incoming> message);
    /// Messages that the thread has yet to take. Any thread; takes no lock.
    size_t undelivered() const { return m_undelivered; }

private:
    void deliver();

    std::vector<cObjectListener*> m_listeners; // not changed once the thread runs
    std::mutex m_mutex;                        // guards the queue and m_stop; not held while a listener runs
    std::condition_variable m_arrived;
    std::deque<std::unique_ptr<tavcodec::Incoming>> m_queue;
    size_t m_objects = 0;                 // in the queue's messages
    std::atomic<size_t> m_undelivered{0}; // the queue's length, for those who look on
    bool m_stop = false;
    std::thread m_thread;
};

#endif
