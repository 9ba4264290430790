// Command words, state words, and one SMS pass with the simulated modem.
#include "GSM.h"
#include "ManagerBench.h"
#include "engineCalls.h"
#include "modem/ModemSim.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <unistd.h>

namespace {

TEST(CommandWord, StandsAtTheEndOfTheFirst159Characters)
{
    const std::string filler(150, 'x');
    const struct {
        std::string text;
        key word;
    } rows[] = {
        {"PUMP ON", ON},
        {"PUMP OFF", OFF},
        {"PUMP-OFF", OFF},
        {"OFF", OFF},
        {"PUMPQUERY", Query},
        {"QUERY", Query},
        {"PUMP query", ON},
        {"PUMP off", ON},
        {"PUMP OFF ", ON},
        {"FF", ON},
        {"UERY", ON},
        {"", ON},
        {"QUERY OFF", OFF},
        {filler + "      OFF", OFF},     // 159 characters
        {filler + "       OFF", ON},     // the last F is the 160th
        {filler + "      OFFQUERY", OFF} // what follows is not looked at
    };
    for (const auto& row : rows)
        EXPECT_EQ(get_onoff(row.text.c_str()), row.word) << row.text;
}

TEST(StateWord, IsDefaultForAnyOtherState)
{
    cWlog logger("test");
    EXPECT_STREQ(get_state_string(1, &logger), "HIGH");
    EXPECT_STREQ(get_state_string(0, &logger), "LOW");
    EXPECT_STREQ(get_state_string(2, &logger), "Default");
    EXPECT_STREQ(get_state_string(255, &logger), "Default");
}

cgsmMessageInfo* record(const char* message, const char* label, std::initializer_list<const char*> numbers)
{
    auto* made = new cgsmMessageInfo();
    made->set_message(message);
    made->set_label(label);
    for (const char* number : numbers)
        made->add_number(number);
    return made;
}

// Who is obeyed, who is answered, and that one refused alarm stops no other.
TEST(SmsPass, ObeysListedSendersAndSendsEveryAlarm)
{
    ModemSim& modem = forEver<ModemSim>(); // the receive thread of its port lives on
    const auto store = [&modem](int place, const char* number, const char* text,
                                modemsim::SmsStatus status = modemsim::SmsStatus::RecUnread) {
        modemsim::StoredSms sms;
        sms.place = place;
        sms.number = number;
        sms.text = text;
        sms.status = status;
        modem.store(sms);
    };
    // Listed by place, obeyed newest first: from the highest place down.
    store(12, "0111", "FAN ON", modemsim::SmsStatus::RecRead);
    store(4, "0111", "PUMP ON");
    store(3, "0999", "PUMP OFF");
    store(2, "0222", "PUMP OFF");
    store(1, "0111", "PUMP QUERY");
    modem.reactToText("0302", modemsim::Reaction::line("ERROR"));

    const std::string pairs = testing::TempDir() + "sms_pass_pairs_" + std::to_string(getpid()) + ".xml";
    std::ofstream(pairs) << ("<io_connections><connection><trigger operation=\"OR\">"
                             "<detail dev_type=\"IO\" io_label=\"PL\"/></trigger>"
                             "<action><detail dev_type=\"IO\" io_label=\"OUT\"/></action></connection>"
                             "<connection><trigger operation=\"OR\"><detail dev_type=\"IO\" io_label=\"PL\"/></trigger>"
                             "<action><detail dev_type=\"GSM\" io_label=\"AL\"/></action></connection>"
                             "<connection><trigger operation=\"OR\"><detail dev_type=\"IO\" io_label=\"FL\"/></trigger>"
                             "<action><detail dev_type=\"IO\" io_label=\"FAN\"/></action></connection>"
                             "</io_connections>");
    ManagerBench& manager = ManagerBench::forEver();
    auto* pump = record("PUMP", "PL", {"0111", "0333"});
    auto* alarm = record("TANK", "AL", {"0301", "0302", "0303"});
    cEnumeratedList<cgsmMessageInfo> records;
    records.insert(alarm);
    records.insert(pump);
    records.insert(record("FAN", "FL", {"0111"}));
    cObjectDOutput* out = manager.addOutput("OUT", cObject::OBJ_IO_STATE_CLEAR, cObject::OBJ_IO_STATE_CLEAR);
    cObjectDOutput* fan = manager.addOutput("FAN", cObject::OBJ_IO_STATE_CLEAR, cObject::OBJ_IO_STATE_CLEAR);

    std::string path = modem.path();
    std::string pin = "1357";
    Gsm& gsm = forEver<Gsm>();
    ASSERT_TRUE(gsm.initialiseGsm(&path[0], &pin[0]));
    ASSERT_TRUE(gsm.setupModem()) << modem.transcript();
    cIOpairs connections(pairs.c_str());
    cWlog logger("gsm_handler_tread");
    cWlog::init(cWlog::INFO);
    testing::internal::CaptureStderr();
    manager.handle_sms(&gsm, &records, &connections, &logger);
    const std::string log = testing::internal::GetCapturedStderr();
    std::remove(pairs.c_str());
    for (const char* number :
         {"0111", "0222", "0999", "0301", "0302", "0303"}) // four digits: a line has three of its time
        EXPECT_EQ(log.find(number), std::string::npos) << log;

    EXPECT_EQ(fan->getOutputState(), cObject::OBJ_IO_STATE_CLEAR) << "a message that was read before is no command";
    EXPECT_FALSE(manager.m_Sms);
    std::string sent;
    for (const modemsim::SentSms& sms : modem.sent()) {
        EXPECT_NE(sms.number, "0999");
        EXPECT_NE(sms.number, "0222");
        sent += sms.number + ':' + sms.text + '\n';
    }
    EXPECT_EQ("0301:TANK LOW\n0303:TANK LOW\n0111:PUMP STATE:HIGH\n", sent) << modem.transcript();
    EXPECT_EQ(cObject::OBJ_IO_STATE_SET, out->getOutputState());
    EXPECT_EQ(cObjectPort::PORT_TOGGLED_IODRIVER, out->getPortToggled());
    EXPECT_EQ(1, pump->get_state());
    EXPECT_EQ(0, alarm->get_state());
    ASSERT_EQ(1U, modem.stored().size()) << modem.transcript();
    EXPECT_EQ(12, modem.stored()[0].place);
    for (cgsmMessageInfo* one = records.first(); one != nullptr; one = records.getNext())
        delete one;
}

} // namespace
