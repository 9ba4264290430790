// Holds a mutex until the end of a block.
#ifndef SCOPEDLOCK_H
#define SCOPEDLOCK_H

#include <pthread.h>

inline void lockMutex(pthread_mutex_t& mutex)
{
    pthread_mutex_lock(&mutex);
}

inline void unlockMutex(pthread_mutex_t& mutex)
{
    pthread_mutex_unlock(&mutex);
}

template <typename Mutex> void lockMutex(Mutex& mutex)
{
    mutex.lock();
}

template <typename Mutex> void unlockMutex(Mutex& mutex)
{
    mutex.unlock();
}

/// Works with a POSIX mutex and with any class that has lock() and unlock().
template <typename Mutex> class ScopedLock {
public:
    /// @param mutex  borrowed
    explicit ScopedLock(Mutex& mutex) : m_mutex(mutex) { lockMutex(m_mutex); }
    ~ScopedLock() { unlockMutex(m_mutex); }
    ScopedLock(const ScopedLock&) = delete;
    ScopedLock& operator=(const ScopedLock&) = delete;

private:
    Mutex& m_mutex;
};

#endif
