// Start-up and the run loop.
#include "GSMIOmanager.h"

#include "VelIdentifier.h"
#include "libraryExtras.h"
#include "properties.h"
#include "sleepWhole.h"
#include "supervisor.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace {

constexpr char kPropertiesPath[] = "/etc/tav/telnodriver.conf";
constexpr int kServerPort = 60000;
constexpr int kTavLiteHardware = 1;
constexpr int kPollPeriodMs = 120 * 1000;
constexpr int64_t kShortestPeriodMs = 1000;

int64_t monotonicMs()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

} // namespace

GSMIOmanager* GSMIOmanager::mInstance = nullptr;

void GSMIOmanager::start()
{
    if (mInstance != nullptr)
        return;
    mInstance = new GSMIOmanager();
    mInstance->run();
}

GSMIOmanager::GSMIOmanager(const property_values& configuration)
    : cWlog("GSMIOmanager"), mConfig_struct(configuration), mObjectClient(nullptr), mOutputPortLabels(new WList),
      mOutputPorts(nullptr), mConn(nullptr), mConnLst(new WList), mGsm_handler_thread(), mSmsQHandler(nullptr),
      mTriggerPortLabels(new WList), mTriggerPorts(nullptr), got_sms(false), hasGsm(false), m_Sms(true),
      m_RequestSmsSend(true), isamatch_logger(new cWlog("VelIdentifier")), mPortListMutex(),
      mWakeFd(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), mRequestUnserved(true)
{
    pthread_mutex_init(&mPortListMutex, nullptr);
}

GSMIOmanager::GSMIOmanager() : GSMIOmanager(property_values{})
{
    readConfiguration();
    Supervisor::begin();

    // Messages may arrive from here on: everything that they use exists.
    connectTo(mConfig_struct.host, kServerPort);

    mConn = new cIOpairs(mConfig_struct.ioPairFile);
    WList* connections = mConn->getConnectionLst();
    if (connections != nullptr) {
        const Evaluating evaluation(*this);
        delete mConnLst;
        mConnLst = connections;
    }
    Supervisor::setRules(mConnLst->size());
    Supervisor::run([client = mObjectClient] {
        return Supervisor::Server{libraryExtras::isConnected(*client), libraryExtras::undelivered(*client)};
    });
}

GSMIOmanager::~GSMIOmanager() = default;

void GSMIOmanager::debug(const char* format, ...)
{
    if (!LaterLog::mayTrace(*this))
        return;
    va_list arguments;
    va_start(arguments, format);
    LaterLog::add(*this, DEBUG, format, arguments);
    va_end(arguments);
}

void GSMIOmanager::info(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    LaterLog::add(*this, INFO, format, arguments);
    va_end(arguments);
}

void GSMIOmanager::warn(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    LaterLog::add(*this, WARN, format, arguments);
    va_end(arguments);
}

void GSMIOmanager::connectTo(const char* host, int port)
{
    mObjectClient = new cObjectClient();
    mObjectClient->addListener(this);
    libraryExtras::onReconnection(*mObjectClient, [wake = mWakeFd] {
        // Outputs, ports and inputs may have changed while the server was away: poll now.
        const uint64_t once = 1;
        (void)!::write(wake, &once, sizeof once);
    });
    if (!mObjectClient->start(host, port))
        error("The object client could not be started on %s", host);
}

void GSMIOmanager::readConfiguration()
{
    cProperties properties;
    snprintf(mConfig_struct.configFile, sizeof mConfig_struct.configFile, "%s", kPropertiesPath);
    (void)properties.load(mConfig_struct.configFile); // without the file, every key has its default
    cWlog::init(mConfig_struct.configFile);

    const auto keep = [&](const char* key, const char* defval, auto& field) {
        const char* value = properties.getString(key, defval);
        if (strlen(value) >= sizeof field)
            error("%s: %s has %zu characters, of which the first %zu are used", kPropertiesPath, key, strlen(value),
                  sizeof field - 1);
        strncpy(field, value, sizeof field - 1);
        field[sizeof field - 1] = '\0';
    };
    keep("host", "127.0.0.1", mConfig_struct.host);
    keep("ioPairFile", "/etc/tav/telnodriver.xml", mConfig_struct.ioPairFile);
    keep("serialPortName", "/dev/ttyS3", mConfig_struct.serialPortName);
    keep("gsmconfigFile", "/etc/tav/gsmconnections.xml", mConfig_struct.gsmconfigFile);
    keep("simPin", "1357", mConfig_struct.simPin);
}

bool GSMIOmanager::isAMatch(cWlog* logger)
{
    VelIdentifier identifier(logger);
    return identifier.getHardwareNumber() == kTavLiteHardware;
}

void GSMIOmanager::run()
{
    if (!isAMatch(isamatch_logger)) {
        info("Not TAVLite card... disabling GSM");
        hasGsm = false;
        Supervisor::setModem("no GSM on this card");
    } else if (isAMatch(isamatch_logger)) {
        hasGsm = true;
        info("TAVLite card");
    }

    debug("Threading\n");
    if (hasGsm) {
        attachSendRequestQueue();
        const int failed = pthread_create(&mGsm_handler_thread, nullptr, create_gsm_handler, this);
        if (failed != 0)
            error("The GSM handler thread could not be started: %s", strerror(failed));
    }
    debug("After Threading\n");

    {
        const Evaluating evaluation(*this); // the delivery thread may be walking the same lists, too
        mConnLst->reset();
        while (auto* connection = static_cast<tavConnection*>(mConnLst->get())) {
            update_lable_list(connection->getTrigger(), true);
            update_lable_list(connection->getAction(), false);
            mConnLst->step();
        }
    }

    Supervisor::watch(Supervisor::POLL);
    for (;;) {
        const int64_t begun = monotonicMs();
        Heartbeat::within(Supervisor::kLongestWork);
        debug("Polling Triggers");
        update_lists();
        check_trigger_values();
        Supervisor::ready();
        Heartbeat::within(std::chrono::milliseconds(kPollPeriodMs) + Supervisor::kLongestWork);
        waitForPoll(begun);
    }
}

// Comes before the first evaluation on this thread, so that evaluations find the queue, and the queue its listener.
void GSMIOmanager::attachSendRequestQueue()
{
    auto* queue = new cGsmQManager();
    queue->subscribe(this);
    const Evaluating evaluation(*this);
    mSmsQHandler = queue;
}

// Sleeps for the poll period, or until the object server is connected again. The next poll is at least a second after
// the one that has @p begun. A signal does not end the wait.
void GSMIOmanager::waitForPoll(int64_t begun)
{
    const int64_t end = monotonicMs() + kPollPeriodMs;
    for (;;) {
        const int64_t left = end - monotonicMs();
        if (left <= 0)
            return;
        pollfd wake = {mWakeFd, POLLIN, 0};
        const int ready = poll(&wake, 1, static_cast<int>(left));
        if (ready > 0) {
            const int64_t early = begun + kShortestPeriodMs - monotonicMs();
            if (early > 0)
                sleepWhole(std::chrono::milliseconds(std::min(early, kShortestPeriodMs)));
            uint64_t count;
            (void)!read(mWakeFd, &count, sizeof count);
            return;
        }
        if (ready < 0 && errno != EINTR)
            sleep(1); // the wait failed: poll again, but do not spin
    }
}
