// Who waits longest is served first.
#include "fairMutex.h"
#include "scopedLock.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

TEST(FairMutex, IsGivenInTheOrderOfAskingAlsoToWhoeverLocksItAgainAtOnce)
{
    constexpr int kWaiters = 5;
    FairMutex mutex;
    std::vector<int> order; // guarded by mutex
    std::vector<std::thread> threads;
    mutex.lock();
    for (int i = 0; i < kWaiters; ++i) {
        threads.emplace_back([&mutex, &order, i] {
            ScopedLock turn(mutex);
            order.push_back(i);
        });
        while (mutex.waiting() != static_cast<size_t>(i) + 1)
            std::this_thread::yield();
    }
    mutex.unlock();
    mutex.lock(); // behind all of them
    order.push_back(kWaiters);
    mutex.unlock();
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4, 5}));
}

} // namespace
