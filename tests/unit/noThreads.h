/// A process that can have no further thread.
#ifndef NOTHREADS_H
#define NOTHREADS_H

#include <pthread.h>

#include <cstddef>

/// While it lives, no thread can be made: none can have the stack that it asks for. One at a time.
class NoThreads {
public:
    NoThreads()
    {
        pthread_attr_t huge;
        pthread_getattr_default_np(&m_usual);
        pthread_attr_init(&huge);
        pthread_attr_setstacksize(&huge, ~std::size_t{0xfffff});
        pthread_setattr_default_np(&huge);
    }
    ~NoThreads() { pthread_setattr_default_np(&m_usual); }
    NoThreads(const NoThreads&) = delete;
    NoThreads& operator=(const NoThreads&) = delete;

private:
    pthread_attr_t m_usual;
};

#endif
