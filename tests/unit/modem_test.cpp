// The modem's operations, against a modem that plays a script.
#include "FakeModem.h"
#include "GSM.h"
#include "Modem.h"
#include "engineCalls.h"
#include "forEver.h"
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

/// Keeps what the modem's reports said.
class Listener : public EventNotifier {
public:
    void EventOccured(ModemEvent& event) override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (event.getEventType() == ModemEvent::USD)
            m_heard += std::string(static_cast<USDEvent&>(event).getUsdCode()) + ';';
        else if (event.getEventType() == ModemEvent::SMS)
            m_heard += std::string(static_cast<SmsEvent&>(event).getSmsId()) + ';';
    }
    void EventOccured(smsSendRequestEvent& /*event*/) override {}
    std::string heard()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_heard;
    }

private:
    std::mutex m_mutex;
    std::string m_heard;
};

/// A facade on a terminal. Its threads never end: made with forEver().
struct Rig {
    FakeModem fake;
    Gsm gsm;
    Listener listener;
    Modem& modem;

    explicit Rig(std::vector<Step> script = {}, std::size_t chunk = 0, bool echo = false)
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

// Every operation once, with a modem of these manners.
void talk(std::size_t chunk, bool echo, const std::string& end, const std::string& prompt)
{
    SCOPED_TRACE(testing::Message() << "pieces of " << chunk << (echo ? ", echo" : "") << ", line end of " << end.size()
                                    << ", prompt of " << prompt.size());
    const auto reply = [&](std::initializer_list<const char*> lines) {
        std::string all;
        for (const char* line : lines)
            all.append(end).append(line).append(end);
        return all;
    };
    Rig& rig =
        forEver<Rig>(std::vector<Step>{{"AT+IPR=115200\r", reply({"OK"})},
                                       {"ATI\r", reply({"TAV-SIM", "OK"})},
                                       {"AT+CSMINS?\r", reply({"+CSMINS: 0,1", "OK"})},
                                       {"AT+CPIN?\r", reply({"+CPIN: SIM PIN", "OK"})},
                                       {"AT+CPIN=\"0042\"\r", reply({"+CME ERROR: 16"})},
                                       {"AT+CPIN=\"12345678\",\"1357\"\r\n", reply({"OK"})},
                                       {"AT+CSQ\r", reply({"+CSQ: 0,3", "OK"})},
                                       {"AT+COPS?\r", reply({"+COPS: 0,0,\"TAV NET\"", "OK"})},
                                       {"AT+CMGF=1\r", reply({"ERROR"})},
                                       {"AT+CSCS=\"GSM\"\r", reply({"OK"})},
                                       {"AT+CMGS=\"0151\"\r", end + prompt},
                                       {"PUMP LOW\x1a", reply({"+CMGS: 7", "OK"})},
                                       {"AT+CMGL=\"ALL\"\r", reply({kListing.c_str(), "PUMP ON", "+CMTI: \"SM\",9",
                                                                    "+CMGL: 2,\"REC READ\",\"0170\",,", "two", "OK"})},
                                       {"AT+CMGD=3\r", reply({"ERROR"})},
                                       {"AT+CUSD=1,\"*100#\"\r", reply({"OK", "+CUSD: 0,\"3 EUR\",15"})}},
                     chunk, echo);
    Modem& modem = rig.modem;
    char id[16] = "", net[32] = "";
    bool isIn = false;
    Pinstat::ePinStat pinStat = Pinstat::UNKNOWN;
    float rssi = 0, ber = 0;
    modem.setPin(text("0042"));
    EXPECT_EQ(ErrStat::OK, modem.qSetBaudRate());
    EXPECT_EQ(ErrStat::OK, modem.qMdmID(id));
    EXPECT_STREQ("TAV-SIM", id);
    EXPECT_EQ(ErrStat::OK, modem.qSIMin(&isIn));
    EXPECT_TRUE(isIn);
    EXPECT_EQ(ErrStat::OK, modem.qPinStat(&pinStat));
    EXPECT_EQ(Pinstat::SIM_PIN, pinStat);
    EXPECT_EQ(ErrStat::UNKNOWN, modem.iEnterPin());
    EXPECT_EQ(ErrStat::OK, modem.iEnterPuk(12345678, 1357));
    EXPECT_EQ(ErrStat::OK, modem.qSignalStr(&rssi, &ber));
    EXPECT_EQ(-115.0f, rssi);
    EXPECT_EQ(3.0f, ber);
    EXPECT_EQ(ErrStat::OK, modem.qNetOperator(net));
    EXPECT_STREQ("\"TAV NET\"", net);
    EXPECT_EQ(ErrStat::MDMERR, modem.qSMSTextMode());
    EXPECT_EQ(ErrStat::OK, modem.qCharacterSet(text("GSM")));
    EXPECT_EQ(ErrStat::OK, modem.iSendSMS(text("0151"), text("PUMP LOW")));
    EXPECT_EQ(ErrStat::OK, modem.qReadSMS());
    EXPECT_THAT(take(modem.qGetList()), ElementsAre("2 \"0170\" two", "1 \"+49151\" PUMP ON"));
    EXPECT_TRUE(eventually([&] { return rig.listener.heard().find("9;") != std::string::npos; }));
    EXPECT_EQ(ErrStat::MDMERR, modem.iDeleteSms(3));
    EXPECT_EQ(ErrStat::OK, modem.iSendUsd(text("*100#"), nullptr));
    EXPECT_TRUE(eventually([&] { return rig.listener.heard().find("\"3 EUR\";") != std::string::npos; }));
}

} // namespace

TEST(Modem, DoesEachOperationWithAModemOfAnyPiecesAndManners)
{
    std::vector<std::thread> talks;
    for (const std::size_t chunk : {1U, 2U, 3U, 7U, 0U}) {
        for (const bool echo : {false, true}) {
            for (const std::string end : {"\r\n", "\r\r\n"}) {
                for (const std::string prompt : {"> ", ">"})
                    talks.emplace_back([=] { talk(chunk, echo, end, prompt); });
            }
        }
    }
    for (std::thread& each : talks)
        each.join();
}

TEST(Modem, LeavesOutParametersAloneUnlessOk)
{
    Rig& rig = forEver<Rig>(std::vector<Step>{{"AT+CSQ\r", "+CSQ: 20,0\r\n"}, // and no final result
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
    Rig& rig = forEver<Rig>(std::vector<Step>{{"AT+CMGS=\"0151\"\r", "\r\nERROR\r\n"},
                                              {"text\x1a", "\r\n+CMS ERROR: 304\r\n"},
                                              {"AT+CMGS=\"0152\"\r", "\r\n> "},
                                              {"text\x1a", "\r\nERROR\r\n"}});
    EXPECT_EQ(ErrStat::UNKNOWN, rig.modem.iSendSMS(text("0151"), text("text")));
    EXPECT_EQ(ErrStat::MDMERR, rig.modem.iSendSMS(text("0152"), text("text")));
    EXPECT_TRUE(rig.fake.waitForSteps(4)) << rig.fake.received();
}

TEST(Modem, WritesNothingThatWouldBreakOut)
{
    Rig& rig = forEver<Rig>();
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
    Rig& rig = forEver<Rig>(std::vector<Step>{{"AT+CMGL=\"ALL\"\r", kListing + "\r\nPUMP ON\r\nOK\r\n"}});
    ASSERT_EQ(ErrStat::OK, rig.modem.qReadSMS());
    std::thread late([&] {
        for (int i = 0; i < 200; ++i)
            rig.fake.say(kListing + "\r\nlate\r\n");
        rig.fake.say("+CMTI: \"SM\",77\r\n");
    });
    EXPECT_THAT(take(rig.modem.qGetList()), ElementsAre("1 \"+49151\" PUMP ON"));
    EXPECT_TRUE(eventually([&] { return rig.listener.heard().find("77;") != std::string::npos; }));
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
    Rig& rig = forEver<Rig>(std::vector<Step>{{"AT+CMGS=\"0151\"\r", "\r\n> "}, {"text\x1a", "\r\nERROR\r\n"}});
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
    Rig& rig = forEver<Rig>(std::vector<Step>{{"AT+CMGD=1\r", "\r\nOK\r\n"}});
    ASSERT_EQ(ErrStat::OK, rig.modem.iDeleteSms(1)); // the command takes reports
    delete &rig.modem;
    rig.fake.say("+CMTI: \"SM\",3\r\n+CUSD: 0,\"text\",15\r\n");
    EXPECT_TRUE(eventually([&] { return rig.fake.isRead(); }));
    EXPECT_EQ("", rig.listener.heard());
}

TEST(Modem, IsNotReadyWithoutAReceiveThread)
{
    FakeModem fake;
    Modem modem(nullptr);
    auto* port = new serialDriver(fake.path());
    const NoThreads refused;
    EXPECT_FALSE(modem.init(port));
}
