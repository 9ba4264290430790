// The modem as a set of blocking operations.
#include "Modem.h"

#include "GSM.h"
#include "maskedNumber.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace {

// The caller's buffer must have the size of the command's field.
void copyOut(char* to, const char* from)
{
    memcpy(to, from, strlen(from) + 1);
}

} // namespace

Modem::Modem(Gsm* gsm) : cWlog("Modem"), currCmd(nullptr), m_gsm(gsm), cmdHandler(nullptr), sms_list(nullptr), pin{} {}

Modem::~Modem()
{
    for (auto& made : m_made) {
        made->detach();
        if (cmdHandler->isInUse(made.get()))
            (void)made.release(); // the receive thread owns it from now on
    }
}

bool Modem::init(serialDriver* serial)
{
    if (!serial->getPortOpen()) {
        debug("Failed to open serial connection\n");
        delete serial;
        return false;
    }
    debug("Opened serial connection\n");
    debug("Creating modem command handler\n");
    cmdHandler = new CmdHandler(serial);
    cmdHandler->init(cmdHandler);
    if (!cmdHandler->isRunning()) {
        delete cmdHandler;
        cmdHandler = nullptr;
        delete serial;
        return false;
    }
    debug("Handler created\n");
    return true;
}

void Modem::setPin(char* newPin)
{
    memset(pin, 0, sizeof pin);
    const std::size_t length = newPin == nullptr ? 0 : strlen(newPin);
    if (length >= sizeof pin)
        error("The SIM PIN has %zu characters, but at most %zu are allowed: it is not used\n", length, sizeof pin - 1);
    else if (length > 0)
        memcpy(pin, newPin, length);
}

char* Modem::getCurrPin()
{
    return pin;
}

cEnumeratedList<Sms>* Modem::qGetList()
{
    return sms_list;
}

void Modem::iSendEvent(ModemEvent* event)
{
    if (m_gsm != nullptr)
        m_gsm->iInsertEvent(event);
    else
        destroyModemEvent(event);
}

// Makes the command of an operation. The facade owns it, and frees it once the engine can no longer use it.
template <class Cmd, class... Args> Cmd* Modem::make(Args... args)
{
    m_made.erase(std::remove_if(m_made.begin(), m_made.end(),
                                [this](const auto& made) { return !cmdHandler->isInUse(made.get()); }),
                 m_made.end());
    auto made = std::make_unique<Cmd>(this, args...);
    Cmd* cmd = made.get();
    m_made.push_back(std::move(made));
    return cmd;
}

// Whether the command has no text because an argument is not allowed in it.
bool Modem::refused(Command* cmd, const char* what)
{
    if (cmd->why() == nullptr)
        return false;
    error("%s is refused: %s. Nothing is sent to the modem\n", what, cmd->why());
    return true;
}

// Runs the command. Returns OK, TIMEOUT, MDMERR or UNKNOWN.
ErrStat::eErrStat Modem::run(Command* cmd)
{
    currCmd = cmd;
    cmdHandler->execute(cmd);
    currCmd = nullptr;
    if (cmd->getIsOk()) // a time-out after the "OK" may have replaced the status
        return ErrStat::OK;
    switch (cmd->getErrStat()) {
    case ErrStat::OK:
        return ErrStat::OK;
    case ErrStat::TIMEOUT:
        return ErrStat::TIMEOUT;
    case ErrStat::MDMERR:
        return ErrStat::MDMERR;
    default:
        return ErrStat::UNKNOWN;
    }
}

ErrStat::eErrStat Modem::qMdmID(char* id)
{
    auto* cmd = make<CmdMdmID>();
    const ErrStat::eErrStat status = run(cmd);
    std::lock_guard<std::mutex> lock(cmd->lineLock());
    if (status == ErrStat::OK)
        copyOut(id, cmd->getID());
    return status;
}

ErrStat::eErrStat Modem::qSIMin(bool* isIn)
{
    auto* cmd = make<CmdSIMin>();
    const ErrStat::eErrStat status = run(cmd);
    std::lock_guard<std::mutex> lock(cmd->lineLock());
    if (status == ErrStat::OK)
        *isIn = cmd->getIsIn();
    return status;
}

ErrStat::eErrStat Modem::qPinStat(Pinstat::ePinStat* simPinStat)
{
    auto* cmd = make<CmdPinStat>();
    const ErrStat::eErrStat status = run(cmd);
    std::lock_guard<std::mutex> lock(cmd->lineLock());
    if (status == ErrStat::OK)
        *simPinStat = cmd->getPinStat();
    return status;
}

ErrStat::eErrStat Modem::qSignalStr(float* rssi, float* ber)
{
    auto* cmd = make<CmdSignalStr>();
    const ErrStat::eErrStat status = run(cmd);
    std::lock_guard<std::mutex> lock(cmd->lineLock());
    if (status == ErrStat::OK) {
        *rssi = cmd->getRSSI();
        *ber = cmd->getBER();
    }
    return status;
}

ErrStat::eErrStat Modem::qNetOperator(char* netOperator)
{
    auto* cmd = make<CmdNetOperator>();
    const ErrStat::eErrStat status = run(cmd);
    std::lock_guard<std::mutex> lock(cmd->lineLock());
    if (status == ErrStat::OK)
        copyOut(netOperator, cmd->getNetOperator());
    return status;
}

ErrStat::eErrStat Modem::iEnterPin()
{
    if (pin[0] == '\0') {
        error("The SIM asks for a PIN, but none is configured. Nothing is sent to the modem\n");
        return ErrStat::UNKNOWN;
    }
    auto* cmd = make<CmdEnterPin>(pin);
    return refused(cmd, "The SIM PIN") ? ErrStat::UNKNOWN : run(cmd);
}

ErrStat::eErrStat Modem::iEnterPuk(int puk, int newPin)
{
    auto* cmd = make<CmdEnterPuk>(puk, newPin);
    return refused(cmd, "The PUK with the new PIN") ? ErrStat::UNKNOWN : run(cmd);
}

ErrStat::eErrStat Modem::qSMSTextMode()
{
    return run(make<CmdSMSTextMode>());
}

ErrStat::eErrStat Modem::qSetBaudRate()
{
    return run(make<CmdSetBaudRate>());
}

ErrStat::eErrStat Modem::qCharacterSet(char* charSet)
{
    auto* cmd = make<CmdCharacterSet>(charSet);
    return refused(cmd, "The character set's name") ? ErrStat::UNKNOWN : run(cmd);
}

ErrStat::eErrStat Modem::iSendSMS(char* number, char* message)
{
    auto* first = make<CmdSMSNumber>(number);
    CmdArbCmd text(this, message); // checked before the number is written, which would leave the modem at its prompt
    const std::string to = maskedNumber(number != nullptr ? number : "");
    if (refused(first, ("An SMS to " + to).c_str()) || refused(&text, ("The text of an SMS to " + to).c_str()))
        return ErrStat::UNKNOWN;
    (void)run(first);

    auto* cmd = make<CmdArbCmd>(message);
    const ErrStat::eErrStat status = run(cmd);
    std::string lastLine;
    {
        std::lock_guard<std::mutex> lock(cmd->lineLock());
        lastLine = cmd->getLastLine();
    }
    if (status != ErrStat::OK) // without the lock: a blocked log must not stop the receive thread
        error("The SMS to %s was not acknowledged, the modem's last line: \"%s\"\n", to.c_str(), lastLine.c_str());
    return status;
}

// Takes list and records from the command, whatever the result: it stays current, and may go on reading lines.
ErrStat::eErrStat Modem::qReadSMS()
{
    auto* cmd = make<CmdReadSms>();
    const ErrStat::eErrStat status = run(cmd);
    cEnumeratedList<Sms>* list;
    {
        std::lock_guard<std::mutex> lock(cmd->lineLock());
        list = cmd->handOverSmsList();
    }
    if (status == ErrStat::OK) {
        sms_list = list;
    } else {
        for (Sms* sms = list->first(); sms != nullptr; sms = list->getNext())
            delete sms;
        delete list;
    }
    return status;
}

ErrStat::eErrStat Modem::iDeleteSms(int id)
{
    return run(make<CmdDeleteSms>(id));
}

ErrStat::eErrStat Modem::iSendUsd(char* command, char* /*response*/)
{
    auto* cmd = make<CmdUsdCmd>(command);
    return refused(cmd, "The USSD code") ? ErrStat::UNKNOWN : run(cmd);
}
