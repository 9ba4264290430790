// Who waits longest is served first, for the mutex alone and for the manager's evaluations.
#include "ManagerBench.h"
#include "fairMutex.h"
#include "scopedLock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

void waitFor(FairMutex& mutex, uint64_t waiters)
{
    for (FairMutex::Counts counts = mutex.counts(); counts.asked - counts.granted != waiters; counts = mutex.counts())
        std::this_thread::yield();
}

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
        waitFor(mutex, static_cast<uint64_t>(i) + 1);
    }
    mutex.unlock();
    mutex.lock(); // behind all of them
    order.push_back(kWaiters);
    mutex.unlock();
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4, 5}));
}

// A thread evaluates without pause. Whoever has asked before one of its evaluations began is served before that.
TEST(FairMutex, NoEvaluationOvertakesACommandOrARefresh)
{
    constexpr uint64_t kTurns = 2000;
    ManagerBench& manager = ManagerBench::forEver();
    for (int i = 0; i < 50; ++i)
        manager.addConnection(leaf("IN1"), action("OUT1"));
    std::atomic<uint64_t> turns{0};
    std::thread other([&] {
        tavTrigger* commanded = action("OUT1");
        for (; turns < kTurns; ++turns) {
            if (turns % 2 == 0)
                manager.setActionState(GSMIOmanager::SET, commanded, nullptr, nullptr);
            else
                manager.update_lists();
        }
        delete commanded;
    });
    uint64_t overtaken = 0;
    while (turns < kTurns) {
        const FairMutex::Counts before = manager.mEvaluationMutex.counts();
        manager.check_trigger_values();
        overtaken += manager.mEvaluationMutex.counts().granted > before.asked ? 0 : 1;
    }
    other.join();
    EXPECT_EQ(overtaken, 0u);
}

} // namespace
