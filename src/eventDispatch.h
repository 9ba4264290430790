/// What the two event dispatch threads have in common: how an event gets into a list, and how one pass delivers the
/// list.
#ifndef EVENTDISPATCH_H
#define EVENTDISPATCH_H

#include "EventNotifier.h"
#include "enum_list.h"

#include <semaphore.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <mutex>
#include <vector>

/// Lock: the caller's mutex guards both lists (heads and cursors) and is held for list work only, never while a
/// listener runs, so that a listener may insert and subscribe.
namespace eventDispatch {

/// Delivered events that stay in a list. Each pass delivers them again, and each delivery is a line of the log: few.
constexpr size_t kKept = 3;

/// Waits until @p wakeUps can be counted down; an interrupted wait is no wake-up.
inline void wait(sem_t& wakeUps)
{
    while (sem_wait(&wakeUps) != 0 && errno == EINTR) {
    }
}

/// Any thread: adds a listener, which is borrowed for the life of the process. Null is ignored.
inline void subscribe(std::mutex& lock, cEnumeratedList<EventNotifier>& listeners, EventNotifier* listener)
{
    const std::lock_guard<std::mutex> held(lock);
    if (listener != nullptr) {
        listeners.insert(listener);
    }
}

/// Any thread: hands @p event over to the list, then counts @p wakeUps up. Null is ignored.
template <class Event> void insert(std::mutex& lock, cEnumeratedList<Event>& events, Event* event, sem_t& wakeUps)
{
    if (event == nullptr) {
        return;
    }
    {
        const std::lock_guard<std::mutex> held(lock);
        events.insert(event);
    }
    sem_post(&wakeUps);
}

template <class T> std::vector<T*> entries(cEnumeratedList<T>& list)
{
    std::vector<T*> objects;
    for (T* object = list.first(); object != nullptr; object = list.getNext()) {
        objects.push_back(object);
    }
    return objects;
}

/// The dispatch thread, once for each wake-up: every listener, newest first, gets every event, newest first. What is
/// inserted meanwhile has its own pass. Then the delivered events but the newest kKept are handed to @p destroy;
/// without a listener nothing was delivered and everything stays.
template <class Event, class Destroy>
void pass(std::mutex& lock, cEnumeratedList<EventNotifier>& listeners, cEnumeratedList<Event>& events, Destroy destroy)
{
    std::vector<EventNotifier*> to;
    std::vector<Event*> what;
    {
        const std::lock_guard<std::mutex> held(lock);
        to = entries(listeners);
        what = entries(events);
    }
    for (EventNotifier* listener : to) {
        for (Event* event : what) {
            listener->EventOccured(*event);
        }
    }
    if (to.empty() || what.size() <= kKept) {
        return;
    }
    std::vector<Event*> dropped;
    {
        const std::lock_guard<std::mutex> held(lock);
        const size_t undelivered = events.size() - what.size();
        events.keepNewest(undelivered + kKept, [&](Event* event) { dropped.push_back(event); });
    }
    std::for_each(dropped.begin(), dropped.end(), destroy);
}

} // namespace eventDispatch

#endif
