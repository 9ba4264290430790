// The GSM handler thread: set-up of the modem with power pulses, then SMS passes and send requests when its flags are
// set.
#include "GSMIOmanager.h"

#include "gsmIOpairs.h"
#include "scopedLock.h"
#include "sleepWhole.h"
#include "supervisor.h"
#include "velio.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/ioctl.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kSetupAttempts = 6;
constexpr useconds_t kPollMicroseconds = 1010;
constexpr std::chrono::milliseconds kPulse(1500);
constexpr char kPowerPin[] = "GSM_PWR";
constexpr int kMaxPins = 4096; // far more than any card has; a greater number is an error of the driver

// Finds the power pin in the driver's table. The last one of that name counts. False if there is none.
bool findPowerPin(int device, cWlog* logger, uint16_t& pin)
{
    const int count = ioctl(device, VEL_IO_PIN_COUNT);
    if (count <= 0)
        return false;
    if (count > kMaxPins) {
        logger->error("%s reports %d pins: too many, so the power pin is not used", VEL_IO_DEVICE, count);
        return false;
    }
    logger->debug("Looking for GSM pin \"%s\"", kPowerPin);
    std::vector<vel_io_pin_cfg> table(static_cast<size_t>(count), vel_io_pin_cfg{});
    if (ioctl(device, VEL_IO_PIN_TABLE, table.data()) <= 0)
        return false;

    bool found = false;
    for (size_t i = 0; i < table.size(); ++i) {
        vel_io_pin_cfg& entry = table[i];
        entry.pin_desc[sizeof entry.pin_desc - 1] = '\0';
        logger->debug("PIN DESC: %s, ID:%d\n", entry.pin_desc, static_cast<int>(i));
        if (strcmp(entry.pin_desc, kPowerPin) == 0) {
            found = true;
            pin = entry.pin_id;
            logger->debug("Found GSM pin %d level is:%d", entry.pin_id, entry.def_level);
        }
    }
    return found;
}

void setLevel(int device, uint16_t pin, uint16_t level, cWlog* logger)
{
    const vel_io_pin_status status = {pin, level};
    ssize_t written;
    do
        written = write(device, &status, sizeof status);
    while (written < 0 && errno == EINTR);
    if (written != static_cast<ssize_t>(sizeof status))
        logger->error("%s: level %d of pin %d could not be set: %s", VEL_IO_DEVICE, level, pin,
                      written < 0 ? strerror(errno) : "short write");
}

} // namespace

void GSMIOmanager::EventOccured(ModemEvent& /*evt*/)
{
    info("Modem event occured\n");
    set_sms(true);
}

void GSMIOmanager::EventOccured(smsSendRequestEvent& /*evt*/)
{
    info("Sms send request event occured\n");
    set_RequestSmsSend(true);
}

void* GSMIOmanager::create_gsm_handler(void* thing)
{
    auto* manager = static_cast<GSMIOmanager*>(thing);
    auto* logger = new cWlog("gsm_handler_tread");
    logger->debug("GSM HANDLER CREATED\n");
    Supervisor::watch(Supervisor::GSM_HANDLER);
    Heartbeat::within(Gsm::kLongestStep);

    // Never destroyed: the thread never ends.
    property_values config_struct(manager->mConfig_struct);
    auto* gsm_connection = new cIOpairs(config_struct.ioPairFile);
    cEnumeratedList<cgsmMessageInfo>* gsmInfoList = cgsmIOpairs().getGsmInfoList(config_struct.gsmconfigFile);
    if (gsmInfoList == nullptr)
        gsmInfoList = new cEnumeratedList<cgsmMessageInfo>();

    auto* gsmObj = new Gsm();
    const bool opened = gsmObj->initialiseGsm(config_struct.serialPortName, config_struct.simPin);
    if (!opened)
        Supervisor::setModem(std::string("no modem: ") + config_struct.serialPortName + " could not be opened");
    const bool setupCorr = opened && manager->setupWithPulses(gsmObj, logger);
    for (;;) {
        Heartbeat::within(Gsm::kLongestStep);
        if (setupCorr) {
            if (manager->m_Sms)
                manager->handle_sms(gsmObj, gsmInfoList, gsm_connection, logger);
            if (manager->m_RequestSmsSend)
                manager->serveSendRequest(logger);
        }
        usleep(kPollMicroseconds);
    }
}

// Sets up the modem, in up to six attempts, with a power pulse after each failure.
bool GSMIOmanager::setupWithPulses(Gsm* gsmObj, cWlog* logger)
{
    gsmObj->subscribe(this);
    for (int attempt = 0; attempt < kSetupAttempts; ++attempt) {
        Supervisor::setModem("modem set-up, attempt " + std::to_string(attempt + 1) + " of " +
                             std::to_string(kSetupAttempts));
        if (gsmObj->setupModem()) {
            logger->info("modem setup correctly");
            Supervisor::setModem("modem ready, " + gsmObj->inBrief());
            return true;
        }
        toggle_GSM_power(logger);
        logger->debug("modem setup incorrectly---may be power issue toggling power %d", attempt);
    }
    logger->error(
        "The modem could not be set up in %d attempts: no SMS is read or sent until the daemon is started again",
        kSetupAttempts);
    Supervisor::setModem("modem could not be set up");
    return false;
}

void GSMIOmanager::serveSendRequest(cWlog* logger)
{
    logger->debug("SEND REQUEST RECIEVED");
    check_trigger_values(); // posts no request while one is pending
    set_RequestSmsSend(false);
    mRequestUnserved = false;
}

void GSMIOmanager::toggle_GSM_power(cWlog* logger)
{
    const int device = open(VEL_IO_DEVICE, O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (device < 0) {
        logger->warn("%s: %s: the modem's power is not pulsed", VEL_IO_DEVICE, strerror(errno));
        return;
    }
    uint16_t pin = 0;
    if (findPowerPin(device, logger, pin)) {
        setLevel(device, pin, 1, logger);
        sleepWhole(kPulse);
        setLevel(device, pin, 0, logger);
    } else {
        logger->warn("%s has no pin \"%s\": the modem's power is not pulsed", VEL_IO_DEVICE, kPowerPin);
    }
    close(device);
}
