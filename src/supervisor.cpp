// The supervisor's thread, and the way to libsystemd.
#include "supervisor.h"

#include "sleepWhole.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <pthread.h>
#include <systemd/sd-daemon.h>

namespace {

constexpr std::chrono::seconds kLook(1);
constexpr int kAnswers = 3; // in the time within which one is due
constexpr const char* kThreads[] = {"poll", "gsm_handler", "delivery"};

// Loaded, not linked: with the libraries that it needs it would cost every daemon 0.7 MiB of memory.
template <typename Function> Function* fromLibrary(void* library, const char* name)
{
    return library != nullptr ? reinterpret_cast<Function*>(dlsym(library, name)) : nullptr;
}

// "14:03", with the date if that was not today.
std::string timeOfDay(time_t time)
{
    const time_t now = ::time(nullptr);
    tm then = {}, today = {};
    localtime_r(&time, &then);
    localtime_r(&now, &today);
    char text[32];
    const bool sameDay = then.tm_yday == today.tm_yday && then.tm_year == today.tm_year;
    return strftime(text, sizeof text, sameDay ? "%H:%M" : "%Y-%m-%d %H:%M", &then) > 0 ? text : "";
}

} // namespace

Supervisor* Supervisor::theOne = nullptr;

Supervisor::DeliveryWork::DeliveryWork()
{
    watch(DELIVERY);
    Heartbeat::within(kLongestWork);
}

Supervisor::Supervisor(Notify notify, Clock::duration watchdog)
    : cWlog("Supervisor"), m_notify(notify), m_watchdog(watchdog)
{
}

void Supervisor::begin()
{
    if (theOne != nullptr || getenv("NOTIFY_SOCKET") == nullptr)
        return;
    void* const library = dlopen("libsystemd.so.0", RTLD_NOW | RTLD_LOCAL);
    auto* const notify = fromLibrary<decltype(sd_notify)>(library, "sd_notify");
    auto* const watchdogEnabled = fromLibrary<decltype(sd_watchdog_enabled)>(library, "sd_watchdog_enabled");
    if (notify == nullptr || watchdogEnabled == nullptr) {
        const char* const reason = dlerror();
        cWlog("Supervisor").warn("The service manager is told nothing: %s", reason != nullptr ? reason : "");
        return;
    }
    uint64_t microseconds = 0;
    const bool asked = watchdogEnabled(0, &microseconds) > 0;
    theOne = new Supervisor(notify, std::chrono::microseconds(asked ? microseconds : 0));
}

void Supervisor::run(std::function<Server()> look)
{
    if (theOne == nullptr)
        return;
    theOne->m_look = std::move(look);
    pthread_t made;
    const int failed = pthread_create(&made, nullptr, thread, theOne);
    if (failed != 0)
        theOne->error("The thread that tells the service manager could not be started: %s", strerror(failed));
}

void Supervisor::watch(Thread thread)
{
    if (theOne == nullptr)
        return;
    if (theOne->m_beats[thread].adopt() && thread != POLL) // the main thread's name is the process's
        pthread_setname_np(pthread_self(), kThreads[thread]);
}

void Supervisor::ready()
{
    if (theOne != nullptr)
        theOne->m_ready = true;
}

void Supervisor::setRules(std::size_t connections)
{
    if (theOne != nullptr)
        theOne->m_rules = connections;
}

void Supervisor::setModem(const std::string& text)
{
    if (theOne == nullptr)
        return;
    std::string shown = text;
    std::replace_if(
        shown.begin(), shown.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    const std::lock_guard<std::mutex> held(theOne->m_modemLock);
    theOne->m_modem = shown;
}

void Supervisor::smsCame()
{
    if (theOne != nullptr)
        theOne->m_lastSms = time(nullptr);
}

void* Supervisor::thread(void* supervisor)
{
    static_cast<Supervisor*>(supervisor)->tell();
    return nullptr;
}

// The supervisor's thread: sends the line when it has changed, and answers the watchdog while no thread hangs.
void Supervisor::tell()
{
    tzset();
    const auto pause = m_watchdog.count() > 0 ? std::min<Clock::duration>(kLook, m_watchdog / kAnswers) : kLook;
    bool toldReady = false;
    bool loggedHung = false;
    std::string toldLine;
    Clock::time_point nextAnswer;
    for (;; sleepWhole(std::chrono::duration_cast<std::chrono::microseconds>(pause))) {
        const Server server = m_look();
        const auto now = Clock::now();
        const char* const hanging = hung(server, now);
        const std::string wanted = line(server, hanging);
        const bool nowReady = m_ready && !toldReady;

        std::string message;
        if (nowReady)
            message += "READY=1\n";
        if (wanted != toldLine)
            message += "STATUS=" + wanted + '\n';
        if (m_watchdog.count() > 0 && hanging == nullptr && now >= nextAnswer) {
            message += "WATCHDOG=1\n";
            nextAnswer = now + m_watchdog / kAnswers;
        }
        if (!message.empty() && m_notify(0, message.c_str()) > 0) { // else once more at the next look
            toldReady = toldReady || nowReady;
            toldLine = wanted;
        }
        // The log last: the thread that hangs may hold it.
        if (hanging != nullptr && !loggedHung)
            error("The %s thread hangs: the service manager's watchdog is not answered", hanging);
        loggedHung = hanging != nullptr;
    }
}

// "object server connected, 12 rules; modem ready, -65 dBm, NET; last SMS 14:03"
std::string Supervisor::line(const Server& server, const char* hanging)
{
    std::string text;
    if (hanging != nullptr)
        text = std::string("the ") + hanging + " thread hangs; ";
    const std::size_t rules = m_rules;
    text += server.connected ? "object server connected, " : "object server not connected, ";
    text += std::to_string(rules) + (rules == 1 ? " rule" : " rules");
    {
        const std::lock_guard<std::mutex> held(m_modemLock);
        if (!m_modem.empty())
            text += "; " + m_modem;
    }
    const time_t sms = m_lastSms;
    if (sms != 0)
        text += "; last SMS " + timeOfDay(sms);
    return text;
}

// The name of a thread that hangs, or null. The delivery thread also hangs if a message waits and it does not move.
const char* Supervisor::hung(const Server& server, Clock::time_point now)
{
    for (std::size_t i = 0; i < m_beats.size(); ++i) {
        if (m_beats[i].isOverdue(now))
            return kThreads[i];
    }
    const uint64_t marks = m_beats[DELIVERY].marks();
    if (server.undelivered == 0 || marks != m_deliveryMarks)
        m_deliverySeen = now;
    m_deliveryMarks = marks;
    return now - m_deliverySeen > kLongestWork ? kThreads[DELIVERY] : nullptr;
}
