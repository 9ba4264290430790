// The daemon's one manager: start-up, port lists, evaluation, object server events, GSM handler thread, SMS commands.
#ifndef GSMIOMANAGER_H
#define GSMIOMANAGER_H

#include "EventNotifier.h"
#include "GSM.h"
#include "IOpairs.h"
#include "WList.h"
#include "cGsmQManager.h"
#include "cObject.h"
#include "cObjectClient.h"
#include "cObjectList.h"
#include "cObjectListener.h"
#include "cWlog.h"
#include "enum_list.h"
#include "fairMutex.h"
#include "gsmMessageInfo.h"
#include "laterLog.h"
#include "portIndex.h"
#include "scopedLock.h"
#include "tavConnection.h"
#include "tavTrigger.h"

#include <atomic>
#include <cstdint>
#include <pthread.h>
#include <string>
#include <unordered_set>

/// The configuration as read from the properties file; each text is terminated and cut to its field.
struct property_values {
    char configFile[32];
    char host[32];
    char ioPairFile[32];
    char serialPortName[32];
    char gsmconfigFile[32];
    char simPin[8];
};

/// The command word that ends an SMS.
enum key { ON = 0, OFF = 1, Query = 2 };

/// The command word of a text: OFF, ON or QUERY at the end of its first 159 characters, ON for any other ending.
key get_onoff(const char* message);

/// "HIGH", "LOW" or "Default" (a constant text) for a record's state 1, 0 or any other; traced on @p mainlog.
char* get_state_string(uint8_t val, cWlog* mainlog);

/// Owns every other piece of the daemon; built once by start() and never destroyed.
///
/// Threads: main (constructor, run), the object client's delivery thread (handleObjectAction), the GSM handler
/// thread (create_gsm_handler and what it calls), the two dispatch threads (EventOccured).
/// Locks, none of them recursive, in the order in which they are taken:
/// - mEvaluationMutex: one evaluation, refresh or commanded output at a time, first come, first served. It guards the
/// cursors of the connection
///   and trigger lists, and every port object got from getInputs and getOutputs while it is in use.
/// - mPortListMutex: mTriggerPorts and mOutputPorts, that is the pointers, the lists, their cursors, the inputs' alarm
///   states; their indexes, too. All but the cursors change only while both mutexes are held: an evaluation reads them
///   without this one.
class GSMIOmanager : public cWlog, public cObjectListener, public EventNotifier {
public:
    /// The state of a trigger; OFFLINE gives no state, so that nothing is done. INVERSE is never produced.
    enum eTrigState { RESET = 0, SET = 1, OFFLINE = 2, INVERSE = 3 };

    /// Builds the one manager and runs it; returns only when there is one already.
    static void start();

    /// Reads "/etc/tav/telnodriver.conf", connects to the object server and reads the I/O pair file.
    GSMIOmanager();

    /// A manager that starts nothing: no file is read, no client, no thread. For those who fill its lists themselves
    /// and ask for its verdicts (the configuration checker, tests): they derive from it, put their connections into
    /// mConnLst and their ports into mTriggerPorts and mOutputPorts (null until then), and call what they need on one
    /// thread. Without a client a refresh finds no port, and a driven output changes in mOutputPorts alone.
    explicit GSMIOmanager(const property_values& configuration);
    GSMIOmanager(const GSMIOmanager&) = delete;
    GSMIOmanager& operator=(const GSMIOmanager&) = delete;

    /// The run loop: GSM handler thread on the TAVLite card, label lists, and a refresh and an evaluation every 120 s
    /// or as soon as there is a connection to the object server again, then at most once a second. Never returns.
    void run();

    /// True on the TAVLite card. @param logger borrowed by the hardware identifier for this call
    bool isAMatch(cWlog* logger);

    // Called by the object client's delivery thread.
    void handleObjectAction(cObjectList* rx_msg) override;
    ~GSMIOmanager() override;

    // Called by the dispatch threads of the GSM service and of the send-request queue: they raise a flag.
    void EventOccured(ModemEvent& evt) override;
    void EventOccured(smsSendRequestEvent& evt) override;
    void set_sms(bool val) { m_Sms = val; }
    void set_RequestSmsSend(bool val) { m_RequestSmsSend = val; }

    // Port lists.

    /// Adds the labels of a trigger tree (@p trig) or of an action to the label lists; main thread, before the run
    /// loop.
    void update_lable_list(tavTrigger* t, bool trig);
    /// Replaces both port lists by the object server's answers; an answer that does not come leaves its list empty.
    /// Takes both locks; waits for the server as long as the client's get() does.
    void update_lists();
    /// The port with this label, or null; owned by the port list. Call with the evaluation mutex held and use the
    /// object no longer than it is. @p type is not looked at.
    cObjectPort* getInputs(const char* label, uint8_t type);
    cObjectDOutput* getOutputs(const char* label, uint8_t type);

    // Evaluation. Each takes part in an evaluation: call with the evaluation mutex held, but for check_trigger_values,
    // which takes it.

    void check_trigger_values();
    void handleConnection(tavConnection* conn, cGsmQManager* smsQHandler);
    eTrigState getTriggerState(tavTrigger* trigger);
    eTrigState handleTrigger(tavTrigger* trigger);
    eTrigState handleORtrigger(WList* trigLst);
    eTrigState handleANDtrigger(WList* trigLst);
    void setActionState(eTrigState state, tavTrigger* action, cGsmQManager* smsQHandler);

    // GSM handler thread.

    /// The thread's routine. @param thing the manager. Never returns.
    static void* create_gsm_handler(void* thing);
    /// One power pulse on the modem's power pin: 1.5 s high, then low. Nothing without the device or the pin.
    void toggle_GSM_power(cWlog* logger);
    /// Answers a send request with an evaluation of every connection, which posts none.
    void serveSendRequest(cWlog* logger);
    /// One SMS pass: reads the stored messages, obeys the unread ones, clears m_Sms and empties places 1 to 10.
    void handle_sms(Gsm* gsmObj, cEnumeratedList<cgsmMessageInfo>* gsmInfoList, cIOpairs* gsm_connection,
                    cWlog* logger);
    /// The GSM variant of the action step: sends alarm texts, or switches an output. Takes the evaluation mutex for the
    /// output alone: each text takes seconds, and meanwhile inputs drive outputs.
    void setActionState(eTrigState state, tavTrigger* action, cEnumeratedList<cgsmMessageInfo>* gsmInfoList,
                        Gsm* gsmObj);

protected:
    /// Holds the evaluation mutex for a block. What the thread logs meanwhile is written when it has let go.
    class Evaluating {
    public:
        explicit Evaluating(GSMIOmanager& manager) : m_lines(manager), m_lock(manager.mEvaluationMutex) {}

    private:
        LaterLog m_lines;
        ScopedLock<FairMutex> m_lock;
    };
    // The logger's, for whoever may be Evaluating.
    void debug(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void info(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void warn(const char* format, ...) __attribute__((format(printf, 2, 3)));

    /// Makes the client, with the manager as its listener. From then on messages may be delivered.
    void connectTo(const char* host, int port);
    void handle_event(cObjectList* rx_msg);
    /// Tries every record against one message, which is only read.
    void obey(Sms* sms, Gsm* gsmObj, cEnumeratedList<cgsmMessageInfo>* gsmInfoList, cIOpairs* gsm_connection,
              cWlog* logger);

    property_values mConfig_struct;
    static GSMIOmanager* mInstance;
    cObjectClient* mObjectClient; // owned; null in a manager that starts nothing
    WList* mOutputPortLabels;     // of cObjectDOutput*, owned
    WList* mOutputPorts;          // of cObjectDOutput*, owned; null until the first refresh
    cIOpairs* mConn;              // owned
    WList* mConnLst;              // of tavConnection*, owned; never null
    pthread_t mGsm_handler_thread;
    cGsmQManager* mSmsQHandler;         // owned; null but on the TAVLite card
    WList* mTriggerPortLabels;          // of cObjectPort*, owned
    WList* mTriggerPorts;               // of cObjectPort*, owned; null until the first refresh
    bool got_sms;                       // not used
    bool hasGsm;                        // decided by run
    std::atomic<bool> m_Sms;            // raised by event_thread, cleared by the GSM handler thread; true at start
    std::atomic<bool> m_RequestSmsSend; // raised by event2_thread, cleared by the GSM handler thread; true at start
    cWlog* isamatch_logger;             // owned
    pthread_mutex_t mPortListMutex;
    FairMutex mEvaluationMutex;

private:
    void readConfiguration();
    void attachSendRequestQueue();
    void waitForPoll(int64_t begun);

    void refreshPorts(WList*& ports, WList* labels, bool outputs);
    void fetchPorts(WList* ports, WList* labels, bool outputs);
    void logPort(cObjectPort* port, bool output);

    void updateInput(cObjectEvent* event);

    cObjectPort* inputOf(tavTrigger* leaf);
    cObjectDOutput* outputOf(tavTrigger* action);
    eTrigState firstOrLast(eTrigState deciding, WList* trigLst);
    void driveOutput(eTrigState state, tavTrigger* action, bool commanded);

    bool setupWithPulses(Gsm* gsmObj, cWlog* logger);

    void answerQuery(cgsmMessageInfo* record, const char* number, Gsm* gsmObj, cWlog* logger);
    void obeyOnOff(bool on, cgsmMessageInfo* record, Gsm* gsmObj, cEnumeratedList<cgsmMessageInfo>* gsmInfoList,
                   cIOpairs* gsm_connection, cWlog* logger);
    void sendAlarms(const char* label, cEnumeratedList<cgsmMessageInfo>* gsmInfoList, Gsm* gsmObj);

    PortIndex mInputIndex, mOutputIndex; // of mTriggerPorts and mOutputPorts
    // Of the label lists.
    std::unordered_set<std::string> mKnownTriggerLabels, mKnownOutputLabels;
    int mWakeFd; // eventfd that ends the poll loop's wait early
    // A send request waits for the GSM handler thread, which clears this; set under the evaluation mutex. True at
    // start, like m_RequestSmsSend.
    std::atomic<bool> mRequestUnserved;
};

#endif
