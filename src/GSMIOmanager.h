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

/// The configuration from the properties file. Each text is cut to its field, and terminated.
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
///   cursors of the connection and trigger lists, and every port object from getInputs and getOutputs during its use.
/// - mPortListMutex: mTriggerPorts and mOutputPorts (pointers, lists and cursors), their indexes, and the inputs' alarm
///   states. Everything but the cursors changes only while both mutexes are held, so that an evaluation reads it
///   without this one.
class GSMIOmanager : public cWlog, public cObjectListener, public EventNotifier {
public:
    /// The state of a trigger; OFFLINE gives no state, so that nothing is done. INVERSE is never produced.
    enum eTrigState { RESET = 0, SET = 1, OFFLINE = 2, INVERSE = 3 };

    /// Makes the one manager and runs it. Returns only if there already is one.
    static void start();

    /// Reads "/etc/tav/telnodriver.conf", connects to the object server and reads the I/O pair file.
    GSMIOmanager();

    /// A passive manager, for the configuration checker and for tests: it reads no file and starts no client or thread.
    /// Derive from it, fill mConnLst, mTriggerPorts and mOutputPorts (the last two are null at first), and call it on
    /// one thread. A refresh then finds no port. Driving an output changes its object in mOutputPorts and nothing else.
    explicit GSMIOmanager(const property_values& configuration);
    GSMIOmanager(const GSMIOmanager&) = delete;
    GSMIOmanager& operator=(const GSMIOmanager&) = delete;

    /// Starts the GSM handler thread on the TAVLite card and fills the label lists. Then refreshes the port lists and
    /// evaluates every 120 s, and when the object server is connected again (at most once a second). Never returns.
    void run();

    /// @return whether this is the TAVLite card. @param logger  for the hardware identifier, during this call
    bool isAMatch(cWlog* logger);

    // Object client's delivery thread.
    void handleObjectAction(cObjectList* rx_msg) override;
    ~GSMIOmanager() override;

    // Dispatch threads of the GSM service and of the send-request queue. Each sets a flag.
    void EventOccured(ModemEvent& evt) override;
    void EventOccured(smsSendRequestEvent& evt) override;
    void set_sms(bool val) { m_Sms = val; }
    void set_RequestSmsSend(bool val) { m_RequestSmsSend = val; }

    // Port lists.

    /// Adds the labels of a trigger tree (@p trig is true) or of an action to a label list. Main thread, before the
    /// loop of run().
    void update_lable_list(tavTrigger* t, bool trig);
    /// Fetches both port lists from the object server. A list without an answer is empty. Takes both locks, and may
    /// wait as long as the client's get().
    void update_lists();
    /// @return the port with this label, or null. The port list owns it. Hold the evaluation mutex during the call and
    /// as long as the port is used. @p type is ignored.
    cObjectPort* getInputs(const char* label, uint8_t type);
    cObjectDOutput* getOutputs(const char* label, uint8_t type);

    // Evaluation. check_trigger_values takes the evaluation mutex; call the others with it held.

    void check_trigger_values();
    void handleConnection(tavConnection* conn, cGsmQManager* smsQHandler);
    eTrigState getTriggerState(tavTrigger* trigger);
    eTrigState handleTrigger(tavTrigger* trigger);
    eTrigState handleORtrigger(WList* trigLst);
    eTrigState handleANDtrigger(WList* trigLst);
    void setActionState(eTrigState state, tavTrigger* action, cGsmQManager* smsQHandler);

    // GSM handler thread.

    /// Body of the thread. @param thing  the manager. Never returns.
    static void* create_gsm_handler(void* thing);
    /// Gives one power pulse on the modem's power pin: 1.5 s high, then low. Does nothing without the device or the
    /// pin.
    void toggle_GSM_power(cWlog* logger);
    /// Serves a send request: evaluates every connection, without posting another request.
    void serveSendRequest(cWlog* logger);
    /// One SMS pass: lists the stored messages, obeys the unread ones, clears m_Sms and deletes places 1 to 10.
    void handle_sms(Gsm* gsmObj, cEnumeratedList<cgsmMessageInfo>* gsmInfoList, cIOpairs* gsm_connection,
                    cWlog* logger);
    /// The action of an SMS command: sends alarm texts, or switches an output. Takes the evaluation mutex only to
    /// switch: a text takes seconds, and inputs must drive outputs meanwhile.
    void setActionState(eTrigState state, tavTrigger* action, cEnumeratedList<cgsmMessageInfo>* gsmInfoList,
                        Gsm* gsmObj);

protected:
    /// Holds the evaluation mutex for a block. Lines that the thread logs meanwhile are written after the release.
    class Evaluating {
    public:
        explicit Evaluating(GSMIOmanager& manager) : m_lines(manager), m_lock(manager.mEvaluationMutex) {}

    private:
        LaterLog m_lines;
        ScopedLock<FairMutex> m_lock;
    };
    // Like the logger's, but usable while Evaluating.
    void debug(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void info(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void warn(const char* format, ...) __attribute__((format(printf, 2, 3)));

    /// Makes and starts the client, with the manager as its listener. Messages may arrive from then on.
    void connectTo(const char* host, int port);
    void handle_event(cObjectList* rx_msg);
    /// Obeys one message for every record that it matches. @p sms is only read.
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
    bool got_sms;                       // unused
    bool hasGsm;                        // set by run
    std::atomic<bool> m_Sms;            // set by event_thread, cleared by the GSM handler thread; true at start
    std::atomic<bool> m_RequestSmsSend; // set by event2_thread, cleared by the GSM handler thread; true at start
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

    static const char* word(bool set) { return set ? "SET" : "CLEARED"; } // of the trace

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
    int mWakeFd; // eventfd; ends the wait of run's loop
    // A send request is pending. Set under the evaluation mutex, cleared by the GSM handler thread; true at start.
    std::atomic<bool> mRequestUnserved;
};

#endif
