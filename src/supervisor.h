// What the daemon tells the service manager that has started it.
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

/// Tells systemd that the daemon is ready, in one line what it is doing, and, where a watchdog is set, that its three
/// threads which matter live. A thread that is overdue stops the answers, so that the daemon is started again.
/// Where no manager asks (NOTIFY_SOCKET is not set) nothing is made, and every operation returns at once.
/// Threads: begin() is called before any other thread is started, watch() by the thread it is about, the rest by any.
///          Its own thread alone talks to the manager: no other ever waits for that.
/// Lock:    one of its own, held for a copy of the modem's text.
/// Errors:  without libsystemd the log has a warning, and nothing is made.
class Supervisor : private cWlog {
public:
    enum Thread { POLL, GSM_HANDLER, DELIVERY };

    /// Of one refresh, evaluation or event. Two answers of the object server take 5 s each at most; an event may wait
    /// as long for a refresh that is under way. This is six times that.
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
    /// Starts the supervisor's thread. @param look  called by it about once a second; waits for nothing
    static void run(std::function<Server()> look);
    /// The calling thread is watched from now on, by its Heartbeat.
    static void watch(Thread thread);

    /// Start-up is over.
    static void ready();
    static void setRules(std::size_t connections);
    /// @param text  such as "modem ready, -65 dBm"; what is not printable ASCII is shown as "?"
    static void setModem(const std::string& text);
    /// An SMS has come, now.
    static void smsCame();

private:
    using Clock = Heartbeat::Clock;
    using Notify = int (*)(int, const char*);

    Supervisor(Notify notify, Clock::duration watchdog);

    static void* thread(void* supervisor);
    [[noreturn]] void tell();
    std::string line(const Server& server, const char* hung);
    const char* hung(const Server& server, Clock::time_point now);

    static Supervisor* theOne; // null where no manager asks; lives as long as the process

    const Notify m_notify;
    const Clock::duration m_watchdog; // within which an answer is due; 0: none is
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
