// The GSM service: the modem and its SIM brought into service, and what the daemon asks of them.
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
/// Threads: one thread (the GSM handler) calls everything but iInsertEvent(), which is the receive thread's;
///          event_thread calls the listeners, without a lock. A service whose initialiseGsm() was called lives as long
///          as the process.
/// Lock:    m_ListLock guards both lists below and what is known of their entries; held for an insertion, a copy or a
///          clean-up, never for a call or a line of the log.
/// Errors:  false or null; each failed modem operation has left its line in the log.
class Gsm : public cWlog {
public:
    static constexpr size_t kMostWaiting = 256; ///< events that event_thread has yet to deliver
    static constexpr size_t kMostReports = 256;
    /// Of what the GSM handler thread does between two exchanges with the modem, or in one: see kLongestExchange. A
    /// pulse, the wait for the registration and one for a refresh are seconds.
    static constexpr std::chrono::seconds kLongestStep = CmdHandler::kLongestExchange;

    Gsm();
    Gsm(const Gsm&) = delete;
    Gsm& operator=(const Gsm&) = delete;

    /// Opens the port, starts the command engine and event_thread. Both texts are only read.
    /// @return false when the port could not be opened: no other operation may be called then
    bool initialiseGsm(char* portName, char* pin);
    /// One pass of set-up and checks, half a minute or more with a modem that does not answer.
    /// Sends the PIN once, or twice where the question for its outcome is not answered: what keeps a wrong PIN from
    /// using up the SIM's tries is the service's guard. @return whether the modem is fully usable
    bool setupModem();
    /// Signal strength and operator as the last pass of set-up found them: "-65 dBm, NET".
    const std::string& inBrief() const { return m_inBrief; }
    /// Logs @p error and maps it: OK, TIMEOUT and MDMERR to themselves, all else to UNKNOWN.
    ErrStat::eErrStat errorHandle(ErrStat::eErrStat error);
    void enterPin();
    /// Asks for PUK and new PIN on the console, waiting for the answers. Without two numbers nothing is sent.
    void enterPuk();
    /// @param number   at most 20 characters   @param message  at most 254; both only read
    bool sendSMS(char* number, char* message);
    /// @return the stored messages, newest first, list and records the caller's; null on failure
    cEnumeratedList<Sms>* readSms();
    /// @param number  storage place, from 1
    bool deleteSms(int number);
    /// @return null, always; an answer comes as a USDEvent
    char* sendUsd(char* code);
    /// @param handler  borrowed, for the life of the process   @return 0
    int subscribe(EventNotifier* handler);
    cEnumeratedList<EventNotifier>* getListeners();
    cEnumeratedList<ModemEvent>* getEvents();
    /// An empty list; what was read is what readSms() returned.
    cEnumeratedList<Sms>* get_list();
    /// @param evt  handed over; destroyed some time after its delivery, when 3 newer ones were delivered. Of more than
    ///             kMostWaiting undelivered ones only the newest of each kind is kept, which a warning says
    void iInsertEvent(ModemEvent* evt);
    /// The storage places that "+CMTI: " reports have named since the last call, oldest first, at most kMostReports:
    /// the newest.
    std::vector<int> takeReportedPlaces();
    /// Waits once on binary_sem, which costs event_thread one pass.
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

    struct Findings; ///< what one pass of setupModem() found
    void unlockSim(Pinstat::ePinStat& pinStat);
    void logOperator(const char* netOperator);
    void summarise(const Findings& found);
    void explain(const Findings& found);
    static std::string brief(const Findings& found);
};

#endif
