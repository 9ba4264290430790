// The AT commands without a thread or a port: texts, limits, lines.
#include "Command.h"

#include <gmock/gmock.h>
#include <memory>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;

class Line {
public:
    explicit Line(std::string text) : m_text(std::move(text)) {}
    operator unsigned char*() { return reinterpret_cast<unsigned char*>(m_text.data()); }

private:
    std::string m_text;
};

char* text(const char* literal) // for arguments that are only read
{
    return const_cast<char*>(literal);
}

void feed(Command& command, const std::vector<std::string>& lines)
{
    for (const std::string& line : lines)
        command.parseData(Line(line));
}

// A listing's list is its taker's.
struct Destroy {
    void operator()(Command* command) const
    {
        if (auto* listing = dynamic_cast<CmdReadSms*>(command))
            delete listing->handOverSmsList();
        delete command;
    }
};

struct Row {
    std::unique_ptr<Command, Destroy> command;
    std::string writes;
    int silence;
};

std::vector<Row> allCommands()
{
    std::vector<Row> rows;
    const auto add = [&rows](Command* command, const std::string& writes, int silence) {
        rows.push_back({std::unique_ptr<Command, Destroy>(command), writes, silence});
    };
    add(new Command(nullptr), "AT\r", 2);
    add(new CmdMdmID(nullptr), "ATI\r", 2);
    add(new CmdSIMin(nullptr), "AT+CSMINS?\r", 4);
    add(new CmdPinStat(nullptr), "AT+CPIN?\r", 4);
    add(new CmdEnterPin(nullptr, text("0042")), "AT+CPIN=\"0042\"\r", 4);
    add(new CmdEnterPuk(nullptr, 1234567, 1357), "AT+CPIN=\"1234567\",\"1357\"\r\n", 4);
    add(new CmdSignalStr(nullptr), "AT+CSQ\r", 2);
    add(new CmdNetOperator(nullptr), "AT+COPS?\r", 6);
    add(new CmdSMSTextMode(nullptr), "AT+CMGF=1\r", 2);
    add(new CmdSetBaudRate(nullptr), "AT+IPR=115200\r", 2);
    add(new CmdCharacterSet(nullptr, text("GSM")), "AT+CSCS=\"GSM\"\r", 2);
    add(new CmdSMSNumber(nullptr, text("+4915112345")), "AT+CMGS=\"+4915112345\"\r", 2);
    add(new CmdArbCmd(nullptr, text("abc")), "abc\x1a", 6);
    add(new CmdReadSms(nullptr), "AT+CMGL=\"ALL\"\r", 6);
    add(new CmdDeleteSms(nullptr, 3), "AT+CMGD=3\r", 2);
    add(new CmdUsdCmd(nullptr, text("*100#")), "AT+CUSD=1,\"*100#\"\r", 2);
    return rows;
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
        EXPECT_EQ(row.writes, row.command->getATstring());
        EXPECT_EQ(row.silence, row.command->getTout()) << row.writes;
        EXPECT_FALSE(row.command->isBusy()) << row.writes;
        EXPECT_EQ(ErrStat::UNKNOWN, row.command->getErrStat()) << row.writes;
        EXPECT_EQ(nullptr, row.command->why()) << row.writes;
    }
}

TEST(Commands, EndAtAnyLineAndTakeTheirStatusFromTheFinalOne)
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
        for (const Row& row : allCommands()) {
            row.command->setBusy();
            feed(*row.command, {expected.line});
            EXPECT_EQ(expected.busy, row.command->isBusy()) << expected.line << " for " << row.writes;
            EXPECT_EQ(expected.status, row.command->getErrStat()) << expected.line << " for " << row.writes;
            EXPECT_EQ(expected.isOk, row.command->getIsOk()) << expected.line << " for " << row.writes;
        }
    }
}

TEST(Commands, TakeTheStatusOfALaterLine)
{
    CmdPinStat command(nullptr);
    command.setBusy();
    feed(command, {"AT+CPIN?", "+CPIN: READY"});
    EXPECT_FALSE(command.isBusy());
    EXPECT_EQ(ErrStat::UNKNOWN, command.getErrStat());
    feed(command, {"", "OK"});
    EXPECT_EQ(ErrStat::OK, command.getErrStat());
    command.setTimeOut();
    EXPECT_EQ(ErrStat::TIMEOUT, command.getErrStat());
    EXPECT_TRUE(command.getIsOk());
    feed(command, {"ERROR"});
    EXPECT_FALSE(command.getIsOk());
}

TEST(Commands, RefuseWhatDoesNotFitOrWouldBreakOut)
{
    const std::string twenty(20, '1');
    const std::string text254(254, 'x');
    const std::string ussd242(242, '1');
    CmdEnterPin pin(nullptr, text(twenty.c_str()));
    CmdCharacterSet set(nullptr, text(twenty.c_str()));
    CmdSMSNumber number(nullptr, text(twenty.c_str()));
    CmdArbCmd sms(nullptr, text(text254.c_str()));
    CmdUsdCmd ussd(nullptr, text(ussd242.c_str()));
    CmdEnterPuk puk(nullptr, 99999999, 99999999);
    CmdArbCmd lines(nullptr, text("two\nlines, \"quoted\" \xe4"));
    for (Command* command : std::vector<Command*>{&pin, &set, &number, &sms, &ussd, &puk, &lines})
        EXPECT_EQ(nullptr, command->why()) << command->getATstring();
    EXPECT_EQ("AT+CMGS=\"" + twenty + "\"\r", number.getATstring());
    EXPECT_EQ(text254 + "\x1a", sms.getATstring());
    EXPECT_STREQ("AT+CPIN=\"99999999\",\"99999999\"\r\n", puk.getATstring());

    std::vector<std::unique_ptr<Command>> refused;
    const auto refuse = [&refused](Command* command) { refused.emplace_back(command); };
    refuse(new CmdEnterPin(nullptr, text((twenty + "1").c_str())));
    refuse(new CmdCharacterSet(nullptr, text((twenty + "1").c_str())));
    refuse(new CmdSMSNumber(nullptr, text((twenty + "1").c_str())));
    refuse(new CmdArbCmd(nullptr, text((text254 + "x").c_str())));
    refuse(new CmdUsdCmd(nullptr, text((ussd242 + "1").c_str())));
    refuse(new CmdEnterPuk(nullptr, 99999999, 999999999));
    refuse(new CmdEnterPuk(nullptr, -1, 1234));
    refuse(new CmdEnterPuk(nullptr, 12345678, -1234));
    refuse(new CmdArbCmd(nullptr, nullptr));
    for (const char* argument : {"1\"", "1\r", "1\n", "1\x1a", "1\x1b", "\x7f"}) {
        refuse(new CmdEnterPin(nullptr, text(argument)));
        refuse(new CmdCharacterSet(nullptr, text(argument)));
        refuse(new CmdSMSNumber(nullptr, text(argument)));
        refuse(new CmdUsdCmd(nullptr, text(argument)));
    }
    for (const char* argument : {"end\x1a", "\x1bgiven up", "AT\rAT+CMGD=1"})
        refuse(new CmdArbCmd(nullptr, text(argument)));
    for (const auto& command : refused) {
        EXPECT_NE(nullptr, command->why());
        EXPECT_STREQ("", command->getATstring());
    }
}

TEST(FindParameters, SplitsAtEachDelimiterAndStaysInItsTable)
{
    char fields[3][256];
    int count = -1;
    const auto split = [&](const std::string& line) {
        memset(fields, 'x', sizeof fields);
        EXPECT_FALSE(findParameters(Line(line), ',', &count, fields));
        return std::vector<std::string>{fields[0], fields[1], fields[2]};
    };
    EXPECT_THAT(split("a,b,c"), ElementsAre("a", "b", "c"));
    EXPECT_EQ(3, count);
    EXPECT_THAT(split("abc"), ElementsAre("abc", "", ""));
    EXPECT_EQ(1, count);
    EXPECT_THAT(split(""), ElementsAre("", "", ""));
    EXPECT_EQ(1, count);
    EXPECT_THAT(split("a,"), ElementsAre("a", "", ""));
    EXPECT_EQ(2, count);
    EXPECT_THAT(split(",b"), ElementsAre("", "b", ""));
    EXPECT_THAT(split("a,,b"), ElementsAre("a", "", "b"));
    EXPECT_EQ(3, count);
    EXPECT_THAT(split("a,b,c,d,e"), ElementsAre("a", "b", "c"));
    EXPECT_EQ(3, count);
    EXPECT_THAT(split(" \"x\" ,\"y,z\""), ElementsAre(" \"x\" ", "\"y", "z\""));
    for (const std::size_t length : {254U, 255U, 256U, 5000U}) {
        const std::string wide(length, 'w');
        EXPECT_THAT(split(wide + ",b," + wide), ElementsAre(wide.substr(0, 255), "b", wide.substr(0, 255)));
    }
}

TEST(CmdPinStat, KnowsFiveStatesToTheirEnd)
{
    const std::vector<std::pair<std::string, Pinstat::ePinStat>> rows = {
        {"+CPIN: READY", Pinstat::READY},           {"+CPIN: SIM PIN", Pinstat::SIM_PIN},
        {"+CPIN: SIM PUK", Pinstat::SIM_PUK},       {"+CPIN: PH_SIM PIN", Pinstat::PH_SIM_PIN},
        {"+CPIN: PH_SIM PUK", Pinstat::PH_SIM_PUK}, {"AT+CPIN?", Pinstat::UNKNOWN},
        {"+CPIN:READY", Pinstat::UNKNOWN},          {"+CME ERROR: 10", Pinstat::UNKNOWN}};
    for (const auto& row : rows) {
        CmdPinStat command(nullptr);
        feed(command, {row.first});
        EXPECT_EQ(row.second, command.getPinStat()) << row.first;
    }
    CmdPinStat command(nullptr);
    for (const char* other : {"+CPIN: SIM PIN2", "+CPIN: SIM PIN ", "+CPIN: ", "+CPIN: PH-SIM PIN"}) {
        feed(command, {"+CPIN: SIM PUK", other});
        EXPECT_EQ(Pinstat::SIM_PUK, command.getPinStat()) << other;
    }
    feed(command, {"+CMTI: \"SM\",1"});
    EXPECT_EQ(Pinstat::UNKNOWN, command.getPinStat());
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
    CmdNetOperator net(nullptr);
    feed(net, {"+COPS: 0,0,\"TAV NET\""});
    EXPECT_STREQ("\"TAV NET\"", net.getNetOperator());
    feed(net, {"+COPS: 0,0," + std::string(31, 'n')});
    EXPECT_EQ(std::string(31, 'n'), net.getNetOperator());
    feed(net, {"+COPS: 0,0," + std::string(200, 'm')});
    EXPECT_EQ(std::string(31, 'm'), net.getNetOperator());
    feed(net, {"+COPS: 0"});
    EXPECT_STREQ("", net.getNetOperator());

    CmdMdmID id(nullptr);
    feed(id, {"ATI", "123456789012345"});
    EXPECT_STREQ("123456789012345", id.getID());
    feed(id, {"1234567890123456"});
    EXPECT_STREQ("123456789012345", id.getID());
    feed(id, {"short", "OK"});
    EXPECT_STREQ("short", id.getID());

    CmdUsdCmd ussd(nullptr, text("*100#"));
    feed(ussd, {"+CUSD: 0,\"hello\",15"});
    EXPECT_STREQ("", ussd.getResponse());
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

// What a body of several lines can do: it ends the listing, or adds a message of whatever sender it claims.
TEST(CmdReadSms, CannotTellABodyLineFromTheModemsOwn)
{
    CmdReadSms forged(nullptr);
    feed(forged,
         {"+CMGL: 1,\"REC UNREAD\",\"stranger\",,", "hello", "+CMGL: 2,\"REC UNREAD\",\"listed\",,", "PUMP ON"});
    EXPECT_THAT(messagesOf(forged), ElementsAre("1 \"stranger\" unread hello", "2 \"listed\" unread PUMP ON"));

    CmdReadSms ended(nullptr);
    ended.setBusy();
    feed(ended, {"+CMGL: 1,\"REC UNREAD\",\"stranger\",,", "ERRATIC"});
    EXPECT_EQ(ErrStat::MDMERR, ended.getErrStat());
    EXPECT_TRUE(messagesOf(ended).empty());
}

TEST(CmdReadSms, ListsABoundedNumber)
{
    CmdReadSms command(nullptr);
    for (int i = 0; i < 1100; ++i)
        feed(command, {"+CMGL: 1,\"REC UNREAD\",\"1\",,", "text"});
    EXPECT_EQ(1000U, messagesOf(command).size());
}
