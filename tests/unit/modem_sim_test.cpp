// The simulated modem, through a terminal client of the test's own.
#include "modem/ModemConsole.h"
#include "modem/ModemSim.h"

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
    explicit Client(const ModemSim& modem) : m_fd(open(modem.path().c_str(), O_RDWR | O_NOCTTY))
    {
        EXPECT_NE(m_fd, -1) << modem.path();
    }
    ~Client() { close(m_fd); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    void type(const std::string& bytes) { EXPECT_EQ(write(m_fd, bytes.data(), bytes.size()), ssize_t(bytes.size())); }

    /// What comes up to and with @p end; less when the terminal hangs up, or is silent for too long.
    std::string readTo(const std::string& end)
    {
        std::string taken;
        pollfd state{m_fd, POLLIN, 0};
        char byte = 0;
        while (taken.size() < end.size() || taken.compare(taken.size() - end.size(), end.size(), end) != 0) {
            if (poll(&state, 1, kPatienceMs) != 1 || read(m_fd, &byte, 1) != 1) {
                break;
            }
            taken += byte;
        }
        return taken;
    }

private:
    static constexpr int kPatienceMs = 30000;
    int m_fd;
};

const std::string kOk = "\r\nOK\r\n";
const std::string kError = "\r\nERROR\r\n";
const std::string kPrompt = "\r\n> ";

std::string line(const std::string& text)
{
    return "\r\n" + text + "\r\n";
}
std::string cme(int number)
{
    return line("+CME ERROR: " + std::to_string(number));
}
std::string cms(int number)
{
    return line("+CMS ERROR: " + std::to_string(number));
}

/// What is typed, as a line unless it ends a text, and the whole reply. Nothing typed: what the modem says unasked.
struct Exchange {
    std::string typed;
    std::string reply;
};

void play(Client& client, const std::vector<Exchange>& exchanges)
{
    for (const auto& [typed, reply] : exchanges) {
        const bool isLine = !typed.empty() && typed.back() >= ' ';
        client.type(isLine ? typed + "\r" : typed);
        EXPECT_EQ(client.readTo(reply), reply) << typed;
    }
}

TEST(ModemSim, AnswersAsTheStandardsSay)
{
    ModemSim::Options options;
    options.signal = 17;
    options.errorRate = 3;
    ModemSim modem(options);
    Client client(modem);
    play(client, {{"AT+IPR=115201", kError},
                  {"AT+CSQ", line("+CSQ: 17,3") + kOk},
                  {"AT+CMGL=\"ALL\"", cms(304)}, // no text mode yet
                  {"at+cmgf=1;+cmgf?", line("+CMGF: 1") + kOk},
                  {"AT+CSCS=\"KLINGON\"", kError},
                  {"AT+CMEE=1", kOk},
                  {"AT+CSCS=\"KLINGON\"", cme(50)},
                  {"AT+CMGD=99", cms(321)},
                  {"AT+CMEE=2", kOk},
                  {"AT+CSCS=\"KLINGON\"", line("+CME ERROR: incorrect parameters")},
                  {"AT+CMGS=\"no number\"", line("+CMS ERROR: invalid text mode parameter")},
                  {"AT+WHAT?", kError},
                  {"noise before AT+CMGF?", line("+CMGF: 1") + kOk},
                  {"ATE1", kOk},
                  {"AT", "AT\r" + kOk},
                  {"ATE0V0", "ATE0V0\r0\r"},
                  {"AT+NO", "4\r"}});
    modem.setOperator("");
    play(client, {{"ATV1+COPS?", line("+COPS: 0") + kOk}});
    EXPECT_EQ(modem.count("AT+CSCS"), 3U);
}

TEST(ModemSim, CountsPinAndPukTriesAcrossPowerCutsAndBlocksItsSim)
{
    ModemSim::Options options;
    options.pin = "1357";
    options.pukTries = 3;
    options.errorMode = ErrorMode::Numeric;
    ModemSim modem(options);
    Client client(modem);
    const auto cutPower = [&] {
        modem.setPower(false);
        modem.setPower(true);
    };
    play(client, {{"AT+COPS?", cme(11)},
                  {"AT+CMGD=1", cms(311)},
                  {"AT+CPIN=\"12a4\"", cme(50)}, // no PIN at all: costs no try
                  {"AT+CPIN=\"0000\"", cme(16)},
                  {"AT+CPIN=\"1357\"", kOk}, // and all tries are back
                  {"AT+CPIN=\"1357\"", cme(3)}});
    cutPower();
    play(client, {{"AT+CPIN=\"0000\"", cme(16)}, {"AT+CPIN=0000", cme(16)}});
    cutPower();
    play(client, {{"AT+CPIN=\"0000\"", cme(12)},
                  {"AT+CPIN=\"1357\"", cme(12)},
                  {"AT+CPIN=\"00000000\",\"2468\"", cme(16)},
                  {"AT+CPIN=\"12345678\",\"2468\"", kOk}});
    EXPECT_EQ(modem.pin(), "2468");
    EXPECT_EQ(modem.pinEntries(), 8);
    EXPECT_EQ(modem.pukEntries(), 2);

    modem.setSimState(ModemSim::SimState::NeedsPuk);
    play(client, {{"AT+CPIN=\"00000000\",\"1\"", cme(50)},
                  {"AT+CPIN=\"00000000\",\"1111\"", cme(16)},
                  {"AT+CPIN=\"00000000\",\"1111\"", cme(16)},
                  {"AT+CPIN=\"00000000\",\"1111\"", cme(13)},
                  {"AT+CPIN?", cme(13)}});
    modem.setSimInserted(false);
    play(client, {{"AT+CPIN?", cme(10)}, {"AT+CSMINS?", line("+CSMINS: 0,0") + kOk}});
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
    play(client, {{"AT+CMGF=1", kOk}});
    EXPECT_EQ(modem.sms("0151", "PUMP ON"), 1);
    EXPECT_EQ(modem.sms("ALPHA \xff", "two\r\nlines"), 3);
    EXPECT_EQ(modem.smsUnicode("0152", "\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80"), 0); // full: the network keeps it
    play(client,
         {{"", line("+CMTI: \"SM\",1") + line("+CMTI: \"SM\",3")},
          {"AT+CMGL=\"ALL\"", "\r\n+CMGL: 1,\"REC UNREAD\",\"0151\",,\"26/01/02,03:04:05+04\"\r\nPUMP ON\r\n"
                              "+CMGL: 2,\"STO SENT\",\"+49151\",,\r\nearlier\r\n"
                              "+CMGL: 3,\"REC UNREAD\",\"ALPHA \xff\",,\"26/01/02,03:04:05+04\"\r\ntwo\r\nlines\r\n" +
                                  kOk},
          {"AT+CMGL=\"REC UNREAD\"", kOk}, // the listing has marked them read
          {"AT+CPMS?", line("+CPMS: \"SM\",3,3,\"SM\",3,3,\"SM\",3,3") + kOk},
          {"AT+CMGD=4", cms(321)},
          {"AT+CMGD=3", kOk + line("+CMTI: \"SM\",3")}, // the one that the network has kept takes its place
          {"AT+CMGR=3", line("+CMGR: \"REC UNREAD\",\"0152\",,\"26/01/02,03:04:05+04\"\r\n00E420ACD83DDE00") + kOk},
          {"AT+CMGD=1", kOk},
          {"AT+CMGD=1", kOk}, // empty: fine too
          {"AT+CMGD=1,4", kOk}});
    EXPECT_TRUE(modem.waitForEmptyStorage());
    modem.setReports(false);
    EXPECT_EQ(modem.sms("0151", "unseen"), 1);
    play(client, {{"AT", kOk}});
}

TEST(ModemSim, SendsTextsTypedAtThePrompt)
{
    ModemSim modem;
    Client client(modem);
    play(client, {{"AT+CMGF=1", kOk},
                  {"AT+CMGS=\"0151\"", kPrompt},
                  {"AT+CMGF=0\x1a", line("+CMGS: 1") + kOk}, // what looks like a command is text here
                  {"AT+CMGS=\"+152\"", kPrompt},
                  {"given up\x1b", kOk},
                  {"AT+CMGS=\"+153\"", kPrompt},
                  {"first", kPrompt},
                  {"second\x1a", line("+CMGS: 2") + kOk},
                  {"AT+CMGS=\"0154\"", kPrompt},
                  {std::string(161, 'x') + "\x1a", cms(305)}});
    modem.setOperator("");
    play(client, {{"AT+CMGS=\"0155\"", kPrompt}, {"nobody hears\x1a", cms(331)}});
    EXPECT_TRUE(modem.waitForSent("0151", "AT+CMGF=0"));
    EXPECT_TRUE(modem.waitForSent("+153", "first\nsecond"));
    EXPECT_EQ(modem.sent().size(), 2U);
    EXPECT_FALSE(modem.waitForSent("0151", "never", 0ms));

    client.type("PUMP STATE\x1a"); // typed without a prompt
    play(client, {{"AT", kOk}});
    modem.setKeepsStrayText(true);
    client.type("PUMP STATE\x1a");
    play(client, {{"AT+CMGF?", kError}}); // the command begins after the first AT
}

TEST(ModemSim, LetsReportsPassBetweenPiecesButNotIntoLines)
{
    ModemSim modem;
    Client client(modem);
    modem.react("AT+CSQ", Reaction::parts({{0ms, "\r\n+CS"}, {200ms, "Q: 5,5\r\n"}, {0ms, kOk}}));
    client.type("AT+CSQ\r");
    EXPECT_EQ(client.readTo("+CS"), "\r\n+CS");
    modem.sendLine("RING");
    play(client, {{"", "Q: 5,5\r\n" + kOk + line("RING")}});

    modem.react("AT+COPS", Reaction::lateFinal(200ms));
    play(client, {{"AT+COPS?", line("+COPS: 0,0,\"TAV NET\"")}});
    modem.sendLine("RING");
    play(client, {{"", line("RING") + kOk}});

    const auto before = std::chrono::steady_clock::now();
    modem.react("AT", Reaction::late(200ms));
    client.type("AT\rATI\r"); // what is typed ahead waits
    ASSERT_TRUE(modem.waitForCommand("AT", 3));
    modem.sendLine("RING");
    play(client, {{"", line("RING") + kOk + line("TAV-SIM GSM 1.0") + kOk}});
    EXPECT_GE(std::chrono::steady_clock::now() - before, 200ms);
}

TEST(ModemSim, MisbehavesAsItIsTold)
{
    ModemSim modem;
    Client client(modem);
    modem.react("AT+CSQ", Reaction::line("ERROR"), 2);
    modem.react("AT+CSQ", Reaction::line("+CME ERROR: 14"));
    modem.react("AT+CMGF=1", Reaction::unheard()); // takes effect; what comes next is the next reply
    modem.react("ATI", Reaction::silence());
    play(client, {{"AT+CSQ", kError},
                  {"AT+CSQ", kError},
                  {"AT+CSQ", cme(14)},
                  {"AT+CSQ", line("+CSQ: 20,0") + kOk},
                  {"AT+CMGF=1\rATI\rAT+CMGF?", line("+CMGF: 1") + kOk}});
    client.type(std::string(3000, 'A') + "T\r"); // has no AT within the bounds of a line: no command
    play(client, {{"AT" + std::string(3000, 'A'), kError}});
    modem.setSilent(true);
    client.type("AT+CMGF=0\r");
    ASSERT_TRUE(modem.waitForCommand("AT+CMGF=0"));
    modem.setSilent(false);
    modem.setLineEnd("\r\r\n");
    modem.setPrompt(">");
    play(client, {{"AT+CMGF?", "\r\r\n+CMGF: 0\r\r\n\r\r\nOK\r\r\n"},
                  {"AT+CMGF=1", "\r\r\nOK\r\r\n"},
                  {"AT+CMGS=\"0151\"", "\r\r\n>"},
                  {"given up\x1b", "\r\r\nOK\r\r\n"}});
    EXPECT_THAT(modem.transcript(), HasSubstr(" > given up\\x1b\n"));
}

TEST(ModemSim, StartsAtItsPowerKeyForgetsItsSettingsAndFindsTheNetworkInTime)
{
    ModemSim::Options options;
    options.powered = false;
    options.pulsesToStart = 2;
    options.pin = "1357";
    options.bootLines = {"RDY"};
    options.registrationTime = 300ms;
    ModemSim modem(options);
    modem.answerUssd("*100#", "Balance: 7", 50ms);
    Client client(modem);
    ASSERT_TRUE(modem.waitForClient());
    modem.setPowerKey(true);
    modem.setPowerKey(false);
    EXPECT_FALSE(modem.isPowered());
    modem.pulsePower();
    play(client, {{"", line("RDY")}, {"AT+CMGF=1", kOk}});
    modem.pulsePower(); // one pulse switches it off
    EXPECT_FALSE(modem.isPowered());
    modem.pulsePower();
    modem.pulsePower();
    play(client, {{"", line("RDY")},
                  {"AT+CMGF?", line("+CMGF: 0") + kOk},
                  {"AT+CREG?", line("+CREG: 0,0") + kOk},
                  {"AT+CPIN=\"1357\"", kOk}});
    EXPECT_TRUE(modem.waitUntil([&] {
        client.type("AT+CREG?\r");
        return client.readTo(kOk) == line("+CREG: 0,1") + kOk;
    }));
    play(client, {{"AT+CUSD=1,\"*100#\"", kOk + line("+CUSD: 0,\"Balance: 7\",15")}});
}

TEST(ModemSim, RemovesItsLinkAndLeavesAForeignFileAlone)
{
    ModemSim::Options options;
    options.link = testing::TempDir() + "modem_sim_test." + std::to_string(getpid());
    const char* const link = options.link.c_str();
    EXPECT_EQ(ModemSim(options).path(), link);
    EXPECT_NE(access(link, F_OK), 0) << "the link is gone with the modem";
    ASSERT_EQ(close(open(link, O_CREAT | O_WRONLY, 0600)), 0);
    EXPECT_THROW(ModemSim{options}, std::system_error) << "a file that is no link is left alone";
    EXPECT_EQ(unlink(link), 0);
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
