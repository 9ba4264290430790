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

/// Where an event has got to; guarded by the lock, like the lists.
struct Progress {
    size_t waiting = 0; ///< the newest entries of the list, which no pass has taken yet
    size_t dropped = 0; ///< entries that thin() took out
};

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
template <class Event>
void insert(std::mutex& lock, cEnumeratedList<Event>& events, Event* event, sem_t& wakeUps, Progress& progress)
{
    if (event == nullptr) {
        return;
    }
    {
        const std::lock_guard<std::mutex> held(lock);
        events.insert(event);
        ++progress.waiting;
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

/// Any thread: when more than @p most events wait, takes out all that wait but the newest of each kind, with their
/// wake-ups, and hands them to @p destroy. @param kind  from an event to a value that is equal for events of one kind
template <class Event, class Kind, class Destroy>
void thin(std::mutex& lock, cEnumeratedList<Event>& events, sem_t& wakeUps, Progress& progress, size_t most, Kind kind,
          Destroy destroy)
{
    const std::lock_guard<std::mutex> held(lock);
    if (progress.waiting <= most) {
        return;
    }
    std::vector<Event*> waiting = entries(events);
    waiting.resize(progress.waiting);
    std::vector<decltype(kind(*waiting.front()))> kept;
    for (Event* event : waiting) {
        if (std::find(kept.begin(), kept.end(), kind(*event)) == kept.end()) {
            kept.push_back(kind(*event));
            continue;
        }
        events.remove(event);
        destroy(event);
        sem_trywait(&wakeUps);
        ++progress.dropped;
    }
    progress.waiting = kept.size();
}

/// The dispatch thread, once for each wake-up: every listener, newest first, gets every event, newest first. What is
/// inserted meanwhile has its own pass. Then the delivered events but the newest kKept are handed to @p destroy;
/// without a listener nothing was delivered and everything stays.
template <class Event, class Destroy>
void pass(std::mutex& lock, cEnumeratedList<EventNotifier>& listeners, cEnumeratedList<Event>& events,
          Progress& progress, Destroy destroy)
{
    std::vector<EventNotifier*> to;
    std::vector<Event*> what;
    {
        const std::lock_guard<std::mutex> held(lock);
        to = entries(listeners);
        if (to.empty()) {
            return;
        }
        what = entries(events);
        progress.waiting = 0;
    }
    for (EventNotifier* listener : to) {
        for (Event* event : what) {
            listener->EventOccured(*event);
        }
    }
    if (what.size() <= kKept) {
        return;
    }
    std::vector<Event*> delivered;
    {
        const std::lock_guard<std::mutex> held(lock);
        events.keepNewest(progress.waiting + kKept, [&](Event* event) { delivered.push_back(event); });
    }
    std::for_each(delivered.begin(), delivered.end(), destroy);
}

} // namespace eventDispatch

#endif
