// The GSM service on the simulated modem: set-up, PIN and PUK, SMS, reports.
#include "FakeModem.h"
#include "GSM.h"
#include "engineCalls.h"
#include "forEver.h"
#include "modem/ModemSim.h"
#include "noThreads.h"
#include "scratchFolder.h"

#include <gmock/gmock.h>
#include <stdio_ext.h>

namespace {

using testing::HasSubstr;
using Reaction = ModemSim::Reaction;

/// A service on a simulated modem. Its threads never end: made with forEver().
struct Card {
    ModemSim modem;
    Gsm gsm;

    explicit Card(const ModemSim::Options& options = {}) : modem(options)
    {
        std::string port = modem.path(), pin = "1357";
        EXPECT_TRUE(gsm.initialiseGsm(port.data(), pin.data()));
    }
};

ModemSim::Options lockedWith(const std::string& pin)
{
    ModemSim::Options options;
    options.pin = pin;
    return options;
}

/// Gives the process a console that holds @p input and then ends.
void typeOnConsole(const std::string& input)
{
    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    ASSERT_EQ(static_cast<ssize_t>(input.size()), write(ends[1], input.data(), input.size()));
    close(ends[1]);
    dup2(ends[0], STDIN_FILENO);
    close(ends[0]);
    __fpurge(stdin); // what an earlier console held and nobody read
}

} // namespace

struct Said {
    const char* to;
    const char* reply; // instead of its own
    int times;
};
struct SetupCase {
    const char* name;
    const char* pin; // that the SIM wants; the service knows 1357
    std::vector<Said> said;
    bool usable;
    int pinEntries;
    std::size_t attempts;
    std::vector<const char*> logged;
};
const Said kTextModeFails{"AT+CMGF=1", "ERROR", 1};
const Said kPinWanted{"AT+CPIN?", "+CPIN: SIM PIN\r\n\r\nOK", 2};
const Said kNoAnswer{"AT+CPIN?", "ERROR", 1};
const Said kNoState{"AT+CPIN?", "ERROR", ModemSim::kForEver};
const Said kNoSignal{"AT+CSQ", "+CSQ: 99,99\r\n\r\nOK", 1};
const Said kNoNet{"AT+COPS?", "+COPS: 0,0,0\r\n\r\nOK", 1};
const Said kRefusal{"AT", "ERROR", ModemSim::kForEver};
const SetupCase kSetups[] = {
    {"WithoutPinAndTextMode", "", {kTextModeFails}, true, 0, 0, {"\"TAV NET\""}},
    {"RightPin", "1357", {}, true, 1, 1, {"Pin entered successfully", "SIM card status is READY"}},
    {"WrongPin", "2468", {}, false, 1, 1, {"SIM waits for its PIN"}},
    {"OutcomeOfThePinUnknown", "2468", {kPinWanted, kNoAnswer}, false, 2, 2, {"SIM waits for its PIN"}},
    {"StateOfTheSimUnknown", "1357", {kNoState}, false, 0, 2, {"state of the SIM unknown"}},
    {"NoNet", "", {kNoSignal, kNoNet}, false, 0, 0, {"no signal strength", "No registered operator is detected"}},
    {"Refusals", "", {kRefusal}, false, 0, 2, {"for its identity, no SIM found, state", "for the operator"}}};

class GsmSetup : public testing::TestWithParam<SetupCase> {};
INSTANTIATE_TEST_SUITE_P(Of, GsmSetup, testing::ValuesIn(kSetups), [](const auto& row) { return row.param.name; });

TEST_P(GsmSetup, SaysWhatItFindsAndGivesThePinAsOftenAsItIsAskedFor)
{
    const SetupCase& row = GetParam();
    Card& card = forEver<Card>(lockedWith(row.pin));
    for (const Said& said : row.said)
        card.modem.react(said.to, Reaction::line(said.reply), said.times);
    cWlog::init(cWlog::DEBUG);
    const std::string log = standardErrorOf([&] { EXPECT_EQ(row.usable, card.gsm.setupModem()); });
    EXPECT_EQ(row.pinEntries, card.modem.pinEntries());
    for (const char* line : row.logged)
        EXPECT_THAT(log, HasSubstr(line));
    if (row.usable) {
        EXPECT_EQ(2U, timesIn(log, "RSSI:-45.320000dBm\tBER:0.000000")) << "when asked for, and in the summary";
    }
    for (const std::size_t attempt : {1U, 2U, 3U})
        EXPECT_EQ(attempt <= row.attempts ? 1U : 0U, timesIn(log, "Attempt " + std::to_string(attempt))) << log;
    for (const char* failure : {"Error with modem setup", "Modem set-up failed: "})
        EXPECT_EQ(row.usable ? 0U : 1U, timesIn(log, failure)) << log;
}

// That a right PUK unlocks the SIM is a scenario.
TEST(GsmPuk, IsNotSentWithoutTwoNumbersThatKeepTheirDigits)
{
    Card& card = forEver<Card>(lockedWith("1357"));
    card.modem.setSimState(ModemSim::SimState::NeedsPuk);
    const std::pair<const char*, std::vector<const char*>> rows[] = {
        {"gave no number",
         {"", "\n\n", "letters\nletters\n", "12345678x\n1357\n", "12345678\n", "12345678\nletters\n",
          "99999999999999999999\n1357\n"}},
        {"begins with a zero", {"01234567\n2468\n", "12345678\n0246\n"}},
        {"is refused", {"-5\n1357\n"}}};
    cWlog::init(cWlog::INFO);
    for (const auto& [why, consoles] : rows) {
        for (const char* console : consoles) {
            typeOnConsole(console);
            EXPECT_THAT(standardErrorOf([&] { card.gsm.enterPuk(); }), HasSubstr(why)) << console;
            EXPECT_EQ(0, card.modem.pukEntries()) << console;
        }
    }
}

TEST(Gsm, SendsNoSmsWithoutTextModeAndCharacterSet)
{
    Card& card = forEver<Card>();
    std::string number = "0151123456", text = "PUMP STATE:HIGH";
    for (const char* step : {"AT+CMGF", "AT+CSCS"}) {
        card.modem.react(step, Reaction::line("ERROR"));
        EXPECT_FALSE(card.gsm.sendSMS(number.data(), text.data())) << step;
    }
    EXPECT_EQ(0U, card.modem.count("AT+CMGS"));
}

TEST(Gsm, DeliversEachReportAtLeastOnceAndTheLatestToALateListener)
{
    Card& card = forEver<Card>();
    auto& early = forEver<Heard>();
    auto& late = forEver<Heard>();
    card.gsm.subscribe(new Listener([&](const std::string& place) { early.add(place); }));
    (void)card.gsm.deleteSms(1); // until there is a command, the port is not read
    for (const char* place : {"1", "2", "3"}) {
        card.modem.sms("0151", "hello");
        EXPECT_TRUE(early.waitFor(place));
    }
    card.gsm.subscribe(new Listener([&](const std::string& place) { late.add(place); }));
    card.modem.sms("0151", "hello");
    EXPECT_TRUE(late.waitFor("4"));
    EXPECT_TRUE(late.waitFor("3"));
}

// While one report is being delivered, a modem gone mad sends thousands.
TEST(Gsm, KeepsOfAStormOfReportsTheNewestOfEachKind)
{
    struct Slow {
        std::mutex gate, second; // held, they stop the delivery; the second one, at an answer 20000
        std::atomic<int> calls{0}, atGate{0};
        Heard heard;
    };
    Card& card = forEver<Card>();
    auto& slow = forEver<Slow>();
    auto* const listener = new Listener([&slow](const std::string& text) {
        ++slow.calls;
        ++slow.atGate;
        const std::lock_guard<std::mutex> open(slow.gate);
        --slow.atGate;
        slow.heard.add(text);
        if (text.find(" answer 20000") != std::string::npos)
            const std::lock_guard<std::mutex> openAgain(slow.second);
    });
    EXPECT_EQ(0, card.gsm.subscribe(listener));
    cWlog::init(cWlog::INFO);
    const auto report = [&card](const std::string& place) {
        auto* event = new SmsEvent;
        event->setSmsId(place.c_str());
        card.gsm.iInsertEvent(event);
    };
    // Returns how often the storm was told.
    const auto storm = [&](const std::string& number) {
        const auto answers = [&](int first, int last) {
            for (int i = first; i <= last; ++i) {
                auto* event = new USDEvent;
                event->setUsdCode((number + " answer " + std::to_string(i)).c_str());
                card.gsm.iInsertEvent(event);
            }
            EXPECT_LE(card.gsm.getEvents()->size(), 2 * (Gsm::kMostWaiting + eventDispatch::kKept));
        };
        const std::string log = standardErrorOf([&] {
            std::unique_lock<std::mutex> closed(slow.gate), closedAgain(slow.second);
            report(number + "7");
            EXPECT_TRUE(eventually([&] { return slow.atGate > 0; }));
            report(number + "8");
            answers(1, 20000);
            closed.unlock();
            EXPECT_TRUE(slow.heard.waitFor(number + " answer 20000"));
            answers(20001, 40000); // the same storm
            closedAgain.unlock();
            EXPECT_TRUE(slow.heard.waitFor(number + " answer 40000"));
            EXPECT_TRUE(slow.heard.waitFor(number + "8"));
            report(number + "9");
            EXPECT_TRUE(slow.heard.waitFor(number + "9"));
        });
        return timesIn(log, "only the newest of each kind is kept");
    };
    EXPECT_EQ(1U, storm("1"));
    EXPECT_EQ((std::vector<int>{17, 18, 19}), card.gsm.takeReportedPlaces()) << "of SMS only";
    EXPECT_LT(slow.calls, 5000);
    int number = 1; // a storm that begins before the event thread has seen the last one's end is the same storm
    EXPECT_TRUE(eventually([&] { return storm(std::to_string(++number)) == 1U; })) << "another storm is told anew";
}

// That it tells of a missing port is a scenario.
TEST(Gsm, IsDeadWithoutItsEventThread)
{
    auto& gsm = forEver<Gsm>();
    char nowhere[] = "/nowhere/ttyS9", pin[] = "1357";
    cWlog::init(cWlog::INFO);
    const NoThreads refused;
    EXPECT_THAT(standardErrorOf([&] { EXPECT_FALSE(gsm.initialiseGsm(nowhere, pin)); }),
                HasSubstr("The event thread could not be started"));
}
