// Holds a POSIX mutex for the length of a block.
#ifndef SCOPEDLOCK_H
#define SCOPEDLOCK_H

#include <pthread.h>

class ScopedLock {
public:
    /// @param mutex borrowed; locked until the end of the block
    explicit ScopedLock(pthread_mutex_t& mutex) : m_mutex(mutex) { pthread_mutex_lock(&m_mutex); }
    ~ScopedLock() { pthread_mutex_unlock(&m_mutex); }
    ScopedLock(const ScopedLock&) = delete;
    ScopedLock& operator=(const ScopedLock&) = delete;

private:
    pthread_mutex_t& m_mutex;
};

#endif
