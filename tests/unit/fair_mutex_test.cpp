// Who waits longest is served first, for the mutex alone and for the manager's evaluations.
#include "ManagerBench.h"
#include "fairMutex.h"
#include "scopedLock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
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

TEST(FairMutex, LetGoForABlockItIsTakenBackInTurn)
{
    FairMutex mutex;
    int value = 0; // guarded by mutex
    ScopedLock held(mutex);
    std::thread other([&] {
        ScopedLock turn(mutex);
        value = 1;
    });
    while (mutex.waiting() != 1)
        std::this_thread::yield();
    {
        ScopedUnlock talking(mutex);
    }
    EXPECT_EQ(value, 1) << "the other thread asked before";
    other.join();
}

// A thread evaluates without pause; each command and each refresh of another waits for two evaluations at most: the one
// under way, and one more that counts itself only when it has let go.
TEST(FairMutex, CommandsAndRefreshesWaitForTwoEvaluationsOfABusyThreadAtMost)
{
    ManagerBench& manager = ManagerBench::forEver();
    for (int i = 0; i < 50; ++i)
        manager.addConnection(leaf("IN1"), action("OUT1"));
    std::atomic<bool> done{false};
    std::atomic<unsigned> evaluations{0};
    std::thread busy([&] {
        while (!done) {
            manager.check_trigger_values();
            ++evaluations;
        }
    });
    while (evaluations == 0)
        std::this_thread::yield();
    tavTrigger* commanded = action("OUT1");
    unsigned worst = 0;
    for (int i = 0; i < 1000; ++i) {
        const unsigned before = evaluations;
        if (i % 2 == 0)
            manager.setActionState(GSMIOmanager::SET, commanded, nullptr, nullptr);
        else
            manager.update_lists();
        worst = std::max(worst, evaluations - before);
    }
    done = true;
    busy.join();
    delete commanded;
    EXPECT_LE(worst, 2u);
}

} // namespace
