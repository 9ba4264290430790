// The fifteen AT commands, in the order of the table in Command.h: text, reply lines.
#include "Command.h"
#include "replyText.h"

#include <cstdio>

namespace {

// In a quoted argument a quote or a control character would end the argument or the command.
bool endsArgument(unsigned char c)
{
    return c == '"' || c < 32 || c == 127;
}

// A text is ended by Ctrl-Z and given up by ESC; CR ends a command line of a modem that gave no prompt.
bool endsText(unsigned char c)
{
    return c == 26 || c == 27 || c == '\r';
}

constexpr int kMostListed = 1000; // a SIM has at most 255 places; what claims more is not a SIM

} // namespace

// ---- CmdMdmID ----

CmdMdmID::CmdMdmID(Modem* mdm) : Command(mdm), id{}
{
    tout = 2;
}

char* CmdMdmID::getATstring()
{
    static char text[] = "ATI\r";
    return text;
}

void CmdMdmID::handleData(unsigned char* data)
{
    keepLine(id, data);
    setDone();
}

// ---- CmdSIMin ----

CmdSIMin::CmdSIMin(Modem* mdm) : Command(mdm), isIn(false)
{
    tout = 4;
}

char* CmdSIMin::getATstring()
{
    static char text[] = "AT+CSMINS?\r";
    return text;
}

void CmdSIMin::handleData(unsigned char* data)
{
    printf("SIMINREPLY:%s\n", reinterpret_cast<const char*>(data));
    if (beginsWith(data, "+CSMINS: ")) {
        char fields[2][256];
        int count = 0;
        findParameters(afterPrefix(data, "+CSMINS: "), ',', &count, fields);
        isIn = figure(fields[1], 0) == 1;
    } else {
        Command::handleData(data);
    }
    setDone();
}

// ---- CmdPinStat ----

CmdPinStat::CmdPinStat(Modem* mdm) : Command(mdm), pinStat(Pinstat::UNKNOWN)
{
    tout = 4;
}

char* CmdPinStat::getATstring()
{
    static char text[] = "AT+CPIN?\r";
    return text;
}

void CmdPinStat::handleData(unsigned char* data)
{
    static constexpr struct {
        const char* word;
        Pinstat::ePinStat state;
    } kStates[] = {{"READY", Pinstat::READY},
                   {"SIM PIN", Pinstat::SIM_PIN},
                   {"SIM PUK", Pinstat::SIM_PUK},
                   {"PH_SIM PIN", Pinstat::PH_SIM_PIN},
                   {"PH_SIM PUK", Pinstat::PH_SIM_PUK}};
    if (!beginsWith(data, "+CPIN: ")) {
        pinStat = Pinstat::UNKNOWN;
    } else {
        const char* rest = reinterpret_cast<const char*>(afterPrefix(data, "+CPIN: "));
        for (const auto& known : kStates) {
            if (strcmp(rest, known.word) == 0) {
                pinStat = known.state;
                break;
            }
        }
    }
    setDone();
}

// ---- CmdEnterPin ----

CmdEnterPin::CmdEnterPin(Modem* mdm, char* pin) : Command(mdm)
{
    tout = 4;
    fillText(ATstring, sizeof ATstring, "AT+CPIN=\"", pin, "\"\r", endsArgument);
}

void CmdEnterPin::handleData(unsigned char* /*data*/)
{
    setDone();
}

// ---- CmdEnterPuk ----

CmdEnterPuk::CmdEnterPuk(Modem* mdm, int puk, int newPin) : Command(mdm)
{
    tout = 4;
    char codes[32];
    (void)snprintf(codes, sizeof codes, "%d\",\"%d", puk, newPin);
    if (puk < 0 || newPin < 0)
        refuse(ATstring, "a number is negative");
    else
        fillText(ATstring, sizeof ATstring, "AT+CPIN=\"", codes, "\"\r\n", [](unsigned char) { return false; });
}

void CmdEnterPuk::handleData(unsigned char* /*data*/)
{
    setDone();
}

// ---- CmdSignalStr ----

CmdSignalStr::CmdSignalStr(Modem* mdm) : Command(mdm), rssi(99), ber(99)
{
    tout = 2;
}

char* CmdSignalStr::getATstring()
{
    static char text[] = "AT+CSQ\r";
    return text;
}

void CmdSignalStr::handleData(unsigned char* data)
{
    if (beginsWith(data, "+CSQ:")) {
        char fields[3][256];
        int count = 0;
        findParameters(afterPrefix(data, "+CSQ:"), ',', &count, fields);
        const long strength = figure(fields[0], 99);
        ber = static_cast<float>(figure(fields[1], 99));
        if (strength == 0)
            rssi = -115.0f;
        else if (strength == 31)
            rssi = -52.0f;
        else if (strength == 99)
            rssi = 99.0f;
        else
            rssi = static_cast<float>(static_cast<double>(strength) * 0.509 - 55.5);
    } else {
        Command::handleData(data);
    }
    setDone();
}

// ---- CmdNetOperator ----

CmdNetOperator::CmdNetOperator(Modem* mdm) : Command(mdm), netOperator{}
{
    tout = 6;
}

char* CmdNetOperator::getATstring()
{
    static char text[] = "AT+COPS?\r";
    return text;
}

void CmdNetOperator::handleData(unsigned char* data)
{
    if (beginsWith(data, "+COPS: ")) {
        char fields[3][256];
        int count = 0;
        findParameters(afterPrefix(data, "+COPS: "), ',', &count, fields);
        keepLine(netOperator, fields[2]);
    } else {
        Command::handleData(data);
    }
    setDone();
}

// ---- CmdSMSTextMode ----

CmdSMSTextMode::CmdSMSTextMode(Modem* mdm) : Command(mdm), ATstring{"AT+CMGF=1\r"}
{
    tout = 2;
}

void CmdSMSTextMode::handleData(unsigned char* /*data*/)
{
    setDone();
}

// ---- CmdSetBaudRate ----

CmdSetBaudRate::CmdSetBaudRate(Modem* mdm) : Command(mdm), ATstring{"AT+IPR=115200\r"}
{
    tout = 2;
}

void CmdSetBaudRate::handleData(unsigned char* /*data*/)
{
    setDone();
}

// ---- CmdCharacterSet ----

CmdCharacterSet::CmdCharacterSet(Modem* mdm, char* charSet) : Command(mdm)
{
    tout = 2;
    fillText(ATstring, sizeof ATstring, "AT+CSCS=\"", charSet, "\"\r", endsArgument);
}

void CmdCharacterSet::handleData(unsigned char* /*data*/)
{
    setDone();
}

// ---- CmdSMSNumber ----

CmdSMSNumber::CmdSMSNumber(Modem* mdm, char* number) : Command(mdm), response{}
{
    tout = 2;
    fillText(ATstring, sizeof ATstring, "AT+CMGS=\"", number, "\"\r", endsArgument);
}

void CmdSMSNumber::handleData(unsigned char* data)
{
    keepLine(response, data);
    setDone();
}

// ---- CmdArbCmd ----

CmdArbCmd::CmdArbCmd(Modem* mdm, char* command) : Command(mdm), response{}
{
    tout = 6;
    fillText(ATstring, sizeof ATstring, "", command, "\x1a", endsText);
}

void CmdArbCmd::handleData(unsigned char* data)
{
    keepLine(response, data);
    setDone();
}

// ---- CmdReadSms ----

CmdReadSms::CmdReadSms(Modem* mdm)
    : Command(mdm), nextValNew(false), sms_list(new cEnumeratedList<Sms>()), sms_a(new Sms()), m_listed(0)
{
    tout = 6;
}

CmdReadSms::~CmdReadSms()
{
    delete sms_a; // never in the list
}

char* CmdReadSms::getATstring()
{
    static char text[] = "AT+CMGL=\"ALL\"\r";
    return text;
}

void CmdReadSms::handleData(unsigned char* data)
{
    if (beginsWith(data, "+CMGL: "))
        startMessage(data);
    else if (nextValNew && !beginsWith(data, "+CMTI: "))
        endMessage(data);
    else
        Command::handleData(data);
    setDone();
}

// The header: place, status, number, the sender's name, and date and time, which a comma separates.
void CmdReadSms::startMessage(unsigned char* header)
{
    char fields[6][256];
    int count = 0;
    findParameters(afterPrefix(header, "+CMGL: "), ',', &count, fields);
    sms_a->setNumber(fields[2]);
    sms_a->setId(fields[0]);
    if (beginsWith(fields[1], "\"REC READ\"")) {
        sms_a->setRead(true);
        nextValNew = true;
    } else if (beginsWith(fields[1], "\"REC UNREAD\"")) {
        sms_a->setRead(false);
        nextValNew = true;
    } else {
        nextValNew = false; // one that this card stored or sent: its text is not a command
    }
}

void CmdReadSms::endMessage(unsigned char* text)
{
    nextValNew = false;
    if (sms_list == nullptr || m_listed == kMostListed)
        return;
    ++m_listed;
    sms_a->setMessage(reinterpret_cast<char*>(text));
    sms_list->insert(sms_a);
    sms_a = new Sms();
}

cEnumeratedList<Sms>* CmdReadSms::handOverSmsList()
{
    cEnumeratedList<Sms>* list = sms_list;
    sms_list = nullptr;
    return list;
}

// ---- CmdDeleteSms ----

CmdDeleteSms::CmdDeleteSms(Modem* mdm, int id) : Command(mdm), response{}
{
    tout = 2;
    (void)snprintf(ATstring, sizeof ATstring, "AT+CMGD=%d\r", id);
}

void CmdDeleteSms::handleData(unsigned char* data)
{
    Command::handleData(data);
}

// ---- CmdUsdCmd ----

CmdUsdCmd::CmdUsdCmd(Modem* mdm, char* command) : Command(mdm), response{}
{
    tout = 2;
    fillText(ATstring, sizeof ATstring, "AT+CUSD=1,\"", command, "\"\r", endsArgument);
}

void CmdUsdCmd::handleData(unsigned char* data)
{
    Command::handleData(data);
}
