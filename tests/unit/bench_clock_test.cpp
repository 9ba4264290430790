// The bench's clock: every call that waits ends when the bench says so, not before and not later.
#include "bench/Scenario.h"
#include "bench/Time.h"
#include "clock/benchclock.h"
#include "scratchFolder.h"

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <functional>
#include <gtest/gtest.h>
#include <poll.h>
#include <semaphore.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/select.h>
#include <sys/time.h>
#include <sys/timerfd.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

using bench::Time;
using std::chrono::milliseconds;
using std::chrono::seconds;

timespec later(clockid_t clock, time_t time)
{
    timespec end{};
    clock_gettime(clock, &end);
    end.tv_sec += time;
    return end;
}

class BenchClock : public testing::Test {
protected:
    /// Runs @p wait on a thread of its own.
    void start(std::function<int()> wait)
    {
        m_thread = std::thread([this, wait = std::move(wait)] {
            m_id = pthread_self();
            m_result = wait();
            m_ended = true;
        });
        m_time.settle();
    }
    /// @return what the wait returned
    int result()
    {
        m_thread.join();
        m_ended = false;
        return m_result;
    }
    void pass(seconds time)
    {
        const auto end = Time::Clock::now() + time;
        while (Time::Clock::now() < end)
            m_time.pass(end);
    }
    /// Seconds until the wait has ended, by the bench's clock.
    double untilItEnds()
    {
        const auto begin = Time::Clock::now();
        const auto end = begin + seconds(100);
        while (!m_ended && Time::Clock::now() < end)
            m_time.pass(end);
        return std::chrono::duration<double>(Time::Clock::now() - begin).count();
    }

    ScratchFolder m_folder;
    Time m_time{bench::Pace(), m_folder.path("page")};
    std::thread m_thread;
    std::atomic<pthread_t> m_id{};
    std::atomic<int> m_result{0};
    std::atomic<bool> m_ended{false};
};

TEST_F(BenchClock, StandsStillUntilItIsMoved)
{
    const auto monotonic = Time::Clock::now();
    const auto day = std::chrono::system_clock::now();
    usleep(2000); // of the machine's, for this thread
    EXPECT_EQ(Time::Clock::now(), monotonic);
    pass(seconds(7));
    EXPECT_EQ(Time::Clock::now() - monotonic, seconds(7));
    EXPECT_EQ(std::chrono::system_clock::now() - day, seconds(7));
    timeval coarse{};
    gettimeofday(&coarse, nullptr);
    EXPECT_EQ(coarse.tv_sec, time(nullptr));
    EXPECT_EQ(coarse.tv_sec, std::chrono::system_clock::to_time_t(std::chrono::system_clock::now()));

    timespec processor{};
    ASSERT_EQ(clock_gettime(CLOCK_THREAD_CPUTIME_ID, &processor), 0);
    EXPECT_LT(processor.tv_sec, 60) << "no time of the bench's";
    Nanoseconds machines = 0;
    std::thread([&] {
        pthread_setname_np(pthread_self(), kMachineTime);
        machines = Time::Clock::now().time_since_epoch().count();
    }).join();
    EXPECT_NEAR(static_cast<double>(machines), static_cast<double>(Time::real()), 60e9);
}

struct Wait {
    const char* name;
    std::function<int()> call; ///< waits for ten seconds; 0: the time was over
};

int pipeEnd() // that never becomes readable
{
    static int ends[2] = {-1, -1};
    if (ends[0] < 0)
        (void)!pipe(ends);
    return ends[0];
}

int conditionWait(clockid_t clock, bool named)
{
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
    const timespec end = later(clock, 10);
    pthread_mutex_lock(&mutex);
    const int result = named ? pthread_cond_clockwait(&condition, &mutex, clock, &end)
                             : pthread_cond_timedwait(&condition, &mutex, &end);
    pthread_mutex_unlock(&mutex);
    return result == ETIMEDOUT ? 0 : 1;
}

const std::vector<Wait>& waits()
{
    static const timespec ten = {10, 0};
    static const std::vector<Wait> all = {
        {"nanosleep", [] { return nanosleep(&ten, nullptr); }},
        {"clock_nanosleep", [] { return clock_nanosleep(CLOCK_MONOTONIC, 0, &ten, nullptr); }},
        {"clock_nanosleep to a time of day",
         [] {
             const timespec end = later(CLOCK_REALTIME, 10);
             return clock_nanosleep(CLOCK_REALTIME, TIMER_ABSTIME, &end, nullptr);
         }},
        {"usleep", [] { return usleep(10000000); }},
        {"sleep", [] { return static_cast<int>(sleep(10)); }},
        {"select",
         [] {
             fd_set set;
             FD_ZERO(&set);
             FD_SET(pipeEnd(), &set);
             timeval time = {10, 0};
             return select(pipeEnd() + 1, &set, nullptr, nullptr, &time) + FD_ISSET(pipeEnd(), &set) +
                    static_cast<int>(time.tv_sec + time.tv_usec);
         }},
        {"poll",
         [] {
             pollfd end = {pipeEnd(), POLLIN, 5};
             return poll(&end, 1, 10000) + end.revents;
         }},
        {"epoll_wait",
         [] {
             const int epoll = epoll_create1(0);
             epoll_event event{};
             const int found = epoll_wait(epoll, &event, 1, 10000);
             return found + close(epoll);
         }},
        {"pthread_cond_timedwait", [] { return conditionWait(CLOCK_REALTIME, false); }},
        {"pthread_cond_clockwait", [] { return conditionWait(CLOCK_MONOTONIC, true); }},
        {"timerfd",
         [] {
             const int timer = timerfd_create(CLOCK_MONOTONIC, 0);
             const itimerspec once = {{}, ten};
             timerfd_settime(timer, 0, &once, nullptr);
             std::uint64_t times = 0;
             const ssize_t length = read(timer, &times, sizeof times);
             return (length == sizeof times && times == 1 ? 0 : 1) + close(timer);
         }},
    };
    return all;
}

TEST_F(BenchClock, EndsEachWaitAtItsTime)
{
    for (const Wait& wait : waits()) {
        SCOPED_TRACE(wait.name);
        start(wait.call);
        pass(seconds(9));
        EXPECT_FALSE(m_ended);
        EXPECT_EQ(untilItEnds(), 1.0);
        EXPECT_EQ(result(), 0);
    }
}

TEST_F(BenchClock, LetsAWaitEndByWhatItWaitsFor)
{
    const int event = eventfd(0, 0);
    start([event] {
        pollfd end = {event, POLLIN, 0};
        return poll(&end, 1, 10000);
    });
    eventfd_write(event, 1);
    EXPECT_EQ(result(), 1);
    close(event);

    std::mutex mutex;
    std::condition_variable condition;
    bool said = false;
    start([&] {
        std::unique_lock<std::mutex> lock(mutex);
        return condition.wait_for(lock, seconds(10), [&] { return said; }) ? 1 : 0;
    });
    condition.notify_one(); // for nothing
    m_time.settle();
    EXPECT_FALSE(m_ended);
    {
        const std::lock_guard<std::mutex> lock(mutex);
        said = true;
    }
    condition.notify_all();
    EXPECT_EQ(result(), 1);
    pass(seconds(20)); // what was waited for is nobody's any more
}

TEST_F(BenchClock, LetsASignalInterruptAWait)
{
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(SIGUSR1, &action, nullptr);
    timespec left{};
    start([&left] {
        const timespec ten = {10, 0};
        return nanosleep(&ten, &left) == -1 ? errno : 0;
    });
    pass(seconds(4));
    pthread_kill(m_id, SIGUSR1);
    EXPECT_EQ(result(), EINTR);
    EXPECT_EQ(left.tv_sec, 6);

    timeval rest = {10, 0};
    start([&rest] { return select(0, nullptr, nullptr, nullptr, &rest) == -1 ? errno : 0; });
    pass(seconds(3));
    pthread_kill(m_id, SIGUSR1);
    EXPECT_EQ(result(), EINTR);
    EXPECT_EQ(rest.tv_sec, 7);
}

TEST_F(BenchClock, EndsAWaitForATimeOfDayWhenTheDayComes)
{
    start([] { return conditionWait(CLOCK_REALTIME, false); });
    m_time.setDay("2040-01-01");
    EXPECT_EQ(untilItEnds(), 0.0);
    EXPECT_EQ(result(), 0);
    start([] { return conditionWait(CLOCK_MONOTONIC, true); });
    m_time.setDay("2020-01-01");
    EXPECT_EQ(untilItEnds(), 10.0) << "the monotonic clock knows no day";
    EXPECT_EQ(result(), 0);
}

TEST_F(BenchClock, KeepsTimersAsTheKernelDoes)
{
    const int timer = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
    const auto readable = [&] {
        m_time.settle();
        pollfd end = {timer, POLLIN, 0};
        return poll(&end, 1, 0) == 1;
    };
    std::uint64_t times = 0;
    const itimerspec everyTwo = {{2, 0}, {5, 0}};
    itimerspec left{};
    ASSERT_EQ(timerfd_settime(timer, 0, &everyTwo, nullptr), 0);
    pass(seconds(4));
    EXPECT_FALSE(readable());
    timerfd_gettime(timer, &left);
    EXPECT_EQ(left.it_value.tv_sec, 1);
    pass(seconds(5));
    EXPECT_EQ(read(timer, &times, sizeof times), 8);
    EXPECT_EQ(times, 3U) << "at 5, 7 and 9";

    const itimerspec past = {{}, {0, 1}};
    ASSERT_EQ(timerfd_settime(timer, TFD_TIMER_ABSTIME, &past, &left), 0);
    EXPECT_EQ(left.it_interval.tv_sec, 2);
    EXPECT_TRUE(readable()) << "at once";
    const itimerspec never{};
    ASSERT_EQ(timerfd_settime(timer, 0, &never, nullptr), 0);
    EXPECT_FALSE(readable()) << "set anew";
    pass(seconds(100));
    EXPECT_FALSE(readable());
    const itimerspec wrong = {{}, {0, 1000000000}};
    EXPECT_EQ(timerfd_settime(timer, 0, &wrong, nullptr), -1);
    EXPECT_EQ(close(timer), 0);
    EXPECT_EQ(timerfd_settime(timer, 0, &never, nullptr), -1);
}

TEST_F(BenchClock, NamesAWaitThatItDoesNotAnswer)
{
    testing::internal::CaptureStderr();
    start([] {
        sem_t semaphore;
        sem_init(&semaphore, 0, 0);
        timespec end{};
        sem_timedwait(&semaphore, &end);
        return sem_timedwait(&semaphore, &end) == -1 ? errno : 0;
    });
    EXPECT_EQ(result(), ETIMEDOUT);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "benchclock: a thread waits by sem_timedwait, which the bench's clock does not answer\n");
}

TEST_F(BenchClock, TellsWhereAProcessComputesWithoutEnd)
{
    const pid_t child = fork();
    if (child == 0) {
        volatile bool ever = true;
        while (ever) {
        }
    }
    m_time.watch(child);
    testing::internal::CaptureStderr();
    EXPECT_THROW(m_time.settle(), bench::Failure);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("Thread 1"), std::string::npos);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    m_time.settle(); // who has ended is waited for no more
}

TEST(BenchPace, IsWhatItsWordSays)
{
    EXPECT_TRUE(bench::parsePace("real").machines);
    EXPECT_EQ(bench::parsePace("0").rate, 0);
    EXPECT_EQ(bench::parsePace("2.5").rate, 2.5);
    for (const char* wrong : {"", "fast", "-1", "1x", "1001"})
        EXPECT_THROW(bench::parsePace(wrong), bench::Failure) << wrong;
}

} // namespace
