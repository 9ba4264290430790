/// The queue of SMS send requests, from the threads that evaluate to the GSM handler thread.
#ifndef CGSMQMANAGER_H
#define CGSMQMANAGER_H

#include "EventNotifier.h"
#include "enum_list.h"
#include "eventDispatch.h"
#include "smsSendRequestEvent.h"

#include <semaphore.h>

#include <atomic>
#include <cstddef>
#include <mutex>

/// Delivers each posted request to the listeners on its own thread, event2_thread.
/// Threads: any thread may call subscribe and iInsertEvent. Listeners are called on event2_thread.
/// Lock:    a private mutex guards the two lists; it is not held while a listener runs.
/// Memory:  the queue owns posted requests, and keeps only the newest 3 that are delivered. It must live as long as the
///          process, because its thread does.
class cGsmQManager {
public:
    /// Starts event2_thread, which makes one pass at once, then one for each request.
    cGsmQManager();
    /// Does nothing: the thread goes on using lists and requests.
    virtual ~cGsmQManager();
    cGsmQManager(const cGsmQManager&) = delete;
    cGsmQManager& operator=(const cGsmQManager&) = delete;

    /// Adds a listener, borrowed for the life of the process. @return 0
    int subscribe(EventNotifier* handler);
    /// Posts @p evt, which the queue then owns, and wakes event2_thread.
    void iInsertEvent(smsSendRequestEvent* evt);
    /// Waits for one wake-up, and so takes it from event2_thread.
    void makeWait();

    /// The queue's own lists. Use them only while no other thread can.
    cEnumeratedList<EventNotifier>* getListeners() const { return m_Listeners; }
    cEnumeratedList<smsSendRequestEvent>* getEvents() const { return m_SmsRequestQ; }
    bool get_hasQMemebers() const { return m_hasQMemebers; }
    void set_hasQMemebers(bool has) { m_hasQMemebers = has; }

private:
    static void* event2_thread(void* data);

    sem_t binary_sem;                                    ///< counts wake-ups; starts at 1
    std::atomic<bool> m_hasQMemebers;                    ///< not used by the queue itself
    cEnumeratedList<EventNotifier>* m_Listeners;         ///< newest first; guarded by mLists
    cEnumeratedList<smsSendRequestEvent>* m_SmsRequestQ; ///< newest first; guarded by mLists
    std::mutex mLists;
    eventDispatch::Progress mProgress; ///< guarded by mLists
};

#endif
