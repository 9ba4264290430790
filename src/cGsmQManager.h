/// The queue of SMS send requests: from the threads that evaluate triggers to the GSM side of the daemon.
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

/// Delivers each posted request to the subscribed listeners on a thread of its own, event2_thread.
/// Threads: subscribe and iInsertEvent may be called by any thread at any time; the listeners are called on
/// event2_thread.
/// Lock: one private mutex guards the two lists; it is never held while a listener runs.
/// Memory: a request belongs to the queue once it is posted; delivered ones but the newest 3 are destroyed. The queue
/// lives to the end of the process, since its thread does.
class cGsmQManager {
public:
    /// Starts event2_thread, which makes one pass at once and then one for each posted request.
    cGsmQManager();
    /// Does nothing: lists, requests and thread stay as they are, and the thread goes on using the storage.
    virtual ~cGsmQManager();
    cGsmQManager(const cGsmQManager&) = delete;
    cGsmQManager& operator=(const cGsmQManager&) = delete;

    /// Adds a listener, borrowed for the life of the process. @return 0
    int subscribe(EventNotifier* handler);
    /// Hands @p evt over to the queue and wakes event2_thread.
    void iInsertEvent(smsSendRequestEvent* evt);
    /// Waits for one wake-up and so takes it from event2_thread.
    void makeWait();

    /// The lists themselves, owned by the queue: to be walked only while nothing else can touch them.
    cEnumeratedList<EventNotifier>* getListeners() const { return m_Listeners; }
    cEnumeratedList<smsSendRequestEvent>* getEvents() const { return m_SmsRequestQ; }
    bool get_hasQMemebers() const { return m_hasQMemebers; }
    void set_hasQMemebers(bool has) { m_hasQMemebers = has; }

private:
    static void* event2_thread(void* data);

    sem_t binary_sem;                                    ///< counts wake-ups; starts at 1
    std::atomic<bool> m_hasQMemebers;                    ///< nothing of the queue reads or writes it
    cEnumeratedList<EventNotifier>* m_Listeners;         ///< newest first; guarded by mLists
    cEnumeratedList<smsSendRequestEvent>* m_SmsRequestQ; ///< newest first; guarded by mLists
    std::mutex mLists;
    eventDispatch::Progress mProgress; ///< guarded by mLists
};

#endif
