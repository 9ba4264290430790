// What the daemon reports to the service manager.
#ifndef SUPERVISOR_H
#define SUPERVISOR_H

#include "cWlog.h"
#include "heartbeat.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <functional>
#include <mutex>
#include <string>

/// Reports to systemd that the daemon is ready, and a status line. Answers the watchdog, if one is set, until one of
/// the three watched threads is overdue; systemd then restarts the daemon. Without a manager (NOTIFY_SOCKET is not set)
/// there is no supervisor, and every operation returns at once. Threads: main calls begin() before it starts other
/// threads. Each watched thread calls watch(); any thread may call the
///          rest. Only the supervisor's own thread talks to the manager, so that no other waits for it.
/// Lock:    its own, held to copy the modem's text.
/// Errors:  without libsystemd the log has a warning, and there is no supervisor.
class Supervisor : private cWlog {
public:
    enum Thread { POLL, GSM_HANDLER, DELIVERY };

    /// Limit for one refresh, evaluation or event. Two answers of the object server take up to 5 s each, and an event
    /// may have to wait for a refresh. The limit is six times as long.
    static constexpr std::chrono::seconds kLongestWork{60};

    struct Server {
        bool connected;
        std::size_t undelivered; ///< messages that the delivery thread has yet to take
    };

    /// Marks the delivery thread as working for the length of a block.
    class DeliveryWork {
    public:
        DeliveryWork();
        ~DeliveryWork() { Heartbeat::idle(); }
        DeliveryWork(const DeliveryWork&) = delete;
        DeliveryWork& operator=(const DeliveryWork&) = delete;
    };

    /// Makes the one supervisor, if a manager asks for it.
    static void begin();
    /// Starts the supervisor's thread. @param look  called by it about once a second; must not block
    static void run(std::function<Server()> look);
    /// Watches the calling thread from now on, by its Heartbeat.
    static void watch(Thread thread);

    /// Reports that start-up is complete.
    static void ready();
    static void setRules(std::size_t connections);
    /// @param text  such as "modem ready, -65 dBm"; any byte but printable ASCII becomes "?"
    static void setModem(const std::string& text);
    /// Notes the time of an SMS.
    static void smsCame();

private:
    using Clock = Heartbeat::Clock;
    using Notify = int (*)(int, const char*);

    Supervisor(Notify notify, Clock::duration watchdog);

    static void* thread(void* supervisor);
    [[noreturn]] void tell();
    std::string line(const Server& server, const char* hung);
    const char* hung(const Server& server, Clock::time_point now);

    static Supervisor* theOne; // null without a manager; never destroyed

    const Notify m_notify;
    const Clock::duration m_watchdog; // time within which an answer is due; 0 without a watchdog
    std::array<Heartbeat, 3> m_beats; // by Thread
    std::function<Server()> m_look;

    std::atomic<bool> m_ready{false};
    std::atomic<std::size_t> m_rules{0};
    std::atomic<time_t> m_lastSms{0}; // 0: none yet
    std::mutex m_modemLock;           // guards m_modem
    std::string m_modem;

    // Of the supervisor's thread.
    uint64_t m_deliveryMarks = 0;
    Clock::time_point m_deliverySeen;
};

#endif
