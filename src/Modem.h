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
/// Threads: all operations on one thread at a time; iSendEvent() is called by the receive thread. A facade whose init()
///          returned true leaves its handler, port and current command behind when it is destroyed: the receive thread,
///          which lives as long as the process, goes on using them.
/// Units:   each operation lasts at least a second.
/// Errors:  OK, TIMEOUT, MDMERR or UNKNOWN. UNKNOWN: the wait ended on a line before the final result came, or the
///          operation was refused because an argument cannot stand in its AT command (an error line says so, nothing
///          is written). Out-parameters are written only on OK.
class Modem : private cWlog {
public:
    /// @param gsm  borrowed; gets the events
    explicit Modem(Gsm* gsm);
    Modem(const Modem&) = delete;
    Modem& operator=(const Modem&) = delete;
    virtual ~Modem();

    /// Attaches the port and starts the command engine.
    /// @param serial  handed over: destroyed at once when its port is not open or the engine could not be started
    /// @return whether the port is open and the engine runs; after false no operation may be called
    bool init(serialDriver* serial);
    /// Keeps a copy of the SIM's PIN, at most 7 characters. A longer one is refused with an error line and the PIN is
    /// empty then: a cut PIN would cost a try.
    void setPin(char* newPin);
    /// The PIN; the facade's.
    char* getCurrPin();
    /// The list of the last successful qReadSMS(); null before. It belongs to whoever read it and may be gone.
    cEnumeratedList<Sms>* qGetList();
    /// @param event  handed over to the GSM service's event list
    void iSendEvent(ModemEvent* event);

    /// @param id  at least 16 bytes
    ErrStat::eErrStat qMdmID(char* id);
    ErrStat::eErrStat qSIMin(bool* isIn);
    ErrStat::eErrStat qPinStat(Pinstat::ePinStat* simPinStat);
    /// @param rssi  dBm, or 99 for no measurement   @param ber  as reported, 0 to 7, or 99 for no measurement
    ErrStat::eErrStat qSignalStr(float* rssi, float* ber);
    /// @param netOperator  at least 32 bytes; the name as the modem sends it, usually in quotes; may come out empty
    ErrStat::eErrStat qNetOperator(char* netOperator);
    /// Sends the PIN, once; an empty one is refused, since some SIMs count it as a try.
    ErrStat::eErrStat iEnterPin();
    /// Together at most 16 digits, not negative; leading zeros are not sent.
    ErrStat::eErrStat iEnterPuk(int puk, int newPin);
    ErrStat::eErrStat qSMSTextMode();
    ErrStat::eErrStat qSetBaudRate();
    /// @param charSet  at most 20 characters
    ErrStat::eErrStat qCharacterSet(char* charSet);
    /// @param number   at most 20 characters   @param message  at most 254
    /// @return the result of the text; the text is written whatever became of the number
    ErrStat::eErrStat iSendSMS(char* number, char* message);
    /// On OK qGetList() is the new list, newest message first: list and records are the caller's.
    ErrStat::eErrStat qReadSMS();
    ErrStat::eErrStat iDeleteSms(int id);
    /// The answer comes later, as a USDEvent; @p response is not written.
    /// @param command  at most 242 characters
    ErrStat::eErrStat iSendUsd(char* command, char* response);

private:
    Command* currCmd;
    Gsm* m_gsm;
    CmdHandler* cmdHandler;
    cEnumeratedList<Sms>* sms_list;
    char pin[8];

    std::vector<std::unique_ptr<Command>> m_made; ///< commands that the engine may still touch

    template <class Cmd, class... Args> Cmd* make(Args... args);
    ErrStat::eErrStat run(Command* cmd);
    bool refused(Command* cmd, const char* what);
};

#endif
