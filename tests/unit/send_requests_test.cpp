#include "cGsmQManager.h"
#include "eventDispatch.h"
#include "forEver.h"

#include <gmock/gmock.h>

#include <csignal>
#include <pthread.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr auto kDeadline = std::chrono::seconds(30);
constexpr int kKept = eventDispatch::kKept;

/// A request that can be told from others, and counts how many there are.
class Numbered : public smsSendRequestEvent {
public:
    Numbered(int number, std::atomic<int>& alive) : mNumber(number), mAlive(alive) { ++mAlive; }
    ~Numbered() override { --mAlive; }
    const int mNumber;

private:
    std::atomic<int>& mAlive;
};

/// What the listeners of a test were called with, as "NAME NUMBER".
class Record {
public:
    void add(const std::string& line)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mLines.push_back(line);
        mChanged.notify_all();
    }
    template <class Condition> bool wait(Condition condition)
    {
        std::unique_lock<std::mutex> lock(mMutex);
        return mChanged.wait_until(lock, std::chrono::system_clock::now() + kDeadline,
                                   [&] { return condition(mLines); });
    }
    /// Waits until the latest calls are @p lines. A pass that comes too early repeats lines, but does not change the
    /// last.
    bool waitForLast(const std::vector<std::string>& lines)
    {
        return wait([&](const std::vector<std::string>& all) {
            return all.size() >= lines.size() && std::equal(lines.rbegin(), lines.rend(), all.rbegin());
        });
    }
    bool waitForEach(const std::set<std::string>& lines)
    {
        return wait([&](const std::vector<std::string>& all) {
            const std::set<std::string> seen(all.begin(), all.end());
            return std::includes(seen.begin(), seen.end(), lines.begin(), lines.end());
        });
    }

private:
    std::mutex mMutex;
    std::condition_variable mChanged;
    std::vector<std::string> mLines;
};

class Listener : public EventNotifier {
public:
    Listener(std::string name, Record& record) : mName(std::move(name)), mRecord(record) {}
    void EventOccured(ModemEvent&) override { mRecord.add("modem event"); }
    void EventOccured(smsSendRequestEvent& event) override
    {
        mRecord.add(mName + " " + std::to_string(static_cast<Numbered&>(event).mNumber));
    }

private:
    std::string mName;
    Record& mRecord;
};

template <class Condition> bool waitUntil(Condition condition)
{
    const auto end = std::chrono::steady_clock::now() + kDeadline;
    while (!condition() && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return condition();
}

/// Queues and what their threads touch stay to the end of the process, as in the daemon.
class SendRequests : public testing::Test {
protected:
    EventNotifier* listener(const char* name) { return new Listener(name, mRecord); }
    void post(int number) { mQueue.iInsertEvent(new Numbered(number, mAlive)); }

private:
    struct Kept {
        Record record;
        std::atomic<int> alive{0};
        cGsmQManager queue;
    };
    Kept& mKept = forEver<Kept>();

protected:
    Record& mRecord = mKept.record;
    std::atomic<int>& mAlive = mKept.alive; ///< requests
    cGsmQManager& mQueue = mKept.queue;
};

TEST_F(SendRequests, EveryPassDeliversAllNewestFirst)
{
    EXPECT_EQ(mQueue.subscribe(listener("first")), 0);
    post(1);
    EXPECT_TRUE(mRecord.waitForLast({"first 1"}));
    post(2);
    EXPECT_TRUE(mRecord.waitForLast({"first 2", "first 1"}));

    mQueue.subscribe(listener("second"));
    post(3);
    EXPECT_TRUE(mRecord.waitForLast({"second 3", "second 2", "second 1", "first 3", "first 2", "first 1"}));
}

TEST_F(SendRequests, AListenerMaySubscribeAndPost)
{
    class Busy : public EventNotifier {
    public:
        Busy(cGsmQManager& queue, std::atomic<int>& alive, EventNotifier* next)
            : mQueue(queue), mAlive(alive), mNext(next)
        {
        }
        void EventOccured(ModemEvent&) override {}
        void EventOccured(smsSendRequestEvent&) override
        {
            if (EventNotifier* const next = mNext.exchange(nullptr)) {
                mQueue.subscribe(next);
                mQueue.iInsertEvent(new Numbered(2, mAlive));
            }
        }

    private:
        cGsmQManager& mQueue;
        std::atomic<int>& mAlive;
        std::atomic<EventNotifier*> mNext;
    };
    mQueue.subscribe(new Busy(mQueue, mAlive, listener("next")));
    mQueue.iInsertEvent(nullptr);
    post(1);
    EXPECT_TRUE(mRecord.waitForLast({"next 2", "next 1"}));
}

TEST_F(SendRequests, ConcurrentPostsAreAllDeliveredAndTheListStaysShort)
{
    mQueue.subscribe(listener("l"));
    std::set<std::string> all;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 3; ++thread) {
        for (int i = 0; i < 300; ++i) {
            all.insert("l " + std::to_string(thread * 1000 + i));
        }
        threads.emplace_back([this, thread] {
            for (int i = 0; i < 300; ++i) {
                post(thread * 1000 + i);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_TRUE(mRecord.waitForEach(all));
    EXPECT_TRUE(waitUntil([this] { return mAlive == kKept; })) << mAlive;
}

TEST_F(SendRequests, NothingIsDroppedBeforeItIsDelivered)
{
    std::set<std::string> all;
    for (int i = 0; i < 100; ++i) {
        post(i);
        all.insert("late " + std::to_string(i));
    }
    EXPECT_EQ(mAlive, 100);
    mQueue.subscribe(listener("late"));
    post(100);
    EXPECT_TRUE(mRecord.waitForEach(all));
    EXPECT_TRUE(waitUntil([this] { return mAlive == kKept; })) << mAlive;
}

// Or many posts, each with a pass over all before it, would cost the square of their number.
TEST(EventDispatch, APassWithoutAListenerWalksNothing)
{
    std::mutex lock;
    cEnumeratedList<EventNotifier> nobody;
    cEnumeratedList<smsSendRequestEvent> requests;
    eventDispatch::Progress progress;
    smsSendRequestEvent older, newer;
    requests.insert(&older);
    requests.insert(&newer);
    EXPECT_EQ(requests.first(), &newer);
    eventDispatch::pass(lock, nobody, requests, progress, [](smsSendRequestEvent*) {});
    EXPECT_EQ(requests.getNext(), &older) << "the cursor was moved";
}

TEST(EventDispatch, ASignalIsNoWakeUp)
{
    static std::atomic<int> signals{0};
    struct sigaction action = {};
    action.sa_handler = [](int) { ++signals; };
    struct sigaction before = {};
    ASSERT_EQ(sigaction(SIGUSR1, &action, &before), 0);
    sem_t wakeUps;
    sem_init(&wakeUps, 0, 0);
    std::thread waiting([&] { eventDispatch::wait(wakeUps); });
    for (int sent = 1; sent <= 20; ++sent) {
        pthread_kill(waiting.native_handle(), SIGUSR1);
        ASSERT_TRUE(waitUntil([&] { return signals >= sent; }));
    }
    sem_post(&wakeUps);
    waiting.join();
    int left = -1;
    sem_getvalue(&wakeUps, &left);
    EXPECT_EQ(left, 0) << "the wait took the wake-up, not the signal";
    sigaction(SIGUSR1, &before, nullptr);
}

} // namespace
