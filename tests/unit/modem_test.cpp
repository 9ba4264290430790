// The modem's operations, against a modem that plays a script.
#include "FakeModem.h"
#include "GSM.h"
#include "Modem.h"
#include "engineCalls.h"
#include "noThreads.h"

#include <gmock/gmock.h>
#include <log4cpp/AppenderSkeleton.hh>
#include <log4cpp/Category.hh>
#include <memory>

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

char* text(const char* literal) // for arguments that are only read
{
    return const_cast<char*>(literal);
}

/// Counts the modem's reports, and keeps what the last of them said.
class Listener : public EventNotifier {
public:
    void EventOccured(ModemEvent& event) override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (event.getEventType() == ModemEvent::USD)
            m_last = static_cast<USDEvent&>(event).getUsdCode();
        else if (event.getEventType() == ModemEvent::SMS)
            m_last = static_cast<SmsEvent&>(event).getSmsId();
    }
    void EventOccured(smsSendRequestEvent& /*event*/) override {}
    std::string last()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_last;
    }

private:
    std::mutex m_mutex;
    std::string m_last;
};

/// A facade on a terminal. Its threads never end, so neither does it.
struct Rig {
    FakeModem fake;
    Gsm gsm;
    Listener listener;
    Modem& modem;

    static Rig& make(std::vector<Step> script = {}, std::size_t chunk = 0, bool echo = false)
    {
        static std::mutex mutex;
        static auto* all = new std::vector<Rig*>;
        auto* rig = new Rig(std::move(script), chunk, echo);
        std::lock_guard<std::mutex> lock(mutex);
        all->push_back(rig);
        return *rig;
    }

private:
    Rig(std::vector<Step> script, std::size_t chunk, bool echo)
        : fake(std::move(script), chunk, echo), modem(*new Modem(&gsm))
    {
        (void)gsm.initialiseGsm(text("/nowhere/ttyS9"), text("")); // for its lists and its event thread
        gsm.subscribe(&listener);
        EXPECT_TRUE(modem.init(new serialDriver(fake.path())));
    }
};

// "place number text" of each message, newest first; destroys them.
std::vector<std::string> take(cEnumeratedList<Sms>* list)
{
    std::vector<std::string> found;
    for (Sms* sms = list->first(); sms != nullptr; sms = list->getNext()) {
        found.push_back(std::string(sms->getId()) + " " + sms->getNumber() + " " + sms->getMessage());
        delete sms;
    }
    delete list;
    return found;
}

const std::string kListing = "+CMGL: 1,\"REC UNREAD\",\"+49151\",,\"26/11/23,08:00:00+04\"";

// Reads the SIM's state, sends an SMS and reads two messages; returns what went wrong.
std::string talk(std::size_t chunk, bool echo, const std::string& end, const std::string& prompt)
{
    const auto line = [&](const std::string& content) { return end + content + end; };
    Rig& rig = Rig::make({{"AT+CPIN?\r", line("+CPIN: SIM PIN") + line("OK")},
                          {"AT+CMGS=\"0151\"\r", end + prompt},
                          {"PUMP LOW\x1a", line("+CMGS: 7") + line("OK")},
                          {"AT+CMGL=\"ALL\"\r", line(kListing) + "PUMP ON" + end + line("+CMTI: \"SM\",9") +
                                                    "+CMGL: 2,\"REC READ\",\"0170\",," + end + "two" + line("OK")}},
                         chunk, echo);
    Pinstat::ePinStat pinStat = Pinstat::UNKNOWN;
    std::string wrong;
    if (rig.modem.qPinStat(&pinStat) != ErrStat::OK || pinStat != Pinstat::SIM_PIN)
        wrong += " state of the SIM;";
    if (rig.modem.iSendSMS(text("0151"), text("PUMP LOW")) != ErrStat::OK)
        wrong += " sending;";
    if (rig.modem.qReadSMS() != ErrStat::OK)
        return wrong + " reading;";
    if (take(rig.modem.qGetList()) != std::vector<std::string>{"2 \"0170\" two", "1 \"+49151\" PUMP ON"})
        wrong += " listing;";
    if (!eventually([&] { return rig.listener.last() == "9"; }))
        wrong += " report;";
    return wrong;
}

} // namespace

TEST(Modem, UnderstandsItsModemInAnyPiecesAndManners)
{
    std::vector<std::thread> talks;
    for (const std::size_t chunk : {1U, 2U, 3U, 7U, 0U}) {
        for (const bool echo : {false, true}) {
            for (const std::string end : {"\r\n", "\r\r\n"}) {
                const std::string prompt = echo ? "> " : ">";
                talks.emplace_back([=] {
                    EXPECT_EQ("", talk(chunk, echo, end, prompt))
                        << "pieces of " << chunk << (echo ? ", echo" : "") << ", line end of " << end.size();
                });
            }
        }
    }
    for (std::thread& each : talks)
        each.join();
}

TEST(Modem, CopiesValuesOutOfEachOperation)
{
    Rig& rig = Rig::make({{"ATI\r", "\r\nTAV-SIM\r\n\r\nOK\r\n"},
                          {"AT+CSMINS?\r", "\r\n+CSMINS: 0,1\r\n\r\nOK\r\n"},
                          {"AT+CSQ\r", "\r\n+CSQ: 0,3\r\n\r\nOK\r\n"},
                          {"AT+COPS?\r", "\r\n+COPS: 0,0,\"TAV NET\"\r\n\r\nOK\r\n"},
                          {"AT+CPIN=\"0042\"\r", "\r\nOK\r\n"},
                          {"AT+CPIN=\"12345678\",\"1357\"\r\n", "\r\nOK\r\n"},
                          {"AT+CMGD=3\r", "\r\nOK\r\n"},
                          {"AT+CUSD=1,\"*100#\"\r", "\r\nOK\r\n\r\n+CUSD: 0,\"3 EUR\",15\r\n"}});
    char id[16] = "";
    bool isIn = false;
    float rssi = 0;
    float ber = 0;
    char net[32] = "";
    rig.modem.setPin(text("0042"));
    EXPECT_EQ(ErrStat::OK, rig.modem.qMdmID(id));
    EXPECT_EQ(ErrStat::OK, rig.modem.qSIMin(&isIn));
    EXPECT_EQ(ErrStat::OK, rig.modem.qSignalStr(&rssi, &ber));
    EXPECT_EQ(ErrStat::OK, rig.modem.qNetOperator(net));
    EXPECT_EQ(ErrStat::OK, rig.modem.iEnterPin());
    EXPECT_EQ(ErrStat::OK, rig.modem.iEnterPuk(12345678, 1357));
    EXPECT_EQ(ErrStat::OK, rig.modem.iDeleteSms(3));
    EXPECT_EQ(ErrStat::OK, rig.modem.iSendUsd(text("*100#"), nullptr));
    EXPECT_STREQ("TAV-SIM", id);
    EXPECT_TRUE(isIn);
    EXPECT_EQ(-115.0f, rssi);
    EXPECT_EQ(3.0f, ber);
    EXPECT_STREQ("\"TAV NET\"", net);
    EXPECT_TRUE(eventually([&] { return rig.listener.last() == "\"3 EUR\""; }));
}

TEST(Modem, LeavesOutParametersAloneUnlessOk)
{
    Rig& rig = Rig::make({{"AT+CSQ\r", "+CSQ: 20,0\r\n"}, // and no final result
                          {"AT+COPS?\r", "ERROR\r\n"}});
    float rssi = 99;
    float ber = 99;
    char net[32] = "untouched";
    char id[16] = "untouched";
    EXPECT_EQ(ErrStat::UNKNOWN, rig.modem.qSignalStr(&rssi, &ber));
    EXPECT_EQ(ErrStat::MDMERR, rig.modem.qNetOperator(net));
    EXPECT_EQ(ErrStat::TIMEOUT, rig.modem.qMdmID(id));
    EXPECT_EQ(99.0f, rssi);
    EXPECT_EQ(99.0f, ber);
    EXPECT_STREQ("untouched", net);
    EXPECT_STREQ("untouched", id);
}

TEST(Modem, WritesTheTextWhateverBecameOfTheNumber)
{
    Rig& rig = Rig::make({{"AT+CMGS=\"0151\"\r", "\r\nERROR\r\n"},
                          {"text\x1a", "\r\n+CMS ERROR: 304\r\n"},
                          {"AT+CMGS=\"0152\"\r", "\r\n> "},
                          {"text\x1a", "\r\nERROR\r\n"}});
    EXPECT_EQ(ErrStat::UNKNOWN, rig.modem.iSendSMS(text("0151"), text("text")));
    EXPECT_EQ(ErrStat::MDMERR, rig.modem.iSendSMS(text("0152"), text("text")));
    EXPECT_TRUE(rig.fake.waitForSteps(4)) << rig.fake.received();
}

TEST(Modem, WritesNothingThatWouldBreakOut)
{
    Rig& rig = Rig::make();
    EXPECT_EQ(ErrStat::UNKNOWN, rig.modem.qCharacterSet(text("GSM\"\rAT+CMGD=1")));
    EXPECT_EQ(ErrStat::UNKNOWN, rig.modem.qCharacterSet(text("123456789012345678901")));
    EXPECT_EQ(ErrStat::UNKNOWN, rig.modem.iSendSMS(text("0151\""), text("text")));
    EXPECT_EQ(ErrStat::UNKNOWN, rig.modem.iSendSMS(text("0151"), text("text\x1a"
                                                                      "AT+CMGD=1\r")));
    EXPECT_EQ(ErrStat::UNKNOWN, rig.modem.iSendSMS(text("0151"), text(std::string(255, 'x').c_str())));
    EXPECT_EQ(ErrStat::UNKNOWN, rig.modem.iSendUsd(text("*100#\""), nullptr));
    EXPECT_EQ(ErrStat::UNKNOWN, rig.modem.iEnterPuk(-1, 1234));
    EXPECT_EQ(ErrStat::UNKNOWN, rig.modem.iEnterPin()); // none was set
    rig.modem.setPin(text("12345678"));                 // a cut one would be a wrong one
    EXPECT_STREQ("", rig.modem.getCurrPin());
    EXPECT_EQ(ErrStat::UNKNOWN, rig.modem.iEnterPin());
    rig.modem.setPin(text("12\"4"));
    EXPECT_EQ(ErrStat::UNKNOWN, rig.modem.iEnterPin());
    rig.modem.setPin(text("1234567"));
    EXPECT_STREQ("1234567", rig.modem.getCurrPin());
    EXPECT_EQ("", rig.fake.received());
}

// The list is walked and destroyed while the modem goes on listing.
TEST(Modem, DropsMessagesThatAreListedTooLate)
{
    Rig& rig = Rig::make({{"AT+CMGL=\"ALL\"\r", kListing + "\r\nPUMP ON\r\nOK\r\n"}});
    ASSERT_EQ(ErrStat::OK, rig.modem.qReadSMS());
    std::thread late([&] {
        for (int i = 0; i < 200; ++i)
            rig.fake.say(kListing + "\r\nlate\r\n");
        rig.fake.say("+CMTI: \"SM\",77\r\n");
    });
    EXPECT_THAT(take(rig.modem.qGetList()), ElementsAre("1 \"+49151\" PUMP ON"));
    EXPECT_TRUE(eventually([&] { return rig.listener.last() == "77"; }));
    late.join();
}

// The log stands still with the line about a failed SMS until the receive thread has read on.
TEST(Modem, ReceivesWhileTheLogIsStuck)
{
    class Stuck : public log4cpp::AppenderSkeleton {
    public:
        explicit Stuck(FakeModem& modem) : AppenderSkeleton("stuck"), m_modem(modem) {}
        void close() override {}
        bool requiresLayout() const override { return false; }
        void setLayout(log4cpp::Layout* /*layout*/) override {}
        bool m_received = false;

    protected:
        void _append(const log4cpp::LoggingEvent& event) override
        {
            if (event.message.find("was not acknowledged") == std::string::npos)
                return;
            m_modem.say("one\r\ntwo\r\nthree\r\n");
            m_received = eventually([this] { return m_modem.isRead(); });
        }

    private:
        FakeModem& m_modem;
    };
    Rig& rig = Rig::make({{"AT+CMGS=\"0151\"\r", "\r\n> "}, {"text\x1a", "\r\nERROR\r\n"}});
    Stuck stuck(rig.fake);
    log4cpp::Category& category = log4cpp::Category::getInstance("Modem");
    category.addAppender(stuck);
    EXPECT_EQ(ErrStat::MDMERR, rig.modem.iSendSMS(text("0151"), text("text")));
    category.removeAppender(&stuck);
    EXPECT_TRUE(stuck.m_received);
}

// The receive thread goes on with the last command: lines and silences are handed to it.
TEST(Modem, LeavesTheReceiveThreadItsCommandWhenDestroyed)
{
    Rig& rig = Rig::make({{"AT+CMGF=1\r", "\r\nOK\r\n"}});
    ASSERT_EQ(ErrStat::OK, rig.modem.qSMSTextMode());
    delete &rig.modem;
    rig.fake.say("+CMTI: \"SM\",3\r\n+CUSD: 0,\"text\",15\r\n");
    EXPECT_TRUE(eventually([&] { return rig.fake.isRead(); }));
    EXPECT_EQ("", rig.listener.last());
}

TEST(Modem, IsNotReadyWithoutAReceiveThread)
{
    FakeModem fake;
    Modem modem(nullptr);
    auto* port = new serialDriver(fake.path());
    const NoThreads refused;
    EXPECT_FALSE(modem.init(port));
}
