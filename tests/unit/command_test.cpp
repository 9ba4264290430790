// The AT commands without a thread or a port: texts, limits, lines.
#include "Command.h"
#include "forEver.h"

#include <gmock/gmock.h>
#include <memory>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;

char* text(const char* literal) // for arguments that are only read
{
    return const_cast<char*>(literal);
}

void feed(Command& command, std::vector<std::string> lines)
{
    for (std::string& line : lines)
        command.parseData(reinterpret_cast<unsigned char*>(line.data()));
}

struct Row {
    Command& command;
    const char* writes;
    int silence;
};

std::vector<Row> allCommands()
{
    Modem* const none = nullptr;
    return {{forEver<Command>(none), "AT\r", 2},
            {forEver<CmdMdmID>(none), "ATI\r", 2},
            {forEver<CmdSIMin>(none), "AT+CSMINS?\r", 4},
            {forEver<CmdPinStat>(none), "AT+CPIN?\r", 4},
            {forEver<CmdEnterPin>(none, text("0042")), "AT+CPIN=\"0042\"\r", 4},
            {forEver<CmdEnterPuk>(none, 1234567, 1357), "AT+CPIN=\"1234567\",\"1357\"\r\n", 4},
            {forEver<CmdSignalStr>(none), "AT+CSQ\r", 2},
            {forEver<CmdNetOperator>(none), "AT+COPS?\r", 6},
            {forEver<CmdSMSTextMode>(none), "AT+CMGF=1\r", 2},
            {forEver<CmdSetBaudRate>(none), "AT+IPR=115200\r", 2},
            {forEver<CmdCharacterSet>(none, text("GSM")), "AT+CSCS=\"GSM\"\r", 2},
            {forEver<CmdSMSNumber>(none, text("+4915112345")), "AT+CMGS=\"+4915112345\"\r", 2},
            {forEver<CmdArbCmd>(none, text("two\nlines, \"quoted\" \xe4")), "two\nlines, \"quoted\" \xe4\x1a", 6},
            {forEver<CmdReadSms>(none), "AT+CMGL=\"ALL\"\r", 6},
            {forEver<CmdDeleteSms>(none, 3), "AT+CMGD=3\r", 2},
            {forEver<CmdUsdCmd>(none, text("*100#")), "AT+CUSD=1,\"*100#\"\r", 2}};
}

template <class Cmd> std::unique_ptr<Command> make(const std::string& argument)
{
    return std::make_unique<Cmd>(nullptr, text(argument.c_str()));
}

// Takes the list as the facade does, oldest message first: "place number read text".
std::vector<std::string> messagesOf(CmdReadSms& command)
{
    std::vector<std::string> found;
    const std::unique_ptr<cEnumeratedList<Sms>> list(command.handOverSmsList());
    for (Sms* sms = list->first(); sms != nullptr; sms = list->getNext()) {
        found.insert(found.begin(), std::string(sms->getId()) + " " + sms->getNumber() +
                                        (sms->getRead() ? " read " : " unread ") + sms->getMessage());
        delete sms;
    }
    return found;
}

} // namespace

TEST(Commands, WriteTheirTextAndTolerateTheirSilence)
{
    for (const Row& row : allCommands()) {
        EXPECT_STREQ(row.writes, row.command.getATstring());
        EXPECT_EQ(row.silence, row.command.getTout()) << row.writes;
        EXPECT_FALSE(row.command.isBusy()) << row.writes;
        EXPECT_EQ(nullptr, row.command.why()) << row.writes;
    }
}

TEST(Commands, EndAtAnyLineAndTakeTheirStatusFromTheLatestFinalOne)
{
    const struct {
        const char* line;
        bool busy;
        int status;
        bool isOk;
    } rows[] = {
        {"", true, ErrStat::UNKNOWN, false},
        {"OK", false, ErrStat::OK, true},
        {"OKAY", false, ErrStat::OK, true},
        {"ERROR", false, ErrStat::MDMERR, false},
        {"O", false, ErrStat::UNKNOWN, false},
        {" OK", false, ErrStat::UNKNOWN, false},
        {"ok", false, ErrStat::UNKNOWN, false},
        {"ER", false, ErrStat::UNKNOWN, false},
        {"+CME ERROR: 11", false, ErrStat::UNKNOWN, false},
        {"+CMS ERROR: 305", false, ErrStat::UNKNOWN, false},
    };
    for (const auto& expected : rows) {
        for (const auto& [command, writes, silence] : allCommands()) {
            SCOPED_TRACE(std::string(expected.line) + " for " + writes);
            command.setBusy();
            feed(command, {expected.line});
            EXPECT_EQ(expected.busy, command.isBusy());
            EXPECT_EQ(expected.status, command.getErrStat());
            EXPECT_EQ(expected.isOk, command.getIsOk());
            feed(command, {"OK"});
            EXPECT_TRUE(command.getIsOk());
            feed(command, {"ERROR"});
            EXPECT_FALSE(command.getIsOk());
        }
    }
}

TEST(Commands, RefuseWhatDoesNotFitOrWouldBreakOut)
{
    const struct {
        std::unique_ptr<Command> (*make)(const std::string&);
        std::size_t longest;
        std::string forbidden;
    } rows[] = {{make<CmdEnterPin>, 20, "\"\r\n\x1a\x1b\x7f"},
                {make<CmdCharacterSet>, 20, "\"\r\n\x1a\x1b\x7f"},
                {make<CmdSMSNumber>, 20, "\"\r\n\x1a\x1b\x7f"},
                {make<CmdUsdCmd>, 242, "\"\r\n\x1a\x1b\x7f"},
                {make<CmdArbCmd>, 254, "\r\x1a\x1b"}};
    for (const auto& row : rows) {
        const std::string longest(row.longest, '1');
        EXPECT_THAT(row.make(longest)->getATstring(), HasSubstr(longest));
        std::vector<std::string> refused = {longest + '1'};
        for (const char forbidden : row.forbidden)
            refused.push_back(std::string("1") + forbidden + '1');
        for (const std::string& argument : refused) {
            const auto command = row.make(argument);
            EXPECT_NE(nullptr, command->why()) << argument;
            EXPECT_STREQ("", command->getATstring());
        }
    }
    EXPECT_STREQ("AT+CPIN=\"99999999\",\"99999999\"\r\n", CmdEnterPuk(nullptr, 99999999, 99999999).getATstring());
    for (const auto& [puk, pin] : {std::pair(99999999, 999999999), {-1, 1234}, {12345678, -1234}}) {
        CmdEnterPuk command(nullptr, puk, pin);
        EXPECT_NE(nullptr, command.why()) << puk << ' ' << pin;
        EXPECT_STREQ("", command.getATstring());
    }
    EXPECT_NE(nullptr, CmdArbCmd(nullptr, nullptr).why());
}

TEST(FindParameters, SplitsAtEachDelimiterAndStaysInItsTable)
{
    const std::string wide(5000, 'w'), cut(255, 'w');
    const std::vector<std::pair<std::string, std::vector<std::string>>> rows = {
        {"a,b,c", {"a", "b", "c"}},
        {"abc", {"abc"}},
        {"", {""}},
        {"a,", {"a", ""}},
        {",b", {"", "b"}},
        {"a,,b", {"a", "", "b"}},
        {"a,b,c,d,e", {"a", "b", "c"}},
        {" \"x\" ,\"y,z\"", {" \"x\" ", "\"y", "z\""}},
        {wide + ",b," + wide, {cut, "b", cut}},
        {cut + "," + cut + "w,b", {cut, cut, "b"}},
    };
    for (const auto& [line, expected] : rows) {
        char fields[3][256];
        int count = -1;
        memset(fields, 'x', sizeof fields);
        EXPECT_FALSE(findParameters(reinterpret_cast<const unsigned char*>(line.c_str()), ',', &count, fields));
        std::vector<std::string> filled = expected;
        filled.resize(3);
        EXPECT_THAT(fields, ElementsAreArray(filled)) << line;
        EXPECT_EQ(expected.size(), count) << line;
    }
}

TEST(CmdPinStat, KnowsFiveStatesToTheirEnd)
{
    const std::vector<std::pair<std::vector<std::string>, Pinstat::ePinStat>> rows = {
        {{"+CPIN: READY"}, Pinstat::READY},
        {{"+CPIN: SIM PIN"}, Pinstat::SIM_PIN},
        {{"+CPIN: SIM PUK"}, Pinstat::SIM_PUK},
        {{"+CPIN: PH_SIM PIN"}, Pinstat::PH_SIM_PIN},
        {{"+CPIN: PH_SIM PUK"}, Pinstat::PH_SIM_PUK},
        {{"+CPIN: SIM PUK", "+CPIN: SIM PIN2", "+CPIN: SIM PIN ", "+CPIN: ", "+CPIN: PH-SIM PIN"}, Pinstat::SIM_PUK},
        {{"+CPIN: SIM PUK", "AT+CPIN?"}, Pinstat::UNKNOWN},
        {{"+CPIN: SIM PUK", "+CPIN:READY"}, Pinstat::UNKNOWN}};
    for (const auto& [lines, state] : rows) {
        CmdPinStat command(nullptr);
        feed(command, lines);
        EXPECT_EQ(state, command.getPinStat()) << lines.back();
    }
}

TEST(CmdSignalStr, ConvertsStrengthAndKeepsTheErrorRate)
{
    const struct {
        const char* line;
        float rssi;
        float ber;
    } rows[] = {{"+CSQ: 0,0", -115.0f, 0},  {"+CSQ: 31,7", -52.0f, 7}, {"+CSQ: 99,99", 99.0f, 99},
                {"+CSQ: 20,3", -45.32f, 3}, {"+CSQ:1,0", -54.991f, 0}, {"+CSQ: 30,0", -40.23f, 0},
                {"+CSQ: 20", -45.32f, 99},  {"+CSQ:", 99.0f, 99},      {"+CSQ: 20,3,4,5", -45.32f, 3},
                {"AT+CSQ", 99.0f, 99}};
    for (const auto& row : rows) {
        CmdSignalStr command(nullptr);
        feed(command, {row.line});
        EXPECT_FLOAT_EQ(row.rssi, command.getRSSI()) << row.line;
        EXPECT_FLOAT_EQ(row.ber, command.getBER()) << row.line;
    }
}

TEST(CmdSIMin, PrintsEachLineAndReadsTheSecondField)
{
    CmdSIMin command(nullptr);
    testing::internal::CaptureStdout();
    feed(command, {"AT+CSMINS?", "+CSMINS: 0,1"});
    EXPECT_TRUE(command.getIsIn());
    for (const char* other : {"+CSMINS: 0,0", "+CSMINS: 1", "+CSMINS: 0,", "+CSMINS: 0,11"}) {
        feed(command, {"+CSMINS: 0,1", other});
        EXPECT_FALSE(command.getIsIn()) << other;
    }
    EXPECT_THAT(testing::internal::GetCapturedStdout(),
                testing::StartsWith("SIMINREPLY:AT+CSMINS?\nSIMINREPLY:+CSMINS: 0,1\n"));
}

TEST(CommandFields, AreCutToTheirWidthAndNeverStale)
{
    const auto net = [](const std::vector<std::string>& lines) {
        CmdNetOperator command(nullptr);
        feed(command, lines);
        return std::string(command.getNetOperator());
    };
    EXPECT_EQ("\"TAV NET\"", net({"+COPS: 0,0,\"TAV NET\""}));
    for (const std::size_t width : {31U, 32U, 200U})
        EXPECT_EQ(std::string(31, 'n'), net({"+COPS: 0,0," + std::string(width, 'n')}));
    EXPECT_EQ("", net({"+COPS: 0,0,\"TAV NET\"", "+COPS: 0"}));

    const auto id = [](const std::vector<std::string>& lines) {
        CmdMdmID command(nullptr);
        feed(command, lines);
        return std::string(command.getID());
    };
    EXPECT_EQ("123456789012345", id({"ATI", "123456789012345"}));
    EXPECT_EQ("123456789012345", id({"1234567890123456"}));
    EXPECT_EQ("short", id({"1234567890123456", "short", "OK"}));
}

TEST(CmdReadSms, ListsMessagesNewestFirstWithReportsInBetween)
{
    CmdReadSms command(nullptr);
    feed(command,
         {"AT+CMGL=\"ALL\"", "+CMGL: 1,\"REC UNREAD\",\"+49151\",,\"26/11/23,08:00:00+04\"", "PUMP ON",
          "+CMGL: 2,\"REC READ\",\"0170\",\"\",\"26/11/23,08:00:01+04\"", "+CMTI: \"SM\",4", "PUMP OFF", "",
          "second line of PUMP OFF", "+CMGL: 3,\"STO SENT\",\"0180\",,", "PUMP ON",
          "+CMGL: 4,\"REC UNREAD\",\"0190\",,\"26/11/23,08:00:02+04\"", "", // no text: the next one replaces it
          "+CMGL: 5,\"STO UNSENT\",\"0200\",,", "mine, not a command", "+CMGL: 6,\"REC UNREAD\"", "text of nobody",
          "OK"});
    EXPECT_EQ(ErrStat::OK, command.getErrStat());
    EXPECT_THAT(messagesOf(command),
                ElementsAre("1 \"+49151\" unread PUMP ON", "2 \"0170\" read PUMP OFF", "6  unread text of nobody"));

    feed(command, {"+CMGL: 7,\"REC UNREAD\",\"0170\",,", "too late"}); // the list is somebody else's by now
    EXPECT_EQ(nullptr, command.getSmsList());
}

TEST(CmdReadSms, ListsABoundedNumber)
{
    CmdReadSms command(nullptr);
    for (int i = 0; i < 1100; ++i)
        feed(command, {"+CMGL: 1,\"REC UNREAD\",\"1\",,", "text"});
    EXPECT_EQ(1000U, messagesOf(command).size());
}
