/// The queue of the two event dispatch threads: inserting an event, and delivering the list.
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

/// Lock: the caller's mutex guards both lists (heads and cursors). It is not held while a listener runs, so that a
/// listener may insert and subscribe.
namespace eventDispatch {

/// Delivered events that stay in a list. Few, because each pass delivers and logs them again.
constexpr size_t kKept = 3;

/// The state of a list's events; guarded by the lock, like the lists.
struct Progress {
    size_t waiting = 0; ///< undelivered entries, the newest of the list
    size_t dropped = 0; ///< entries that thin() removed
};

/// Waits for a wake-up. A signal is none.
inline void wait(sem_t& wakeUps)
{
    while (sem_wait(&wakeUps) != 0 && errno == EINTR) {
    }
}

/// Adds a listener, borrowed for the life of the process. Null is ignored. Any thread.
inline void subscribe(std::mutex& lock, cEnumeratedList<EventNotifier>& listeners, EventNotifier* listener)
{
    const std::lock_guard<std::mutex> held(lock);
    if (listener != nullptr) {
        listeners.insert(listener);
    }
}

/// Adds @p event to its list, which then owns it, and posts a wake-up. Null is ignored. Any thread.
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

/// If more than @p most events wait, keeps only the newest of each kind, and passes the others to @p destroy. Any
/// thread.
/// @param kind  maps an event to a value that is equal for events of one kind
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

/// Delivers every event to every listener, both newest first; then passes all delivered events but the newest kKept to
/// @p destroy. Events inserted meanwhile wait for their own pass. Without a listener nothing happens. Dispatch thread,
/// once for each wake-up.
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
