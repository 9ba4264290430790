// The fifteen AT commands, in the order of the table in Command.h: their texts and their reply lines.
#include "Command.h"
#include "replyText.h"

#include <cstdio>
#include <string>

namespace {

// A quote or a control character would end a quoted argument, or the command.
bool endsArgument(unsigned char c)
{
    return c == '"' || c < 32 || c == 127;
}

// Ctrl-Z ends a text and ESC cancels it. CR ends the command line of a modem that gave no prompt.
bool endsText(unsigned char c)
{
    return c == 26 || c == 27 || c == '\r';
}

constexpr int kMostListed = 1000; // far above a SIM's 255 places

} // namespace

// ---- CmdMdmID ----

CmdMdmID::CmdMdmID(Modem* mdm) : Command(mdm, at::MdmID), id{} {}

void CmdMdmID::handleData(unsigned char* data)
{
    keepLine(id, data);
    finish(true, data);
}

// ---- CmdSIMin ----

CmdSIMin::CmdSIMin(Modem* mdm) : Command(mdm, at::SIMin), isIn(false) {}

void CmdSIMin::handleData(unsigned char* data)
{
    printf("SIMINREPLY:%s\n", reinterpret_cast<const char*>(data));
    const bool parsed = beginsWith(data, "+CSMINS: ");
    if (parsed) {
        char fields[2][256];
        int count = 0;
        findParameters(afterPrefix(data, "+CSMINS: "), ',', &count, fields);
        isIn = figure(fields[1], 0) == 1;
    }
    finish(parsed, data);
}

// ---- CmdPinStat ----

CmdPinStat::CmdPinStat(Modem* mdm) : Command(mdm, at::PinStat), pinStat(Pinstat::UNKNOWN) {}

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
    const bool parsed = beginsWith(data, "+CPIN: ");
    if (!parsed) {
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
    finish(parsed, data);
}

// ---- CmdEnterPin, CmdEnterPuk ----

CmdEnterPin::CmdEnterPin(Modem* mdm, char* pin) : Command(mdm, at::EnterPin)
{
    fillText(ATstring, pin, endsArgument);
}

CmdEnterPuk::CmdEnterPuk(Modem* mdm, int puk, int newPin) : Command(mdm, at::EnterPuk)
{
    const std::string codes = std::to_string(puk) + "\",\"" + std::to_string(newPin);
    if (puk < 0 || newPin < 0)
        refuse(ATstring, "a number is negative");
    else
        fillText(ATstring, codes.c_str(), [](unsigned char) { return false; });
}

// ---- CmdSignalStr ----

CmdSignalStr::CmdSignalStr(Modem* mdm) : Command(mdm, at::SignalStr), rssi(99), ber(99) {}

void CmdSignalStr::handleData(unsigned char* data)
{
    const bool parsed = beginsWith(data, "+CSQ:");
    if (parsed) {
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
    }
    finish(parsed, data);
}

// ---- CmdNetOperator ----

CmdNetOperator::CmdNetOperator(Modem* mdm) : Command(mdm, at::NetOperator), netOperator{} {}

void CmdNetOperator::handleData(unsigned char* data)
{
    const bool parsed = beginsWith(data, "+COPS: ");
    if (parsed) {
        char fields[3][256];
        int count = 0;
        findParameters(afterPrefix(data, "+COPS: "), ',', &count, fields);
        keepLine(netOperator, fields[2]);
    }
    finish(parsed, data);
}

// ---- CmdSMSTextMode, CmdSetBaudRate, CmdCharacterSet ----

CmdSMSTextMode::CmdSMSTextMode(Modem* mdm) : Command(mdm, at::SMSTextMode)
{
    keepLine(ATstring, at::SMSTextMode.text);
}

CmdSetBaudRate::CmdSetBaudRate(Modem* mdm) : Command(mdm, at::SetBaudRate)
{
    keepLine(ATstring, at::SetBaudRate.text);
}

CmdCharacterSet::CmdCharacterSet(Modem* mdm, char* charSet) : Command(mdm, at::CharacterSet)
{
    fillText(ATstring, charSet, endsArgument);
}

// ---- CmdSMSNumber, CmdArbCmd ----

CmdSMSNumber::CmdSMSNumber(Modem* mdm, char* number) : Command(mdm, at::SMSNumber), response{}
{
    fillText(ATstring, number, endsArgument);
}

void CmdSMSNumber::handleData(unsigned char* data)
{
    keepLine(response, data);
    finish(true, data);
}

CmdArbCmd::CmdArbCmd(Modem* mdm, char* command) : Command(mdm, at::ArbCmd), response{}
{
    fillText(ATstring, command, endsText);
}

void CmdArbCmd::handleData(unsigned char* data)
{
    keepLine(response, data);
    finish(true, data);
}

// ---- CmdReadSms ----

CmdReadSms::CmdReadSms(Modem* mdm)
    : Command(mdm, at::ReadSms), nextValNew(false), sms_list(new cEnumeratedList<Sms>()), sms_a(new Sms()), m_listed(0)
{
}

CmdReadSms::~CmdReadSms()
{
    delete sms_a; // never in the list
}

void CmdReadSms::handleData(unsigned char* data)
{
    const bool header = beginsWith(data, "+CMGL: ");
    const bool text = !header && nextValNew && !beginsWith(data, "+CMTI: ");
    if (header)
        startMessage(data);
    else if (text)
        endMessage(data);
    finish(header || text, data);
}

// The header: place, status, number, sender's name, date and time. A comma stands between date and time.
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
        nextValNew = false; // stored or sent by this card, so not a command
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

// ---- CmdDeleteSms, CmdUsdCmd ----

CmdDeleteSms::CmdDeleteSms(Modem* mdm, int id) : Command(mdm, at::DeleteSms), response{}
{
    fillText(ATstring, std::to_string(id).c_str(), endsArgument);
}

CmdUsdCmd::CmdUsdCmd(Modem* mdm, char* command) : Command(mdm, at::UsdCmd), response{}
{
    fillText(ATstring, command, endsArgument);
}
