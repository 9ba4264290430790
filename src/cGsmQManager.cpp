#include "cGsmQManager.h"

#include "eventDispatch.h"

#include <pthread.h>

cGsmQManager::cGsmQManager()
    : m_hasQMemebers(false), m_Listeners(new cEnumeratedList<EventNotifier>),
      m_SmsRequestQ(new cEnumeratedList<smsSendRequestEvent>)
{
    sem_init(&binary_sem, 0, 1);
    pthread_t thread;
    pthread_create(&thread, nullptr, event2_thread, this);
}

cGsmQManager::~cGsmQManager() = default;

int cGsmQManager::subscribe(EventNotifier* handler)
{
    eventDispatch::subscribe(mLists, *m_Listeners, handler);
    return 0;
}

void cGsmQManager::iInsertEvent(smsSendRequestEvent* evt)
{
    eventDispatch::insert(mLists, *m_SmsRequestQ, evt, binary_sem, mProgress);
}

void cGsmQManager::makeWait()
{
    eventDispatch::wait(binary_sem);
}

/// The dispatch thread; @p data is the queue.
void* cGsmQManager::event2_thread(void* data)
{
    auto* const queue = static_cast<cGsmQManager*>(data);
    for (;;) {
        eventDispatch::wait(queue->binary_sem);
        eventDispatch::pass(queue->mLists, *queue->m_Listeners, *queue->m_SmsRequestQ, queue->mProgress,
                            [](smsSendRequestEvent* request) { delete request; });
    }
}
