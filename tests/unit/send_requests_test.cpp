// The queue of send requests and the dispatch of events, which two threads share.
#include "cGsmQManager.h"
#include "eventDispatch.h"
#include "forEver.h"
#include "listener.h"

#include <gmock/gmock.h>

#include <csignal>
#include <pthread.h>
#include <set>

namespace {

/// Queues and what their threads touch stay to the end of the process, as in the daemon.
class SendRequests : public testing::Test {
protected:
    struct Card {
        Heard heard;
        std::atomic<int> alive{0}; ///< requests
        cGsmQManager queue;

        void post(int number) { queue.iInsertEvent(new Request(std::to_string(number), alive)); }
        void subscribe(const std::string& name)
        {
            queue.subscribe(new Listener([this, name](const std::string& text) { heard.add(name + text); }));
        }
        /// Waits until the latest calls are @p lines: a pass that comes too early repeats some, and the last stay.
        bool waitForLast(const std::vector<std::string>& lines)
        {
            return eventually([&] {
                const std::vector<std::string> all = heard.all();
                return all.size() >= lines.size() && std::equal(lines.rbegin(), lines.rend(), all.rbegin());
            });
        }
    };
    Card& card = forEver<Card>();
};

TEST_F(SendRequests, EveryPassDeliversAllNewestFirst)
{
    card.subscribe("first ");
    card.post(1);
    EXPECT_TRUE(card.waitForLast({"first 1"}));
    card.post(2);
    EXPECT_TRUE(card.waitForLast({"first 2", "first 1"}));
    card.subscribe("second ");
    card.post(3);
    EXPECT_TRUE(card.waitForLast({"second 3", "second 2", "second 1", "first 3", "first 2", "first 1"}));
}

TEST_F(SendRequests, AListenerMaySubscribeAndPost)
{
    card.queue.subscribe(new Listener([&kept = card, busy = false](const std::string&) mutable {
        if (!std::exchange(busy, true)) {
            kept.subscribe("next ");
            kept.post(2);
        }
    }));
    card.queue.iInsertEvent(nullptr);
    card.post(1);
    EXPECT_TRUE(card.waitForLast({"next 2", "next 1"}));
}

TEST_F(SendRequests, AllReachALateListenerThenConcurrentOnesAndTheListGetsShort)
{
    constexpr int kEarly = 2000, kLater = 300;
    for (int i = 0; i < kEarly; ++i)
        card.post(i);
    EXPECT_EQ(card.alive, kEarly);
    card.subscribe("");
    std::vector<std::thread> threads;
    for (int first = kEarly; first < kEarly + 3 * kLater; first += kLater) {
        threads.emplace_back([this, first] {
            for (int i = 0; i < kLater; ++i)
                card.post(first + i);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_TRUE(eventually([this] { return card.alive == static_cast<int>(eventDispatch::kKept); })) << card.alive;
    const std::vector<std::string> all = card.heard.all();
    EXPECT_EQ(std::set<std::string>(all.begin(), all.end()).size(), std::size_t{kEarly + 3 * kLater});
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
        ASSERT_TRUE(eventually([&] { return signals >= sent; }));
    }
    sem_post(&wakeUps);
    waiting.join();
    int left = -1;
    sem_getvalue(&wakeUps, &left);
    EXPECT_EQ(left, 0) << "the wait took the wake-up, not the signal";
    sigaction(SIGUSR1, &before, nullptr);
}

} // namespace
