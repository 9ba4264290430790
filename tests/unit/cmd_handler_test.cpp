// The serial port and the AT engine, against a modem that plays a script.
#include "CmdHandler.h"
#include "FakeModem.h"
#include "Modem.h"
#include "forEver.h"

#include <algorithm>
#include <csignal>
#include <gmock/gmock.h>
#include <memory>
#include <sys/resource.h>
#include <sys/time.h>

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

/// An engine on a terminal. Its receive thread never ends: made with forEver(), as are the commands that it may touch.
struct Engine {
    FakeModem modem;
    serialDriver port;
    CmdHandler handler;

    explicit Engine(std::vector<Step> script = {}, std::size_t chunk = 0)
        : modem(std::move(script), chunk), port(modem.path()), handler(&port)
    {
        handler.init(&handler);
    }
};

/// Keeps the lines that are no final result.
class Recorder : public Command {
public:
    using Hook = std::function<void(Command&)>;

    /// @param written  called when the engine is about to write the command
    explicit Recorder(Hook written = nullptr, Modem* mdm = nullptr) : Command(mdm), m_written(std::move(written)) {}
    char* getATstring() override
    {
        if (m_written)
            m_written(*this);
        return Command::getATstring();
    }
    void handleData(unsigned char* data) override
    {
        m_lines.emplace_back(reinterpret_cast<char*>(data));
        Command::handleData(data);
    }
    std::vector<std::string> lines()
    {
        std::lock_guard<std::mutex> lock(lineLock());
        return m_lines;
    }

private:
    const Hook m_written;
    std::vector<std::string> m_lines;
};

// The reply comes before the engine looks whether the command is done, so that an exchange takes no second.
Recorder::Hook answeredBy(FakeModem& modem, const std::string& reply)
{
    return [&modem, reply](Command& command) {
        modem.say(reply);
        while (command.isBusy())
            std::this_thread::sleep_for(100us);
    };
}

} // namespace

TEST(SerialDriver, OpensItsPortRawAt115200Baud)
{
    FakeModem modem;
    const int before = open(modem.path(), O_RDWR | O_NOCTTY);
    termios cooked = {};
    tcgetattr(before, &cooked);
    cooked.c_iflag |= IXON | IXOFF | IXANY | INLCR | ICRNL | INPCK;
    cooked.c_oflag |= OPOST;
    cooked.c_lflag |= ICANON | ECHO | ECHOE | ISIG;
    cooked.c_cflag |= PARENB | CSTOPB | CRTSCTS;
    cooked.c_cc[VMIN] = 1;
    cooked.c_cc[VTIME] = 7;
    tcsetattr(before, TCSANOW, &cooked);

    serialDriver port(modem.path());
    ASSERT_TRUE(port.getPortOpen());
    termios raw = {};
    ASSERT_EQ(0, tcgetattr(port.getFD(), &raw));
    EXPECT_EQ(B115200, cfgetispeed(&raw));
    EXPECT_EQ(B115200, cfgetospeed(&raw));
    EXPECT_EQ(CREAD | CLOCAL | CS8, raw.c_cflag & (CREAD | CLOCAL | CSIZE | CSTOPB | CRTSCTS));
    EXPECT_EQ(0U, raw.c_iflag & (IXON | IXOFF | IXANY | INLCR | ICRNL | INPCK));
    EXPECT_EQ(0U, raw.c_oflag & OPOST);
    EXPECT_EQ(0U, raw.c_lflag & (ICANON | ECHO | ECHOE | ISIG));
    EXPECT_EQ(1, raw.c_cc[VMIN]);
    EXPECT_EQ(7, raw.c_cc[VTIME]);

    char text[] = "a\r\nb\n\r\x11\x13\x1a";
    EXPECT_EQ(9, port.send(text, 9));
    EXPECT_TRUE(modem.waitForReceived(std::string(text)));
    EXPECT_EQ(0, port.send(text, 0));
    EXPECT_EQ(-1, port.send(text, -1));
    close(before);
}

// As the port of a modem that is stuck: the exchange must be able to end, and the next one to begin.
TEST(SerialDriver, GivesUpOnAPortThatTakesNoBytes)
{
    FakeModem modem;
    serialDriver port(modem.path());
    ASSERT_EQ(0, tcflow(port.getFD(), TCOOFF));
    char text[] = "AT\r";
    EXPECT_EQ(-1, port.send(text, 3));
    ASSERT_EQ(0, tcflow(port.getFD(), TCOON));
    EXPECT_EQ(3, port.send(text, 3));
    EXPECT_TRUE(modem.waitForReceived(text));
}

TEST(CmdHandler, CutsTheSameLinesFromAnyPieces)
{
    for (const std::size_t chunk : {1U, 2U, 3U, 7U, 0U}) {
        for (const std::string end : {"\r\n", "\r\r\n", "\r", "\n"}) {
            Engine& engine = forEver<Engine>(std::vector<Step>{}, chunk);
            const std::string reply =
                "AT+CPIN?" + end + end + "+CPIN: READY" + end + end + "> +CMGS: 7, \"x\"\t\x1a" + end;
            auto& command = forEver<Recorder>(answeredBy(engine.modem, reply + "OK" + end));
            engine.modem.say("boot chatter" + end); // unread before the first command
            engine.handler.execute(&command);
            EXPECT_TRUE(eventually([&] { return command.getIsOk(); }));
            EXPECT_THAT(command.lines(),
                        ElementsAre("boot chatter", "AT+CPIN?", "+CPIN: READY", "> +CMGS: 7, \"x\"\t\x1a"));
        }
    }
}

TEST(CmdHandler, CutsLinesThatAreTooLongAndReadsTheNext)
{
    Engine& engine = forEver<Engine>();
    auto& command = forEver<Recorder>();
    std::thread caller([&] { engine.handler.execute(&command); });
    const std::string rest = "\r\nnext\r\n";
    engine.modem.say(std::string(255, 'a') + rest + std::string(256, 'b') + rest + std::string(100000, 'c') + rest +
                     std::string("\0nul", 4) + rest + "high \xff\x80" + rest + "OK\r\n");
    EXPECT_TRUE(eventually([&] { return command.getIsOk(); }));
    caller.join();
    EXPECT_THAT(command.lines(), ElementsAre(std::string(255, 'a'), "next", std::string(255, 'b'), "next",
                                             std::string(255, 'c'), "next", "next", "high \xff\x80", "next"));
}

// Signals are no silence.
TEST(CmdHandler, TimesOutAModemThatIsSilentFromTheStartWhateverSignalsCome)
{
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    const itimerval often = {{0, 20000}, {0, 20000}}, never = {};
    Engine& engine = forEver<Engine>();
    auto& command = forEver<Recorder>();
    takeNoSignals(); // but the receive thread
    setitimer(ITIMER_REAL, &often, nullptr);
    const auto start = std::chrono::steady_clock::now();
    engine.handler.execute(&command);
    const auto took = std::chrono::steady_clock::now() - start;
    setitimer(ITIMER_REAL, &never, nullptr);
    EXPECT_GE(took, 2s);
    EXPECT_EQ(ErrStat::TIMEOUT, command.getErrStat());
    EXPECT_EQ("AT\r", engine.modem.received());
}

TEST(CmdHandler, IsDoneAtTheFirstLineAndStillTakesTheFinalOne)
{
    Engine& engine = forEver<Engine>();
    auto& command = forEver<Recorder>(answeredBy(engine.modem, "+CSQ: 20,0\r\n"));
    engine.handler.execute(&command);
    EXPECT_FALSE(command.getIsOk());
    engine.modem.say("OK\r\n");
    EXPECT_TRUE(eventually([&] { return command.getIsOk(); }));
    // Two seconds of silence later the status is lost, the success is not.
    EXPECT_TRUE(eventually([&] { return command.getErrStat() == ErrStat::TIMEOUT; }));
    EXPECT_TRUE(command.getIsOk());
}

TEST(CmdHandler, KeepsAPartialLineWhenTheModemFallsSilent)
{
    Engine& engine = forEver<Engine>(std::vector<Step>{{"AT\r", "> "}});
    auto& command = forEver<Recorder>();
    engine.handler.execute(&command);
    EXPECT_EQ(ErrStat::TIMEOUT, command.getErrStat());
    engine.modem.say("+CMS ERROR: 1\r\n");
    EXPECT_TRUE(eventually([&] { return !command.lines().empty(); }));
    EXPECT_THAT(command.lines(), ElementsAre("> +CMS ERROR: 1"));
}

TEST(CmdHandler, LetsASecondCallerWaitForTheFirst)
{
    Engine& engine = forEver<Engine>();
    auto& first = forEver<Recorder>();
    bool firstWasBusy = true;
    auto& second = forEver<Recorder>([&](Command&) { firstWasBusy = first.isBusy(); });
    std::thread one([&] { engine.handler.execute(&first); });
    ASSERT_TRUE(engine.modem.waitForReceived("AT\r"));
    engine.handler.execute(&second);
    one.join();
    EXPECT_FALSE(firstWasBusy);
    EXPECT_EQ("AT\rAT\r", engine.modem.received());
}

TEST(CmdHandler, TimesOutOnADescriptorBeyondSelectsReach)
{
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, 2048);
    setrlimit(RLIMIT_NOFILE, &limit);
    int last = 0;
    while (last >= 0 && last < FD_SETSIZE)
        last = dup(0);
    if (last < 0)
        GTEST_SKIP() << "this process may not have that many descriptors";
    Engine& engine = forEver<Engine>(std::vector<Step>{{"AT\r", "OK\r\n"}});
    ASSERT_GE(engine.port.getFD(), FD_SETSIZE);
    auto& command = forEver<Recorder>();
    engine.handler.execute(&command);
    EXPECT_EQ(ErrStat::TIMEOUT, command.getErrStat());
}

// A new thread's stack holds what an earlier one has left there.
TEST(CmdHandler, WaitsForNoDescriptorButItsPort)
{
    constexpr int kThreads = 4;
    std::atomic<int> full{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back([&full] {
            volatile unsigned char left[1 << 15];
            for (volatile unsigned char& byte : left)
                byte = 0xff;
            for (++full; full < kThreads;)
                std::this_thread::yield();
        });
    for (std::thread& thread : threads)
        thread.join();
    const int gone = dup(STDOUT_FILENO);
    Engine& engine = forEver<Engine>(std::vector<Step>{{"AT\r", "OK\r\n"}});
    close(gone);
    auto& command = forEver<Command>(static_cast<Modem*>(nullptr));
    engine.handler.execute(&command);
    EXPECT_EQ(ErrStat::OK, command.getErrStat());
}

// Every command is freed as soon as the engine says so, while reports keep coming.
TEST(CmdHandler, TouchesNoFreedCommandInTenThousandExchanges)
{
    auto& modem = forEver<Modem>(nullptr); // which drops them
    Engine& engine = forEver<Engine>();
    std::atomic<bool> stop{false};
    std::thread reporter([&] {
        while (!stop) {
            engine.modem.say("+CMTI: \"SM\",1\r\n");
            std::this_thread::sleep_for(1ms);
        }
    });
    std::vector<std::unique_ptr<Command>> made;
    std::size_t most = 0;
    for (int i = 0; i < 10000; ++i) {
        const char* const reply = i % 2 == 0 ? "+CSQ: 20,0\r\nOK\r\n" : "ERROR\r\n";
        made.push_back(std::make_unique<Recorder>(answeredBy(engine.modem, reply), &modem));
        engine.handler.execute(made.back().get());
        made.erase(std::remove_if(made.begin(), made.end(),
                                  [&](const auto& command) { return !engine.handler.isInUse(command.get()); }),
                   made.end());
        most = std::max(most, made.size());
    }
    EXPECT_LE(most, 2U);
    stop = true;
    reporter.join();
    static auto* left = new std::vector<std::unique_ptr<Command>>; // the engine's, like those made for ever
    *left = std::move(made);
}
