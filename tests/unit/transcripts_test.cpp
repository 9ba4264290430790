// Every exchange, as modems put it on the line: in pieces of any size, with echo and without, with either line end, the
// prompt with its blank and without. What the command makes of it is the same.
#include "CmdHandler.h"
#include "FakeModem.h"

#include <gmock/gmock.h>
#include <memory>
#include <tuple>
#include <vector>

namespace {

constexpr char kMark[] = "=END"; // a line of the test's own: all that was said before it has been handled

/// How a modem writes.
struct Manner {
    std::size_t piece; // bytes; 0: all at once
    bool echo;
    std::string lineEnd, prompt;
};

/// Has the engine read the modem's whole reply, in the engine's own thread, before it looks whether the exchange is
/// over: no result hangs on the machine's speed.
template <class Cmd> class Played : public Cmd {
public:
    template <class... Args>
    Played(FakeModem& modem, std::string bytes, Args... args)
        : Cmd(nullptr, args...), m_modem(modem), m_bytes(std::move(bytes))
    {
    }
    char* getATstring() override
    {
        m_modem.say(m_bytes);
        EXPECT_TRUE(eventually([this] { return m_ended.load(); })) << m_bytes;
        return Cmd::getATstring();
    }
    void handleData(unsigned char* data) override
    {
        if (std::string(reinterpret_cast<char*>(data)) == kMark)
            m_ended = true;
        else
            Cmd::handleData(data);
    }

private:
    FakeModem& m_modem;
    const std::string m_bytes;
    std::atomic<bool> m_ended{false};
};

std::string valuesOf(Command&)
{
    return "";
}
std::string valuesOf(CmdMdmID& command)
{
    return command.getID();
}
std::string valuesOf(CmdSIMin& command)
{
    return command.getIsIn() ? "inserted" : "none";
}
std::string valuesOf(CmdPinStat& command)
{
    return std::to_string(command.getPinStat());
}
std::string valuesOf(CmdSignalStr& command)
{
    return std::to_string(static_cast<int>(command.getRSSI())) + " dBm, " +
           std::to_string(static_cast<int>(command.getBER()));
}
std::string valuesOf(CmdNetOperator& command)
{
    return command.getNetOperator();
}
std::string valuesOf(CmdArbCmd& command)
{
    return command.getLastLine();
}
std::string valuesOf(CmdReadSms& command)
{
    std::string all;
    const std::unique_ptr<cEnumeratedList<Sms>> list(command.handOverSmsList());
    for (Sms* sms = list->first(); sms != nullptr; sms = list->getNext()) {
        all += std::string(sms->getId()) + ' ' + sms->getNumber() + (sms->getRead() ? " read " : " unread ") +
               sms->getMessage() + ';';
        delete sms;
    }
    return all;
}

/// An engine on a terminal of its own; both stay, as the engine's thread does.
class Line {
public:
    explicit Line(const Manner& manner)
        : m_manner(manner), m_modem({}, manner.piece), m_port(m_modem.path()), m_engine(&m_port)
    {
        m_engine.init(&m_engine);
    }

    /// Runs an exchange in which the modem says @p reply after its prompt, if it has one, and its echo of @p written.
    template <class Cmd, class... Args>
    std::string exchange(bool prompted, const std::string& written, const std::vector<std::string>& reply, Args... args)
    {
        std::string bytes = prompted ? m_manner.lineEnd + m_manner.prompt : "";
        if (m_manner.echo)
            bytes += written;
        for (const std::string& line : reply)
            bytes.append(m_manner.lineEnd).append(line).append(m_manner.lineEnd);
        bytes.append(kMark).append(m_manner.lineEnd);
        auto* command = new Played<Cmd>(m_modem, bytes, args...);
        m_commands.emplace_back(command);
        m_engine.execute(command);
        std::string result = command->getErrStat() == ErrStat::OK       ? "OK "
                             : command->getErrStat() == ErrStat::MDMERR ? "ERROR "
                                                                        : "neither ";
        return result + valuesOf(static_cast<Cmd&>(*command));
    }

private:
    const Manner m_manner;
    std::vector<std::unique_ptr<Command>> m_commands; // the engine may touch them as long as it lives
    FakeModem m_modem;
    serialDriver m_port;
    CmdHandler m_engine;
};

class Transcripts : public testing::TestWithParam<std::tuple<std::size_t, bool, std::string, std::string>> {
protected:
    Transcripts()
        : line(keep(new Line(
              {std::get<0>(GetParam()), std::get<1>(GetParam()), std::get<2>(GetParam()), std::get<3>(GetParam())})))
    {
    }
    Line& line;

private:
    static Line& keep(Line* made)
    {
        static auto* all = new std::vector<Line*>;
        all->push_back(made);
        return *made;
    }
};

char* text(const char* literal) // for arguments that are only read
{
    return const_cast<char*>(literal);
}

} // namespace

TEST_P(Transcripts, OfTheSetUp)
{
    EXPECT_EQ("OK ", line.exchange<CmdSetBaudRate>(false, "AT+IPR=115200\r", {"OK"}));
    EXPECT_EQ("OK TAV-SIM GSM 1.0", line.exchange<CmdMdmID>(false, "ATI\r", {"TAV-SIM GSM 1.0", "OK"}));
    EXPECT_EQ("OK inserted", line.exchange<CmdSIMin>(false, "AT+CSMINS?\r", {"+CSMINS: 0,1", "OK"}));
    EXPECT_EQ("OK none", line.exchange<CmdSIMin>(false, "AT+CSMINS?\r", {"+CSMINS: 0,0", "OK"}));
    const auto pin = [&](const char* state, const char* final) {
        return line.exchange<CmdPinStat>(false, "AT+CPIN?\r", {state, final});
    };
    EXPECT_EQ("OK " + std::to_string(Pinstat::READY), pin("+CPIN: READY", "OK"));
    EXPECT_EQ("OK " + std::to_string(Pinstat::SIM_PIN), pin("+CPIN: SIM PIN", "OK"));
    EXPECT_EQ("OK " + std::to_string(Pinstat::SIM_PUK), pin("+CPIN: SIM PUK", "OK"));
    EXPECT_EQ("OK ", line.exchange<CmdEnterPin>(false, "AT+CPIN=\"1357\"\r", {"OK"}, text("1357")));
    EXPECT_EQ("ERROR ", line.exchange<CmdEnterPin>(false, "AT+CPIN=\"1357\"\r", {"ERROR"}, text("1357")));
    EXPECT_EQ("neither ", line.exchange<CmdEnterPin>(false, "AT+CPIN=\"1357\"\r", {"+CME ERROR: 16"}, text("1357")));
    EXPECT_EQ("OK ", line.exchange<CmdEnterPuk>(false, "AT+CPIN=\"12345678\",\"1357\"\r\n", {"OK"}, 12345678, 1357));
    EXPECT_EQ("OK -45 dBm, 0", line.exchange<CmdSignalStr>(false, "AT+CSQ\r", {"+CSQ: 20,0", "OK"}));
    EXPECT_EQ("OK \"TAV NET\"", line.exchange<CmdNetOperator>(false, "AT+COPS?\r", {"+COPS: 0,0,\"TAV NET\"", "OK"}));
}

TEST_P(Transcripts, OfMessages)
{
    EXPECT_EQ("OK ", line.exchange<CmdSMSTextMode>(false, "AT+CMGF=1\r", {"OK"}));
    EXPECT_EQ("OK 3 \"0171999999\" read all OK;1 \"0151123456\" unread PUMP ON;",
              line.exchange<CmdReadSms>(
                  false, "AT+CMGL=\"ALL\"\r",
                  {"+CMGL: 1,\"REC UNREAD\",\"0151123456\",,\"26/11/23,12:00:00+00\"", "PUMP ON", "+CMTI: \"SM\",2",
                   "+CMGL: 3,\"REC READ\",\"0171999999\",,\"26/11/23,12:00:01+00\"", "all OK", "OK"}));
    EXPECT_EQ("neither ", line.exchange<CmdReadSms>(false, "AT+CMGL=\"ALL\"\r", {"+CMS ERROR: 500"}));
    EXPECT_EQ("OK ", line.exchange<CmdDeleteSms>(false, "AT+CMGD=3\r", {"OK"}, 3));
    EXPECT_EQ("ERROR ", line.exchange<CmdDeleteSms>(false, "AT+CMGD=3\r", {"ERROR"}, 3));
    EXPECT_EQ("OK ", line.exchange<CmdCharacterSet>(false, "AT+CSCS=\"GSM\"\r", {"OK"}, text("GSM")));
    EXPECT_EQ("ERROR ", line.exchange<CmdSMSNumber>(false, "AT+CMGS=\"015112\"\r", {"ERROR"}, text("015112")));
    EXPECT_EQ("OK +CMGS: 12", line.exchange<CmdArbCmd>(true, "DOOR LOW\x1a", {"+CMGS: 12", "OK"}, text("DOOR LOW")));
    EXPECT_EQ("neither +CMS ERROR: 305",
              line.exchange<CmdArbCmd>(true, "DOOR LOW\x1a", {"+CMS ERROR: 305"}, text("DOOR LOW")));
    EXPECT_EQ("OK ", line.exchange<CmdUsdCmd>(false, "AT+CUSD=1,\"*100#\"\r", {"OK", "+CUSD: 0,\"credit 12.50\",15"},
                                              text("*100#")));
}

INSTANTIATE_TEST_SUITE_P(InEveryCut, Transcripts,
                         testing::Combine(testing::Values(1U, 2U, 3U, 7U, 0U), testing::Bool(),
                                          testing::Values("\r\n", "\r\r\n"), testing::Values("> ", ">")),
                         [](const auto& manner) {
                             const std::size_t piece = std::get<0>(manner.param);
                             return (piece == 0 ? "All" : "By" + std::to_string(piece)) +
                                    (std::get<1>(manner.param) ? "Echoed" : "Silent") +
                                    (std::get<2>(manner.param).size() == 2 ? "CrLf" : "CrCrLf") +
                                    (std::get<3>(manner.param).size() == 2 ? "PromptBlank" : "Prompt");
                         });
