// The GSM service on the simulated modem: set-up, PIN and PUK, SMS, reports.
#include "FakeModem.h"
#include "GSM.h"
#include "engineCalls.h"
#include "forEver.h"
#include "modem/ModemSim.h"
#include "noThreads.h"
#include "scratchFolder.h"

#include <condition_variable>
#include <gmock/gmock.h>
#include <memory>
#include <set>
#include <stdio_ext.h>

namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using Reaction = ModemSim::Reaction;

/// A service on a simulated modem. Its threads never end: made with forEver().
struct Card {
    ModemSim modem;
    Gsm gsm;
    bool initialised;

    explicit Card(const ModemSim::Options& options = {}) : modem(options)
    {
        std::string port = modem.path(), pin = "1357";
        initialised = gsm.initialiseGsm(port.data(), pin.data());
    }
    /// One pass of set-up; returns what it logged.
    std::string setUp(bool& usable)
    {
        cWlog::init(cWlog::DEBUG);
        testing::internal::CaptureStderr();
        usable = gsm.setupModem();
        return testing::internal::GetCapturedStderr();
    }
};

ModemSim::Options lockedWith(const std::string& pin)
{
    ModemSim::Options options;
    options.pin = pin;
    return options;
}

class Counter : public EventNotifier {
public:
    void EventOccured(ModemEvent& event) override
    {
        if (event.getEventType() == ModemEvent::SMS)
            ++m_sms;
    }
    void EventOccured(smsSendRequestEvent& /*event*/) override {}
    std::atomic<int> m_sms{0};
};

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

TEST(GsmSetup, FindsAModemWhoseSimAsksForNothing)
{
    Card& card = forEver<Card>();
    card.modem.react("AT+CMGF=1", Reaction::line("ERROR")); // text mode does not count
    bool usable = false;
    const std::string log = card.setUp(usable);
    EXPECT_TRUE(usable);
    EXPECT_THAT(log, AllOf(HasSubstr("Modem ID: TAV-SIM GSM 1.0"), HasSubstr("SIM card is inserted"),
                           HasSubstr("SIM card is ready"), HasSubstr("Net operator:\"TAV NET\""),
                           HasSubstr("Sms text mode error"), HasSubstr("Initialization summary"),
                           HasSubstr("Modem ID: TAV-SIM GSM 1.0 deleted"), HasSubstr("SIM card status is READY")));
    EXPECT_THAT(log, AllOf(Not(HasSubstr("Attempt")), Not(HasSubstr("Error with modem setup"))));
    EXPECT_EQ(2U, timesIn(log, "RSSI:-45.320000dBm\tBER:0.000000")) << "when asked for, and in the summary";
    EXPECT_EQ(0, card.modem.pinEntries());
    EXPECT_EQ(
        (std::vector<std::string>{"AT+IPR=115200", "ATI", "AT+CSMINS?", "AT+CPIN?", "AT+CSQ", "AT+COPS?", "AT+CMGF=1"}),
        card.modem.commands());
}

struct PinCase {
    const char* name;
    const char* pin;                                 // that the SIM wants; the service knows 1357
    std::vector<std::pair<const char*, int>> states; // answers to AT+CPIN? instead of its own, and how often
    bool usable;
    int entries;
    std::size_t attempts;
};
class GsmSetupPin : public testing::TestWithParam<PinCase> {};
const char* const kWanted = "+CPIN: SIM PIN\r\n\r\nOK";
INSTANTIATE_TEST_SUITE_P(
    Enters, GsmSetupPin,
    testing::Values(PinCase{"TheRightPinOnce", "1357", {}, true, 1, 1},
                    PinCase{"AWrongPinOnce", "2468", {}, false, 1, 1},
                    PinCase{
                        "ThePinAgainWhereItsOutcomeCannotBeRead", "2468", {{kWanted, 2}, {"ERROR", 1}}, false, 2, 2},
                    PinCase{"NothingWhileTheStateCannotBeRead", "1357", {{"ERROR", ModemSim::kForEver}}, false, 0, 2}),
    [](const auto& pinCase) { return pinCase.param.name; });

TEST_P(GsmSetupPin, AsOftenAsTheModemAsks)
{
    const PinCase& row = GetParam();
    Card& card = forEver<Card>(lockedWith(row.pin));
    for (const auto& [state, times] : row.states)
        card.modem.react("AT+CPIN?", Reaction::line(state), times);
    bool usable = !row.usable;
    const std::string log = card.setUp(usable);
    EXPECT_EQ(row.usable, usable) << log;
    EXPECT_EQ(row.entries, card.modem.pinEntries());
    for (const std::size_t attempt : {1U, 2U, 3U})
        EXPECT_EQ(attempt <= row.attempts ? 1U : 0U, timesIn(log, "Attempt " + std::to_string(attempt))) << log;
    for (const char* success : {"Pin entered successfully", "SIM card status is READY"})
        EXPECT_EQ(row.usable ? 1U : 0U, timesIn(log, success)) << log;
    for (const char* failure : {"Error with modem setup", "Modem set-up failed: "})
        EXPECT_EQ(row.usable ? 0U : 1U, timesIn(log, failure)) << log;
}

TEST(GsmSetup, SaysWhatAModemWithoutANetLacks)
{
    Card& card = forEver<Card>();
    card.modem.setSignal(99, 99);
    card.modem.react("AT+COPS?", Reaction::line("+COPS: 0,0,0\r\n\r\nOK"));
    bool usable = true;
    const std::string log = card.setUp(usable);
    EXPECT_THAT(log, HasSubstr("Could not obtain signal strength"));
    EXPECT_EQ(2U, timesIn(log, "No registered operator is detected")) << log;
}

TEST(GsmSetup, GoesOnToTheEndWithAModemThatRefusesEverything)
{
    Card& card = forEver<Card>();
    card.modem.react("AT", Reaction::line("ERROR"), ModemSim::kForEver);
    bool usable = true;
    const std::string log = card.setUp(usable);
    EXPECT_FALSE(usable);
    EXPECT_THAT(log, AllOf(HasSubstr("Modem returned error"), HasSubstr("Could not obtain modem ID"),
                           HasSubstr("SIM card is NOT inserted"), HasSubstr("Could not obtain signal strength"),
                           HasSubstr("Could not obtain Net operator"), HasSubstr("Error with modem setup")));
}

TEST(GsmPuk, IsNotSentWithoutTwoNumbers)
{
    Card& card = forEver<Card>(lockedWith("1357"));
    card.modem.setSimState(ModemSim::SimState::NeedsPuk);
    for (const char* console : {"", "\n\n", "letters\nletters\n", "12345678\n", "12345678\nletters\n",
                                "99999999999999999999\n1357\n", "-5\n1357\n"}) {
        typeOnConsole(console);
        card.gsm.enterPuk();
        EXPECT_EQ(0, card.modem.pukEntries()) << console;
    }
    cWlog::init(cWlog::INFO);
    for (const char* console : {"01234567\n2468\n", "12345678\n0246\n"}) { // they would be sent without their zero
        typeOnConsole(console);
        testing::internal::CaptureStderr();
        card.gsm.enterPuk();
        EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("begins with a zero"));
        EXPECT_EQ(0, card.modem.pukEntries()) << console;
    }
}

TEST(GsmPuk, UnlocksTheSimFromTheConsole)
{
    Card& card = forEver<Card>(lockedWith("1357"));
    card.modem.setSimState(ModemSim::SimState::NeedsPuk);
    typeOnConsole("12345678\n2468\n");
    testing::internal::CaptureStdout();
    card.gsm.enterPuk();
    EXPECT_EQ("Puk required\nEnter Puk:Enter new pin:", testing::internal::GetCapturedStdout());
    EXPECT_TRUE(card.modem.waitUntil([&] { return card.modem.pin() == "2468"; }));
    EXPECT_EQ(1, card.modem.pukEntries());
}

TEST(Gsm, SendsReadsAndDeletesSms)
{
    Card& card = forEver<Card>();
    card.modem.store({1, ModemSim::SmsStatus::RecUnread, "+49151", "PUMP ON", ""});
    card.modem.store({3, ModemSim::SmsStatus::RecUnread, "0170", "PUMP QUERY", ""});
    std::string number = "0151123456";
    std::string text = "PUMP STATE:HIGH";
    EXPECT_TRUE(card.gsm.sendSMS(number.data(), text.data()));
    EXPECT_TRUE(card.modem.waitForSent(number, text));

    card.modem.react("AT+CSCS", Reaction::line("ERROR"));
    EXPECT_FALSE(card.gsm.sendSMS(number.data(), text.data()));
    EXPECT_EQ(1U, card.modem.count("AT+CMGS"));

    const std::unique_ptr<cEnumeratedList<Sms>> list(card.gsm.readSms());
    ASSERT_NE(nullptr, list);
    std::string found;
    for (Sms* sms = list->first(); sms != nullptr; sms = list->getNext()) {
        found += std::string(sms->getId()) + sms->getNumber() + sms->getMessage() + ";";
        delete sms;
    }
    EXPECT_EQ("3\"0170\"PUMP QUERY;1\"+49151\"PUMP ON;", found);
    EXPECT_TRUE(card.gsm.deleteSms(3));
    EXPECT_EQ(1U, card.modem.stored().size());
}

TEST(Gsm, DeliversEachReportAtLeastOnce)
{
    Card& card = forEver<Card>();
    auto& early = *new Counter; // the event thread's for as long as the process lives
    card.gsm.subscribe(&early);
    (void)card.gsm.deleteSms(1); // until there is a command, the port is not read
    for (int i = 1; i <= 3; ++i) {
        card.modem.sms("0151", "hello");
        EXPECT_TRUE(eventually([&] { return early.m_sms >= i; })) << i;
    }
    auto& late = *new Counter;
    card.gsm.subscribe(&late);
    card.modem.sms("0151", "hello");
    EXPECT_TRUE(eventually([&] { return late.m_sms >= 2; })); // what came before it subscribed, too
}

// While one report is being delivered, a modem gone mad sends thousands.
TEST(Gsm, KeepsOfAStormOfReportsTheNewestOfEachKind)
{
    class Slow : public EventNotifier {
    public:
        void EventOccured(ModemEvent& event) override
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            m_called = true;
            m_changed.notify_all();
            m_changed.wait(lock, [this] { return m_open; });
            ++m_count;
            const bool sms = event.getEventType() == ModemEvent::SMS;
            m_texts.insert(sms ? static_cast<SmsEvent&>(event).getSmsId() : static_cast<USDEvent&>(event).getUsdCode());
        }
        void EventOccured(smsSendRequestEvent& /*event*/) override {}
        std::mutex m_mutex;
        std::condition_variable m_changed;
        bool m_called = false, m_open = false;
        int m_count = 0;
        std::set<std::string> m_texts;
    };
    Card& card = forEver<Card>();
    auto& slow = *new Slow;
    card.gsm.subscribe(&slow);
    cWlog::init(cWlog::INFO);
    const auto sms = [&](const std::string& place) {
        auto* event = new SmsEvent;
        event->setSmsId(place.c_str());
        card.gsm.iInsertEvent(event);
    };
    const auto delivered = [&](const std::string& text) {
        return eventually([&] {
            std::lock_guard<std::mutex> lock(slow.m_mutex);
            return slow.m_texts.count(text) != 0;
        });
    };
    // Returns how often the storm was told.
    const auto storm = [&](const std::string& number) {
        testing::internal::CaptureStderr();
        {
            std::unique_lock<std::mutex> lock(slow.m_mutex);
            slow.m_called = slow.m_open = false;
            sms(number + "7");
            slow.m_changed.wait(lock, [&] { return slow.m_called; });
        }
        sms(number + "8");
        for (int i = 1; i <= 20000; ++i) {
            auto* event = new USDEvent;
            event->setUsdCode((number + " answer " + std::to_string(i)).c_str());
            card.gsm.iInsertEvent(event);
        }
        EXPECT_LE(card.gsm.getEvents()->size(), Gsm::kMostWaiting + 2 * eventDispatch::kKept);
        {
            std::lock_guard<std::mutex> lock(slow.m_mutex);
            slow.m_open = true;
        }
        slow.m_changed.notify_all();
        EXPECT_TRUE(delivered(number + " answer 20000"));
        EXPECT_TRUE(delivered(number + "8"));
        sms(number + "9");
        EXPECT_TRUE(delivered(number + "9"));
        return timesIn(testing::internal::GetCapturedStderr(), "only the newest of each kind is kept");
    };
    EXPECT_EQ(1U, storm("1"));
    EXPECT_EQ((std::vector<int>{17, 18, 19}), card.gsm.takeReportedPlaces()) << "of SMS only";
    {
        std::lock_guard<std::mutex> lock(slow.m_mutex);
        EXPECT_LT(slow.m_count, 5000);
    }
    int number = 1; // a storm that begins before the event thread has seen the last one's end is the same storm
    EXPECT_TRUE(eventually([&] { return storm(std::to_string(++number)) == 1U; })) << "another storm is told anew";
}

TEST(Gsm, IsDeadWithoutItsPort)
{
    auto& gsm = *new Gsm;
    char nowhere[] = "/nowhere/ttyS9";
    char pin[] = "1357";
    cWlog::init(cWlog::DEBUG);
    testing::internal::CaptureStderr();
    EXPECT_FALSE(gsm.initialiseGsm(nowhere, pin));
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                AllOf(HasSubstr("Failed to open serial connection"), HasSubstr("Modem could not be initialized"),
                      HasSubstr("/nowhere/ttyS9")));
    {
        auto& threadless = forEver<Gsm>();
        const NoThreads refused;
        testing::internal::CaptureStderr();
        EXPECT_FALSE(threadless.initialiseGsm(nowhere, pin));
        EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("The event thread could not be started"));
    }
    EXPECT_EQ(ErrStat::UNKNOWN, gsm.errorHandle(ErrStat::WRONG));
    EXPECT_EQ(ErrStat::MDMERR, gsm.errorHandle(ErrStat::MDMERR));
}
