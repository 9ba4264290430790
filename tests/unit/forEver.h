// What threads without an end go on using.
#ifndef FOREVER_H
#define FOREVER_H

#include <mutex>
#include <utility>
#include <vector>

/// A new one that is there until the process ends, as in the daemon. Any thread.
template <typename T, typename... Args> T& forEver(Args&&... args)
{
    static std::mutex mutex;
    static auto& all = *new std::vector<T*>(); // so that it is reachable
    auto* made = new T(std::forward<Args>(args)...);
    const std::lock_guard<std::mutex> lock(mutex);
    all.push_back(made);
    return *made;
}

#endif
