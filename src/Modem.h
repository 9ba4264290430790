// The modem as a set of blocking operations.
#ifndef MODEM_H
#define MODEM_H

#include "CmdHandler.h"
#include "ModemEvent.h"
#include "cWlog.h"
#include "e_numsHeader.h"
#include "enum_list.h"
#include "serialDriver.h"
#include "sms.h"

#include <memory>
#include <string>
#include <vector>

class Gsm;

/// One blocking operation per modem function; "q" asks, "i" instructs. Each writes one AT command (iSendSMS: two).
/// Threads: one thread at a time calls the operations; the receive thread calls iSendEvent(). After a successful
/// init(),
///          the destructor leaves handler, port and current command to the receive thread, which never ends.
/// Units:   each operation takes at least a second.
/// Errors:  OK, TIMEOUT, MDMERR or UNKNOWN. UNKNOWN means that the wait ended before the final result, or that an
///          argument is not allowed in its AT command: then nothing is written, and the reason is logged.
///          Out-parameters are set only on OK.
class Modem : private cWlog {
public:
    /// @param gsm  borrowed; receives the events
    explicit Modem(Gsm* gsm);
    Modem(const Modem&) = delete;
    Modem& operator=(const Modem&) = delete;
    virtual ~Modem();

    /// Attaches the port and starts the command engine.
    /// @param serial  the facade takes ownership, and destroys it on failure
    /// @return whether the port is open and the engine runs; if not, call no operation
    bool init(serialDriver* serial);
    /// Copies the SIM's PIN, at most 7 characters. A longer one is refused with an error line and leaves the PIN empty:
    /// a cut PIN would cost a try.
    void setPin(char* newPin);
    /// The PIN; owned by the facade.
    char* getCurrPin();
    /// The list from the last successful qReadSMS(); null before. Its reader owns it and may have freed it.
    cEnumeratedList<Sms>* qGetList();
    /// @param event  the GSM service takes ownership
    void iSendEvent(ModemEvent* event);

    /// @param id  at least 16 bytes
    ErrStat::eErrStat qMdmID(char* id);
    ErrStat::eErrStat qSIMin(bool* isIn);
    ErrStat::eErrStat qPinStat(Pinstat::ePinStat* simPinStat);
    /// @param rssi  dBm   @param ber  as reported, 0 to 7. Both are 99 without a measurement
    ErrStat::eErrStat qSignalStr(float* rssi, float* ber);
    /// @param netOperator  at least 32 bytes; the name as the modem sends it, usually in quotes, or empty
    ErrStat::eErrStat qNetOperator(char* netOperator);
    /// Sends the PIN once. An empty PIN is refused, since some SIMs count it as a try.
    ErrStat::eErrStat iEnterPin();
    /// Together at most 16 digits, not negative; leading zeros are not sent.
    ErrStat::eErrStat iEnterPuk(int puk, int newPin);
    ErrStat::eErrStat qSMSTextMode();
    ErrStat::eErrStat qSetBaudRate();
    /// @param charSet  at most 20 characters
    ErrStat::eErrStat qCharacterSet(char* charSet);
    /// @param number   at most 20 characters   @param message  at most 254
    /// @return the result of the text, which is written even after an error of the number
    ErrStat::eErrStat iSendSMS(char* number, char* message);
    /// On OK, qGetList() is the new list, newest message first; the caller owns list and records.
    ErrStat::eErrStat qReadSMS();
    ErrStat::eErrStat iDeleteSms(int id);
    /// The answer arrives later, as a USDEvent. @p response is not written.
    /// @param command  at most 242 characters
    ErrStat::eErrStat iSendUsd(char* command, char* response);

private:
    Command* currCmd;
    Gsm* m_gsm;
    CmdHandler* cmdHandler;
    cEnumeratedList<Sms>* sms_list;
    char pin[8];

    std::vector<std::unique_ptr<Command>> m_made; ///< commands that the engine may still use

    template <class Cmd, class... Args> Cmd* make(Args... args);
    ErrStat::eErrStat run(Command* cmd);
    bool refused(Command* cmd, const char* what);
};

#endif
