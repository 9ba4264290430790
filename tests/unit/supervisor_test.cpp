// What a service manager is told, by the supervisor alone and by the real daemon. The manager is a socket of the test.
#include "supervisor.h"

#include "bench/Card.h"
#include "bench/Sandbox.h"

#include <gmock/gmock.h>

#include <csignal>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <sys/ptrace.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <utility>

using namespace std::chrono_literals;
using testing::HasSubstr;

namespace {

constexpr auto kLimit = 60s; // far more than anything here takes

// What NOTIFY_SOCKET names. One thread.
class Manager {
public:
    explicit Manager(std::chrono::microseconds watchdog) : m_fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        const std::string name = "telnodriver-test-" + std::to_string(getpid());
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        name.copy(address.sun_path + 1, sizeof address.sun_path - 1); // not a file: it begins with a zero
        const size_t length = offsetof(sockaddr_un, sun_path) + 1 + name.size();
        EXPECT_EQ(bind(m_fd, reinterpret_cast<sockaddr*>(&address), static_cast<socklen_t>(length)), 0);
        setenv("NOTIFY_SOCKET", ("@" + name).c_str(), 1);
        setenv("WATCHDOG_USEC", std::to_string(watchdog.count()).c_str(), 1);
    }
    ~Manager() { close(m_fd); }

    // Reads what comes until a line holds the text. @return whether one did
    bool hears(const std::string& text, std::chrono::milliseconds limit = kLimit)
    {
        const auto end = std::chrono::steady_clock::now() + limit;
        for (;;) {
            const auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now()).count();
            pollfd some = {m_fd, POLLIN, 0};
            char bytes[4096];
            if (left <= 0 || poll(&some, 1, static_cast<int>(left)) <= 0)
                return false;
            const ssize_t got = recv(m_fd, bytes, sizeof bytes, 0);
            const std::string message(bytes, got > 0 ? static_cast<size_t>(got) : 0);
            heard += message;
            if (message.find(text) != std::string::npos)
                return true;
        }
    }
    // Reads all that has come, after what was read before.
    void readWhatCame()
    {
        char bytes[4096];
        for (ssize_t got = 0; (got = recv(m_fd, bytes, sizeof bytes, MSG_DONTWAIT)) > 0;)
            heard.append(bytes, static_cast<size_t>(got));
    }
    // Whether no answer comes for three times as long as one is due within.
    bool misses(std::chrono::milliseconds watchdog) { return !hears("WATCHDOG=1", 3 * watchdog); }

    std::string heard;

private:
    int m_fd;
};

// One thread that is watched, and does as the test says.
void hangAndRecover(Manager& manager, Supervisor::Thread kind, const std::string& name)
{
    std::atomic<bool> goOn{false};
    std::thread watched([&] {
        Supervisor::watch(kind);
        Heartbeat::within(100ms);
        while (!goOn)
            std::this_thread::sleep_for(1ms);
        Heartbeat::idle();
    });
    EXPECT_TRUE(manager.hears("STATUS=the " + name + " thread hangs; object server connected, 12 rules")) << name;
    EXPECT_TRUE(manager.misses(300ms)) << name;
    goOn = true;
    watched.join();
    EXPECT_TRUE(manager.hears("STATUS=object server connected, 12 rules")) << name;
    EXPECT_TRUE(manager.hears("WATCHDOG=1")) << name << " waits by design, which is no hang";
}

TEST(Supervisor, EachThreadThatIsOverdueStopsTheAnswers)
{
    Manager manager(300ms);
    Supervisor::begin();
    Supervisor::setRules(12);
    Supervisor::run([] { return Supervisor::Server{true, 0}; });
    EXPECT_TRUE(manager.hears("WATCHDOG=1"));
    EXPECT_THAT(manager.heard, Not(HasSubstr("READY=1")));
    Supervisor::ready();
    EXPECT_TRUE(manager.hears("READY=1"));
    hangAndRecover(manager, Supervisor::POLL, "poll");
    hangAndRecover(manager, Supervisor::GSM_HANDLER, "gsm_handler");
    hangAndRecover(manager, Supervisor::DELIVERY, "delivery");

    Supervisor::setModem("modem ready, -65 dBm, \xff\nREADY=1");
    EXPECT_TRUE(manager.hears("STATUS=object server connected, 12 rules; modem ready, -65 dBm, ??READY=1\n"));
}

// The daemon's thread of this name, which it has under a supervisor only; 0 without.
pid_t threadOf(pid_t daemon, const std::string& name)
{
    for (const auto& task : std::filesystem::directory_iterator("/proc/" + std::to_string(daemon) + "/task")) {
        std::string called;
        std::ifstream(task.path() / "comm") >> called;
        if (called == name)
            return static_cast<pid_t>(std::stol(task.path().filename()));
    }
    return 0;
}

// Stops one thread of the daemon, and lets it go on at the end.
class Stopped {
public:
    explicit Stopped(pid_t thread) : m_thread(thread)
    {
        int status = 0;
        m_stopped = thread != 0 && ptrace(PTRACE_SEIZE, thread, nullptr, nullptr) == 0 &&
                    ptrace(PTRACE_INTERRUPT, thread, nullptr, nullptr) == 0 &&
                    waitpid(thread, &status, __WALL) == thread;
    }
    ~Stopped() { ptrace(PTRACE_DETACH, m_thread, nullptr, nullptr); }
    Stopped(const Stopped&) = delete;
    Stopped& operator=(const Stopped&) = delete;
    explicit operator bool() const { return m_stopped; }

private:
    pid_t m_thread;
    bool m_stopped;
};

// The packaged example on the bench's clock, under a manager that expects an answer every two seconds.
class DaemonAndServiceManager : public testing::Test {
protected:
    static void SetUpTestSuite() { ASSERT_EQ(bench::enterSandbox(), ""); }
    DaemonAndServiceManager() { m_card.useConfig(CONFIGURATION); }

    // What the manager has heard at the end of this time, and not been asked for before.
    std::string heardIn(std::chrono::seconds time)
    {
        const auto end = bench::Time::Clock::now() + time;
        m_card.time().settle();
        while (bench::Time::Clock::now() < end) {
            m_card.time().pass(end);
            m_manager.readWhatCame(); // few fit into the socket
        }
        return std::exchange(m_manager.heard, "");
    }

    Manager m_manager{2s};
    bench::Card m_card{bench::findTools(""), bench::Pace()};
};

TEST_F(DaemonAndServiceManager, IsToldWhatTheDaemonIsDoing)
{
    m_card.start();
    const std::string atStart = heardIn(120s);
    EXPECT_THAT(atStart, HasSubstr("READY=1"));
    EXPECT_THAT(atStart, HasSubstr("modem set-up, attempt 1 of 6"));
    EXPECT_THAT(atStart, HasSubstr("STATUS=object server connected, 5 rules; modem ready, -"));
    EXPECT_THAT(atStart, Not(HasSubstr("last SMS")));
    m_card.sms("0151000001", "PUMP ON");
    EXPECT_THAT(heardIn(60s), HasSubstr("; last SMS "));
    m_card.stopServer();
    EXPECT_THAT(heardIn(60s), HasSubstr("STATUS=object server not connected, 5 rules; modem ready"));
    m_card.startServer();
    const std::string atEnd = heardIn(60s);
    EXPECT_THAT(atEnd, HasSubstr("STATUS=object server connected"));
    EXPECT_THAT(atEnd, HasSubstr("WATCHDOG=1"));
    EXPECT_THAT(atEnd, Not(HasSubstr("hangs")));
}

TEST_F(DaemonAndServiceManager, IsToldOfAModemThatCannotBeSetUp)
{
    m_card.start();
    m_card.modem().setSilent(true);
    EXPECT_THAT(heardIn(1800s), HasSubstr("; modem could not be set up"));
}

TEST_F(DaemonAndServiceManager, HearsNoMoreOfADaemonWhoseDeliveryThreadIsStopped)
{
    m_card.setModemPresent(false); // its events would wait for the thread
    m_card.start();
    heardIn(10s);
    m_card.server().setInput("DOOR_OPEN", 1); // the thread has its name from its first message on
    EXPECT_THAT(heardIn(10s), HasSubstr("WATCHDOG=1"));
    const Stopped delivery(threadOf(m_card.daemon().process(), "delivery"));
    ASSERT_TRUE(delivery) << strerror(errno);
    EXPECT_THAT(heardIn(300s), Not(HasSubstr("hangs"))) << "it waits, and no message is there for it";
    m_card.server().setInput("SMOKE", 1);
    EXPECT_THAT(heardIn(Supervisor::kLongestWork - 5s), Not(HasSubstr("hangs")));
    EXPECT_THAT(heardIn(10s), HasSubstr("STATUS=the delivery thread hangs; "));
    EXPECT_THAT(heardIn(60s), Not(HasSubstr("WATCHDOG=1")));
}

} // namespace
