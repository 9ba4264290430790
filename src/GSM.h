// The GSM service: sets up the modem and its SIM, and operates them for the daemon.
#ifndef GSM_H
#define GSM_H

#include "EventNotifier.h"
#include "Modem.h"
#include "ModemEvent.h"
#include "cWlog.h"
#include "e_numsHeader.h"
#include "enum_list.h"
#include "eventDispatch.h"
#include "sms.h"

#include <mutex>
#include <semaphore.h>
#include <string>
#include <vector>

class cObjectListener;

/// Sets up modem and SIM, sends, lists and deletes SMS, and delivers the modem's reports to its listeners.
/// Threads: the GSM handler thread calls everything except iInsertEvent(), which the receive thread calls. event_thread
///          calls the listeners, with no lock held. Once initialiseGsm() has been called, the service must live as
///          long as the process.
/// Lock:    m_ListLock guards the listeners, the events and the reported places. It is held only while they are
///          changed or copied, never during a listener's call or a line of the log.
/// Errors:  false or null. Each failed modem operation is logged.
class Gsm : public cWlog {
public:
    static constexpr size_t kMostWaiting = 256; ///< undelivered events
    static constexpr size_t kMostReports = 256; ///< see takeReportedPlaces()
    /// Limit for each step of the GSM handler thread. Its longest step is an exchange: a pulse, the wait for the
    /// registration and the wait for a refresh take seconds.
    static constexpr std::chrono::seconds kLongestStep = CmdHandler::kLongestExchange;

    Gsm();
    Gsm(const Gsm&) = delete;
    Gsm& operator=(const Gsm&) = delete;

    /// Opens the port, starts the command engine and event_thread. Both texts are only read.
    /// @return false if the port cannot be opened; then call no other operation
    bool initialiseGsm(char* portName, char* pin);
    /// One pass of set-up and checks. It takes half a minute or more with a modem that does not answer.
    /// It sends the PIN once, or twice if the modem does not answer what became of the first. Nothing here protects the
    /// SIM from a wrong PIN; the service's guard does. @return whether the modem is fully usable
    bool setupModem();
    /// Signal strength and operator as the last pass of set-up found them: "-65 dBm, NET".
    const std::string& inBrief() const { return m_inBrief; }
    /// Logs @p error and maps it: OK, TIMEOUT and MDMERR to themselves, all else to UNKNOWN.
    ErrStat::eErrStat errorHandle(ErrStat::eErrStat error);
    void enterPin();
    /// Prompts for PUK and new PIN on the console, and waits for them. Sends nothing unless both are numbers.
    void enterPuk();
    /// @param number   at most 20 characters   @param message  at most 254 characters
    bool sendSMS(char* number, char* message);
    /// @return the stored messages, newest first; the caller owns list and records. Null on failure
    cEnumeratedList<Sms>* readSms();
    /// @param number  storage place, from 1
    bool deleteSms(int number);
    /// @return null, always. The answer arrives as a USDEvent
    char* sendUsd(char* code);
    /// @param handler  borrowed, for the life of the process   @return 0
    int subscribe(EventNotifier* handler);
    cEnumeratedList<EventNotifier>* getListeners();
    cEnumeratedList<ModemEvent>* getEvents();
    /// Always an empty list: the messages are in the list that readSms() returns.
    cEnumeratedList<Sms>* get_list();
    /// @param evt  the service takes ownership, and destroys it after three newer ones have been delivered. If more
    ///             than kMostWaiting are undelivered, only the newest of each kind is kept, with a warning
    void iInsertEvent(ModemEvent* evt);
    /// The storage places from "+CMTI: " reports since the last call, oldest first; only the newest kMostReports.
    std::vector<int> takeReportedPlaces();
    /// Waits once on binary_sem, and so takes one wake-up from event_thread.
    void makeWait();

    /// Body of the dispatch thread; @p data is the service. Never returns.
    static void* event_thread(void* data);

private:
    Modem* mdm;
    cEnumeratedList<Sms>* sms_list;
    cEnumeratedList<EventNotifier>* m_Listeners;
    cEnumeratedList<ModemEvent>* m_EventList;
    sem_t binary_sem;
    cObjectListener* objListener;

    std::string m_inBrief;

    std::mutex m_ListLock;
    eventDispatch::Progress m_Progress; ///< of m_EventList; guarded by m_ListLock
    std::vector<int> m_Reported;        ///< storage places; guarded by m_ListLock

    void deliver();

    struct Findings; ///< of one pass of setupModem()
    void unlockSim(Pinstat::ePinStat& pinStat);
    void logOperator(const char* netOperator);
    void summarise(const Findings& found);
    void explain(const Findings& found);
    static std::string brief(const Findings& found);
};

#endif
