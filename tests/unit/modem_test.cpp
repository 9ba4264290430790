// The modem's operations, against a modem that plays a script.
#include "FakeModem.h"
#include "GSM.h"
#include "Modem.h"
#include "engineCalls.h"
#include "forEver.h"
#include "noThreads.h"

#include <gmock/gmock.h>
#include <log4cpp/Category.hh>
#include <log4cpp/OstreamAppender.hh>

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

char* text(const char* literal) // for arguments that are only read
{
    return const_cast<char*>(literal);
}

/// A facade on a terminal. Its threads never end: made with forEver().
struct Rig {
    FakeModem fake;
    Gsm gsm;
    Heard heard;
    Listener listener{[this](const std::string& text) { heard.add(text); }};
    Modem& modem = *new Modem(&gsm);

    explicit Rig(std::vector<Step> script = {}) : fake(std::move(script))
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

} // namespace

TEST(Modem, DoesEachOperation)
{
    const auto listing = [](const char* text) { return kListing + "\r\n" + text + "\r\n"; };
    Rig& rig = forEver<Rig>(
        std::vector<Step>{{"AT+IPR=115200\r", "OK\r\n"},
                          {"ATI\r", "\r\nTAV-SIM\r\n\r\nOK\r\n"},
                          {"AT+CSMINS?\r", "\r\n+CSMINS: 0,1\r\n\r\nOK\r\n"},
                          {"AT+CPIN?\r", "\r\n+CPIN: SIM PIN\r\n\r\nOK\r\n"},
                          {"AT+CPIN=\"0042\"\r", "\r\n+CME ERROR: 16\r\n"},
                          {"AT+CPIN=\"12345678\",\"1357\"\r\n", "\r\nOK\r\n"},
                          {"AT+CSQ\r", "\r\n+CSQ: 0,3\r\n\r\nOK\r\n"},
                          {"AT+COPS?\r", "\r\n+COPS: 0,0,\"TAV NET\"\r\n\r\nOK\r\n"},
                          {"AT+CMGF=1\r", "\r\nERROR\r\n"},
                          {"AT+CSCS=\"GSM\"\r", "\r\nOK\r\n"},
                          {"AT+CMGS=\"0151\"\r", "\r\n> "},
                          {"PUMP LOW\x1a", "\r\n+CMGS: 7\r\n\r\nOK\r\n"},
                          {"AT+CMGL=\"ALL\"\r",
                           listing("PUMP ON") + "+CMTI: \"SM\",9\r\n+CMGL: 2,\"REC READ\",\"0170\"\r\ntwo\r\nOK\r\n"},
                          {"AT+CMGD=3\r", "\r\nERROR\r\n"},
                          {"AT+CUSD=1,\"*100#\"\r", "\r\nOK\r\n\r\n+CUSD: 0,\"3 EUR\",15\r\n"}});
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
    EXPECT_TRUE(rig.heard.waitFor("9"));
    EXPECT_EQ(ErrStat::MDMERR, modem.iDeleteSms(3));
    EXPECT_EQ(ErrStat::OK, modem.iSendUsd(text("*100#"), nullptr));
    EXPECT_TRUE(rig.heard.waitFor("\"3 EUR\""));
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
    EXPECT_EQ("AT+CMGS=\"0151\"\rtext\x1a"
              "AT+CMGS=\"0152\"\rtext\x1a",
              rig.fake.received());
}

TEST(Modem, WritesNothingThatWouldBreakOut)
{
    Rig& rig = forEver<Rig>();
    Modem& modem = rig.modem;
    EXPECT_EQ(ErrStat::UNKNOWN, modem.qCharacterSet(text("GSM\"\rAT+CMGD=1")));
    EXPECT_EQ(ErrStat::UNKNOWN, modem.iSendSMS(text("0151\""), text("text")));
    EXPECT_EQ(ErrStat::UNKNOWN, modem.iSendSMS(text("0151"), text("text\x1a")));
    EXPECT_EQ(ErrStat::UNKNOWN, modem.iSendUsd(text("*100#\""), nullptr));
    EXPECT_EQ(ErrStat::UNKNOWN, modem.iEnterPuk(-1, 1234));
    for (const char* pin : {"", "12345678", "12\"4"}) { // one too long would be a wrong one when cut
        modem.setPin(text(pin));
        EXPECT_EQ(ErrStat::UNKNOWN, modem.iEnterPin()) << pin;
    }
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
    EXPECT_TRUE(rig.heard.waitFor("77"));
    late.join();
}

// The log stands still with the line about a failed SMS until the receive thread has read on.
TEST(Modem, ReceivesWhileTheLogIsStuck)
{
    struct Stuck : std::streambuf {
        explicit Stuck(FakeModem& modem) : m_modem(modem) {}
        std::streamsize xsputn(const char* line, std::streamsize length) override
        {
            if (std::string_view(line, static_cast<std::size_t>(length)).find("was not acknowledged") !=
                std::string::npos) {
                m_modem.say("one\r\ntwo\r\nthree\r\n");
                m_received = eventually([this] { return m_modem.isHandled(); });
            }
            return length;
        }
        FakeModem& m_modem;
        bool m_received = false;
    };
    Rig& rig = forEver<Rig>(std::vector<Step>{{"AT+CMGS=\"0151\"\r", "\r\n> "}, {"text\x1a", "\r\nERROR\r\n"}});
    Stuck stuck(rig.fake);
    std::ostream stream(&stuck);
    log4cpp::OstreamAppender appender("stuck", &stream);
    log4cpp::Category& category = log4cpp::Category::getInstance("Modem");
    category.addAppender(appender);
    EXPECT_EQ(ErrStat::MDMERR, rig.modem.iSendSMS(text("0151"), text("text")));
    category.removeAppender(&appender);
    EXPECT_TRUE(stuck.m_received);
}

// The receive thread goes on with the last command: lines and silences are handed to it.
TEST(Modem, LeavesTheReceiveThreadItsCommandWhenDestroyed)
{
    Rig& rig = forEver<Rig>(std::vector<Step>{{"AT+CMGD=1\r", "\r\nOK\r\n"}});
    ASSERT_EQ(ErrStat::OK, rig.modem.iDeleteSms(1)); // the command takes reports
    delete &rig.modem;
    rig.fake.say("+CMTI: \"SM\",3\r\n+CUSD: 0,\"text\",15\r\n");
    EXPECT_TRUE(eventually([&] { return rig.fake.isHandled(); }));
    EXPECT_THAT(rig.gsm.takeReportedPlaces(), testing::IsEmpty());
}

TEST(Modem, IsNotReadyWithoutAReceiveThread)
{
    FakeModem fake;
    Modem modem(nullptr);
    auto* port = new serialDriver(fake.path());
    const NoThreads refused;
    EXPECT_FALSE(modem.init(port));
}
