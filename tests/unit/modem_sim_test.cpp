// The simulated modem, through a terminal client of the test's own.
#include "modem/ModemConsole.h"
#include "modem/ModemSim.h"
#include "modem/Outbox.h"

#include <cerrno>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <system_error>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;
using modemsim::ErrorMode;
using testing::HasSubstr;
using Reaction = ModemSim::Reaction;
using Status = ModemSim::SmsStatus;

/// The other end of the modem's terminal.
class Client {
public:
    explicit Client(const ModemSim& modem) : m_fd(open(modem.path().c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK))
    {
        EXPECT_NE(m_fd, -1) << modem.path();
    }
    ~Client() { close(m_fd); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    void type(const std::string& bytes) { EXPECT_EQ(write(m_fd, bytes.data(), bytes.size()), ssize_t(bytes.size())); }

    /// What has come up to and with @p end; the whole of it when @p end does not come in time.
    std::string readTo(const std::string& end)
    {
        const auto deadline = std::chrono::steady_clock::now() + 30s;
        std::size_t found = m_text.find(end);
        while (found == std::string::npos && std::chrono::steady_clock::now() < deadline && fill(100)) {
            found = m_text.find(end);
        }
        const std::string taken = m_text.substr(0, found == std::string::npos ? found : found + end.size());
        m_text.erase(0, taken.size());
        return taken;
    }
    std::string ask(const std::string& line, const std::string& end = "\r\nOK\r\n")
    {
        type(line + "\r");
        return readTo(end);
    }
    /// Reads on until the terminal is gone; false: it was not gone in time.
    bool waitForEnd()
    {
        const auto deadline = std::chrono::steady_clock::now() + 30s;
        while (std::chrono::steady_clock::now() < deadline) {
            if (!fill(100)) {
                return true;
            }
        }
        return false;
    }

private:
    /// Adds what comes within the time; false: end of file or error.
    bool fill(int patienceMs)
    {
        pollfd state{m_fd, POLLIN, 0};
        if (poll(&state, 1, patienceMs) <= 0) {
            return true;
        }
        char bytes[4096];
        const ssize_t got = read(m_fd, bytes, sizeof bytes);
        if (got > 0) {
            m_text.append(bytes, static_cast<std::size_t>(got));
        }
        return got > 0 || (got == -1 && errno == EAGAIN);
    }

    int m_fd;
    std::string m_text;
};

struct Exchange {
    const char* line;
    const char* reply; // whole, byte for byte
};

void play(Client& client, const std::vector<Exchange>& exchanges)
{
    for (const Exchange& exchange : exchanges) {
        client.type(std::string(exchange.line) + "\r");
        EXPECT_EQ(client.readTo(exchange.reply), exchange.reply) << exchange.line;
    }
}

class ModemSimPieces : public testing::TestWithParam<std::size_t> {};
INSTANTIATE_TEST_SUITE_P(Chunks, ModemSimPieces, testing::Values(0, 1, 3));

TEST_P(ModemSimPieces, AnswersAsTheStandardsSay)
{
    ModemSim::Options options;
    options.chunk = GetParam();
    options.chunkPause = 0ms;
    options.signal = 17;
    options.errorRate = 3;
    ModemSim modem(options);
    Client client(modem);
    play(client, {{"AT", "\r\nOK\r\n"},
                  {"ATI", "\r\nTAV-SIM GSM 1.0\r\n\r\nOK\r\n"},
                  {"AT+IPR=115200", "\r\nOK\r\n"},
                  {"AT+IPR=115201", "\r\nERROR\r\n"},
                  {"AT+CSMINS?", "\r\n+CSMINS: 0,1\r\n\r\nOK\r\n"},
                  {"AT+CPIN?", "\r\n+CPIN: READY\r\n\r\nOK\r\n"},
                  {"AT+CSQ", "\r\n+CSQ: 17,3\r\n\r\nOK\r\n"},
                  {"AT+COPS?", "\r\n+COPS: 0,0,\"TAV NET\"\r\n\r\nOK\r\n"},
                  {"AT+CMGL=\"ALL\"", "\r\n+CMS ERROR: 304\r\n"}, // no text mode yet
                  {"at+cmgf=1;+cmgf?", "\r\n+CMGF: 1\r\n\r\nOK\r\n"},
                  {"AT+CSCS=\"GSM\"", "\r\nOK\r\n"},
                  {"AT+CSCS=\"KLINGON\"", "\r\nERROR\r\n"},
                  {"AT+CMEE=1", "\r\nOK\r\n"},
                  {"AT+CSCS=\"KLINGON\"", "\r\n+CME ERROR: 50\r\n"},
                  {"AT+CMGD=99", "\r\n+CMS ERROR: 321\r\n"},
                  {"AT+CMEE=2", "\r\nOK\r\n"},
                  {"AT+CSCS=\"KLINGON\"", "\r\n+CME ERROR: incorrect parameters\r\n"},
                  {"AT+CMGS=\"no number\"", "\r\n+CMS ERROR: invalid text mode parameter\r\n"},
                  {"AT+WHAT?", "\r\nERROR\r\n"},
                  {"noise before AT+CMGF?", "\r\n+CMGF: 1\r\n\r\nOK\r\n"},
                  {"ATE1", "\r\nOK\r\n"},
                  {"AT", "AT\r\r\nOK\r\n"},
                  {"ATE0V0", "ATE0V0\r0\r"},
                  {"AT+NO", "4\r"}});
    modem.setOperator("");
    play(client, {{"ATV1+COPS?", "\r\n+COPS: 0\r\n\r\nOK\r\n"}});
    EXPECT_EQ(modem.count("AT+CSCS"), 4U);
}

TEST(ModemSim, RunsOutOfPinAndPukTries)
{
    ModemSim::Options options;
    options.pin = "1357";
    options.pukTries = 3;
    options.errorMode = ErrorMode::Numeric;
    ModemSim modem(options);
    Client client(modem);
    play(client, {{"AT+CPIN?", "\r\n+CPIN: SIM PIN\r\n\r\nOK\r\n"},
                  {"AT+COPS?", "\r\n+CME ERROR: 11\r\n"},
                  {"AT+CMGD=1", "\r\n+CMS ERROR: 311\r\n"},
                  {"AT+CPIN=\"12a4\"", "\r\n+CME ERROR: 50\r\n"}, // no PIN at all: costs no try
                  {"AT+CPIN=\"0000\"", "\r\n+CME ERROR: 16\r\n"}});
    EXPECT_EQ(modem.pinTriesLeft(), 2);
    play(client, {{"AT+CPIN=\"1357\"", "\r\nOK\r\n"}, {"AT+CPIN=\"1357\"", "\r\n+CME ERROR: 3\r\n"}});
    EXPECT_EQ(modem.pinTriesLeft(), 3);
    modem.setPower(false);
    modem.setPower(true); // asks again, and still counts
    play(client, {{"AT+CPIN=\"0000\"", "\r\n+CME ERROR: 16\r\n"},
                  {"AT+CPIN=0000", "\r\n+CME ERROR: 16\r\n"},
                  {"AT+CPIN=\"0000\"", "\r\n+CME ERROR: 12\r\n"},
                  {"AT+CPIN?", "\r\n+CPIN: SIM PUK\r\n\r\nOK\r\n"},
                  {"AT+CPIN=\"1357\"", "\r\n+CME ERROR: 12\r\n"},
                  {"AT+CPIN=\"00000000\",\"2468\"", "\r\n+CME ERROR: 16\r\n"}});
    EXPECT_EQ(modem.pukTriesLeft(), 2);
    play(client, {{"AT+CPIN=\"12345678\",\"2468\"", "\r\nOK\r\n"}, {"AT+CPIN?", "\r\n+CPIN: READY\r\n\r\nOK\r\n"}});
    EXPECT_EQ(modem.pin(), "2468");
    EXPECT_EQ(modem.pinEntries(), 8);
    EXPECT_EQ(modem.pukEntries(), 2);

    modem.setSimState(ModemSim::SimState::NeedsPuk);
    play(client, {{"AT+CPIN=\"00000000\",\"1\"", "\r\n+CME ERROR: 50\r\n"},
                  {"AT+CPIN=\"00000000\",\"1111\"", "\r\n+CME ERROR: 16\r\n"},
                  {"AT+CPIN=\"00000000\",\"1111\"", "\r\n+CME ERROR: 16\r\n"},
                  {"AT+CPIN=\"00000000\",\"1111\"", "\r\n+CME ERROR: 13\r\n"},
                  {"AT+CPIN?", "\r\n+CME ERROR: 13\r\n"}});
    EXPECT_EQ(modem.simState(), ModemSim::SimState::Blocked);
    modem.setSimInserted(false);
    play(client, {{"AT+CPIN?", "\r\n+CME ERROR: 10\r\n"}, {"AT+CSMINS?", "\r\n+CSMINS: 0,0\r\n\r\nOK\r\n"}});
}

TEST(ModemSim, StoresAndListsMessages)
{
    ModemSim::Options options;
    options.places = 3;
    ModemSim modem(options);
    modem.setTimeStamp("26/01/02,03:04:05+04");
    ASSERT_TRUE(modem.store({2, Status::StoSent, "+49151", "earlier", ""}));
    EXPECT_FALSE(modem.store({4, Status::RecRead, "1", "no such place", ""}));
    Client client(modem);
    client.ask("AT+CMGF=1");

    EXPECT_EQ(modem.sms("0151", "PUMP ON"), 1);
    EXPECT_EQ(client.readTo("1\r\n"), "\r\n+CMTI: \"SM\",1\r\n");
    EXPECT_EQ(modem.sms("ALPHA \xff", "two\r\nlines"), 3);
    EXPECT_EQ(modem.smsUnicode("0152", "\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80"), 0); // full: the network keeps it
    EXPECT_EQ(client.readTo("3\r\n"), "\r\n+CMTI: \"SM\",3\r\n");
    play(client,
         {{"AT+CMGL=\"ALL\"", "\r\n+CMGL: 1,\"REC UNREAD\",\"0151\",,\"26/01/02,03:04:05+04\"\r\nPUMP ON\r\n"
                              "+CMGL: 2,\"STO SENT\",\"+49151\",,\r\nearlier\r\n"
                              "+CMGL: 3,\"REC UNREAD\",\"ALPHA \xff\",,\"26/01/02,03:04:05+04\"\r\ntwo\r\nlines\r\n"
                              "\r\nOK\r\n"},
          {"AT+CMGL=\"REC UNREAD\"", "\r\nOK\r\n"}, // the listing has marked them read
          {"AT+CMGR=1", "\r\n+CMGR: \"REC READ\",\"0151\",,\"26/01/02,03:04:05+04\"\r\nPUMP ON\r\n\r\nOK\r\n"},
          {"AT+CPMS?", "\r\n+CPMS: \"SM\",3,3,\"SM\",3,3,\"SM\",3,3\r\n\r\nOK\r\n"},
          {"AT+CMGD=4", "\r\n+CMS ERROR: 321\r\n"}});
    client.type("AT+CMGD=3\r"); // the one that the network has kept takes its place
    EXPECT_EQ(client.readTo("3\r\n"), "\r\nOK\r\n\r\n+CMTI: \"SM\",3\r\n");
    EXPECT_THAT(client.ask("AT+CMGR=3"), HasSubstr("\r\n00E420ACD83DDE00\r\n"));
    client.ask("AT+CMGD=1");
    client.ask("AT+CMGD=1"); // empty: fine too
    client.ask("AT+CMGD=1,4");
    EXPECT_TRUE(modem.waitForEmptyStorage());
    modem.setReports(false);
    EXPECT_EQ(modem.sms("0151", "unseen"), 1);
    EXPECT_EQ(client.ask("AT"), "\r\nOK\r\n");
}

TEST(ModemSim, SendsTextsTypedAtThePrompt)
{
    ModemSim modem;
    Client client(modem);
    client.ask("AT+CMGF=1");
    EXPECT_EQ(client.ask("AT+CMGS=\"0151\"", "> "), "\r\n> ");
    client.type("AT+CMGF=0\x1a"); // what looks like a command is text here
    EXPECT_EQ(client.readTo("OK\r\n"), "\r\n+CMGS: 1\r\n\r\nOK\r\n");

    client.ask("AT+CMGS=\"+152\"", "> ");
    client.type("given up\x1b");
    EXPECT_EQ(client.readTo("OK\r\n"), "\r\nOK\r\n");
    client.ask("AT+CMGS=\"+153\"", "> ");
    EXPECT_EQ(client.ask("first", "> "), "\r\n> ");
    client.type("second\x1a");
    client.readTo("+CMGS: 2\r\n\r\nOK\r\n");
    client.ask("AT+CMGS=\"0154\"", "> ");
    client.type(std::string(161, 'x') + "\x1a");
    EXPECT_EQ(client.readTo("305\r\n"), "\r\n+CMS ERROR: 305\r\n");
    modem.setOperator("");
    client.ask("AT+CMGS=\"0155\"", "> ");
    client.type("nobody hears\x1a");
    EXPECT_EQ(client.readTo("331\r\n"), "\r\n+CMS ERROR: 331\r\n");

    EXPECT_TRUE(modem.waitForSent("0151", "AT+CMGF=0"));
    EXPECT_TRUE(modem.waitForSent("+153", "first\nsecond"));
    EXPECT_EQ(modem.sent().size(), 2U);
    EXPECT_FALSE(modem.waitForSent("0151", "never", 0ms));

    client.type("PUMP STATE\x1a"); // typed without a prompt
    EXPECT_EQ(client.ask("AT"), "\r\nOK\r\n");
    modem.setKeepsStrayText(true);
    client.type("PUMP STATE\x1a");
    EXPECT_EQ(client.ask("AT+CMGF?", "R\r\n"), "\r\nERROR\r\n"); // the command begins after the first AT
}

TEST(ModemOutbox, LetsReportsPassBetweenPiecesButNotIntoLines)
{
    modemsim::Outbox outbox;
    const auto say = [&outbox] {
        std::string said;
        while (outbox.due() && *outbox.due() <= modemsim::Clock::now()) {
            const auto now = modemsim::Clock::now();
            said += outbox.ready(now, 0);
            outbox.left(outbox.ready(now, 0).size(), now, 0ms);
        }
        return said;
    };
    outbox.reply(0ms, "+CSQ: 1");
    outbox.reply(0ms, "7,0\r\n", true);
    outbox.reply(1h, "OK");
    outbox.unasked("RING");
    EXPECT_EQ(say(), "RING+CSQ: 17,0\r\n");
    outbox.unasked("RING");
    EXPECT_EQ(say(), "RING"); // during the silence before the final result
    EXPECT_TRUE(outbox.replying());

    outbox.clear();
    outbox.reply(0ms, "half");
    outbox.reply(1h, " a line", true);
    EXPECT_EQ(say(), "half");
    outbox.unasked("RING");
    EXPECT_EQ(say(), "");
}

TEST(ModemSim, MisbehavesAsItIsTold)
{
    ModemSim modem;
    Client client(modem);
    modem.react("AT+CSQ", Reaction::line("ERROR"), 2);
    modem.react("AT+CSQ", Reaction::line("+CME ERROR: 14"));
    play(client, {{"AT+CSQ", "\r\nERROR\r\n"},
                  {"AT+CSQ", "\r\nERROR\r\n"},
                  {"AT+CSQ", "\r\n+CME ERROR: 14\r\n"},
                  {"AT+CSQ", "\r\n+CSQ: 20,0\r\n\r\nOK\r\n"}});

    modem.react("AT+CMGF=1", Reaction::unheard()); // takes effect; what comes next is the next reply
    modem.react("ATI", Reaction::silence());
    client.type("AT+CMGF=1\rATI\r");
    EXPECT_EQ(client.ask("AT+CMGF?"), "\r\n+CMGF: 1\r\n\r\nOK\r\n");

    modem.react("AT+CSQ", Reaction::parts({{0ms, "\r\n+CS"}, {200ms, "Q: 5,5\r\n"}, {0ms, "\r\nOK\r\n"}}));
    client.type("AT+CSQ\r");
    EXPECT_EQ(client.readTo("+CS"), "\r\n+CS");
    modem.sendLine("+CMTI: \"SM\",7"); // does not cut the line that is under way
    EXPECT_EQ(client.readTo("7\r\n"), "Q: 5,5\r\n\r\nOK\r\n\r\n+CMTI: \"SM\",7\r\n");

    modem.react("AT+COPS", Reaction::lateFinal(300ms));
    EXPECT_EQ(client.ask("AT+COPS?"), "\r\n+COPS: 0,0,\"TAV NET\"\r\n\r\nOK\r\n");

    const auto before = std::chrono::steady_clock::now();
    modem.react("AT", Reaction::late(1200ms));
    client.type("AT\rATI\r"); // what is typed ahead waits
    EXPECT_EQ(client.readTo("OK\r\n"), "\r\nOK\r\n");
    EXPECT_GE(std::chrono::steady_clock::now() - before, 1200ms);
    EXPECT_THAT(client.readTo("OK\r\n"), HasSubstr("TAV-SIM"));

    modem.reactToText("015", Reaction::line("+CMS ERROR: 500"));
    client.ask("AT+CMGS=\"0151\"", "> ");
    client.type("lost\x1a");
    EXPECT_EQ(client.readTo("500\r\n"), "\r\n+CMS ERROR: 500\r\n");
    EXPECT_TRUE(modem.sent().empty());

    client.type(std::string(3000, 'A') + "T\r"); // has no AT within the bounds of a line: no command
    client.type("AT" + std::string(3000, 'A') + "\r");
    EXPECT_EQ(client.readTo("R\r\n"), "\r\nERROR\r\n");
    modem.setSilent(true);
    client.type("AT+CMGF=0\r");
    ASSERT_TRUE(modem.waitForCommand("AT+CMGF=0"));
    modem.setSilent(false);
    modem.setLineEnd("\r\r\n");
    EXPECT_EQ(client.ask("AT+CMGF?", "OK\r\r\n"), "\r\r\n+CMGF: 0\r\r\n\r\r\nOK\r\r\n");
    modem.setPrompt(">");
    client.ask("AT+CMGF=1", "OK\r\r\n");
    EXPECT_EQ(client.ask("AT+CMGS=\"0151\"", ">"), "\r\r\n>");
    EXPECT_THAT(modem.transcript(), HasSubstr(" > lost\\x1a\n"));
}

TEST(ModemSim, FollowsItsPowerKey)
{
    ModemSim::Options options;
    options.powered = false;
    options.pulsesToStart = 2;
    options.pin = "1357";
    options.bootLines = {"RDY"};
    ModemSim modem(options);
    Client client(modem);
    ASSERT_TRUE(modem.waitForClient());
    modem.setPowerKey(true);
    modem.setPowerKey(false);
    EXPECT_FALSE(modem.isPowered());
    modem.pulsePower();
    EXPECT_TRUE(modem.isPowered());
    EXPECT_EQ(client.readTo("RDY\r\n"), "\r\nRDY\r\n");
    client.ask("AT+CMGF=1");
    client.ask("AT+CPIN=\"1357\"");
    EXPECT_EQ(modem.pinEntries(), 1);

    modem.pulsePower(); // one pulse switches it off
    EXPECT_FALSE(modem.isPowered());
    modem.pulsePower();
    modem.pulsePower();
    EXPECT_EQ(client.readTo("RDY\r\n"), "\r\nRDY\r\n");
    play(client, {{"AT+CMGF?", "\r\n+CMGF: 0\r\n\r\nOK\r\n"}, {"AT+CPIN?", "\r\n+CPIN: SIM PIN\r\n\r\nOK\r\n"}});
    EXPECT_EQ(modem.powerPulses(), 5);
}

TEST(ModemSim, TakesItsTimeToFindTheNetwork)
{
    ModemSim::Options options;
    options.registrationTime = 300ms;
    options.pin = "1357";
    ModemSim modem(options);
    modem.answerUssd("*100#", "Balance: 7", 50ms);
    Client client(modem);
    EXPECT_THAT(client.ask("AT+CREG?"), HasSubstr("+CREG: 0,0\r\n"));
    client.ask("AT+CPIN=\"1357\"");
    EXPECT_TRUE(modem.waitUntil([&] { return client.ask("AT+CREG?").find("+CREG: 0,1\r\n") != std::string::npos; }));
    EXPECT_EQ(client.ask("AT+CUSD=1,\"*100#\""), "\r\nOK\r\n");
    EXPECT_EQ(client.readTo(",15\r\n"), "\r\n+CUSD: 0,\"Balance: 7\",15\r\n");
}

TEST(ModemSim, HangsUpAndComesBack)
{
    const std::string link = testing::TempDir() + "modem_sim_test." + std::to_string(getpid());
    ModemSim::Options options;
    options.link = link;
    {
        ModemSim modem(options);
        EXPECT_EQ(modem.path(), link);
        Client client(modem);
        EXPECT_EQ(client.ask("AT"), "\r\nOK\r\n");
        modem.hangUp();
        EXPECT_TRUE(client.waitForEnd());
        modem.plugIn();
        Client again(modem);
        EXPECT_EQ(again.ask("AT"), "\r\nOK\r\n");
    }
    EXPECT_NE(access(link.c_str(), F_OK), 0) << "the link is gone with the modem";

    ASSERT_EQ(close(open(link.c_str(), O_CREAT | O_WRONLY, 0600)), 0);
    EXPECT_THROW(ModemSim{options}, std::system_error) << "a file that is no link is left alone";
    EXPECT_EQ(unlink(link.c_str()), 0);
}

TEST(ModemConsole, ObeysItsLines)
{
    ModemSim modem;
    ModemConsole console(modem);
    EXPECT_EQ(console.run("sms 0151 PUMP 1  ON").text, "place 1\n");
    EXPECT_TRUE(console.run("store 5 \"STO SENT\" 0152 \"say \\\"hi\\\"\\nthere\"").ok);
    EXPECT_EQ(console.run("list").text,
              "1 \"REC UNREAD\" 0151 \"PUMP 1 ON\"\n5 \"STO SENT\" 0152 \"say \"hi\"\\x0athere\"\n");
    EXPECT_FALSE(console.run("store 999 \"STO SENT\" 0152 x").ok);
    EXPECT_FALSE(console.run("silent maybe").ok);
    EXPECT_FALSE(console.run("frobnicate").ok);
    EXPECT_TRUE(console.run("").ok);
    EXPECT_TRUE(console.run("quit").quit);
}

} // namespace
