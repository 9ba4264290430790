// The whole card on a desk: object server, modem, GPIO driver, configuration, and the daemon among them.
#ifndef SIM_BENCH_CARD_H
#define SIM_BENCH_CARD_H

#include "bench/Daemon.h"
#include "bench/Faults.h"
#include "bench/GpioReport.h"
#include "bench/Scenario.h"
#include "bench/Time.h"
#include "bench/Tools.h"
#include "modem/ModemSim.h"
#include "tavd/Tavd.h"

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace bench {

/// The subject of a trace line, in the order of printing: causes before effects.
enum class Trace { Input, SmsIn, Power, ModemTalk, SmsOut, Output, StandardOutput, Log };

/// Threads: the thread that makes it calls every operation, and moves the clock. Listeners are called by the
/// simulators' threads, too.
class Card {
public:
    Card(Tools tools, Pace pace);
    ~Card();
    Card(const Card&) = delete;
    Card& operator=(const Card&) = delete;

    /// Each of these adds a listener, before start().
    void onTrace(std::function<void(Trace, const std::string&)> listener) { m_trace.push_back(std::move(listener)); }

    /// Called after every change of a port, by the thread that changed it.
    void onPort(std::function<void(const sim::Port&)> listener) { m_onPort.push_back(std::move(listener)); }

    /// Called by start() when server and modem run, before the daemon starts.
    void onStart(std::function<void()> listener) { m_onStart.push_back(std::move(listener)); }

    // Before start() ---------------------------------------------------------------------------------------------

    void setModel(bool tavLite);
    /// Makes /etc/tav a copy of @p folder. @throws Failure
    void useConfig(const std::string& folder);
    /// Sets a property, whatever the properties file says. Takes effect at the first start().
    void setProperty(const std::string& key, const std::string& value);
    /// Without it, the server has the ports that the pair file names.
    void usePorts(std::vector<sim::Port> ports);
    modemsim::Options& modemOptions() { return m_modemOptions; }
    /// A message that the SIM holds when the modem is switched on.
    void storeBeforeStart(const modemsim::StoredSms& message) { m_storedBefore.push_back(message); }
    void setModemPresent(bool present) { m_modemPresent = present; }
    void setGpio(const std::string& table) { m_gpioTable = table; }
    void setServerAtStart(bool on) { m_serverAtStart = on; }
    /// Before the start or while it runs.
    void setDescriptors(long most);
    /// Starts the daemon with the fault library. @throws Failure
    void useFaults();
    void setArgument(const std::string& argument) { m_settings.arguments = {argument}; }

    /// Starts the server and the modem, unless they run, and then the daemon. @throws Failure
    void start();
    /// Sends SIGKILL to the daemon. The server and the modem keep running.
    void killDaemon();
    /// Sends SIGKILL to the daemon, once, when the modem receives a command or text that begins with @p prefix. The
    /// modem obeys it, but the daemon does not see the answer.
    void killAt(const std::string& prefix);

    // While it runs ----------------------------------------------------------------------------------------------

    sim::Tavd& server() { return m_server; }
    void startServer();
    void stopServer();
    bool serverRuns() const { return m_serverRuns; }
    /// @throws Failure before the modem is there
    ModemSim& modem();
    /// An SMS arrives. @throws Failure before the modem is there
    void sms(const std::string& number, const std::string& text);
    size_t commandCount() const { return m_modem ? m_modem->commands().size() : 0; }
    size_t sentCount() const { return m_modem ? m_modem->sentCount() : 0; }
    Daemon& daemon() { return m_daemon; }
    /// Works after useFaults().
    Faults& faults() { return m_faults; }
    /// Looks for leaks if the daemon was built with the address sanitizer. @throws Failure if there are any, or if a
    /// sanitizer has reported anything
    void checkSanitizers();
    bool started() const { return m_started; }
    std::vector<Pulse> pulses() const { return m_gpio.pulses(); }

    Time& time() { return m_time; }
    /// The time, by the machine's clock, at which output @p label was last driven; 0 if never.
    Nanoseconds lastDriven(const std::string& label) const;

private:
    void startModem();
    void putPropertiesAbove();
    std::vector<std::string> environment();
    void killIfDue(const std::string& command);
    void trace(Trace kind, const std::string& text) const;

    Time m_time; // made first and destroyed last: the others have threads
    Tools m_tools;
    std::vector<std::function<void(Trace, const std::string&)>> m_trace;
    std::vector<std::function<void(const sim::Port&)>> m_onPort;
    std::vector<std::function<void()>> m_onStart;
    bool m_configured = false, m_serverAtStart = true, m_serverRuns = false, m_modemPresent = true, m_started = false;
    bool m_portsGiven = false, m_findsLeaks = false;
    std::map<std::string, std::string> m_properties;
    std::string m_gpioTable;
    Daemon::Settings m_settings;

    sim::Tavd m_server;
    modemsim::Options m_modemOptions;
    std::vector<modemsim::StoredSms> m_storedBefore;
    std::unique_ptr<ModemSim> m_modem;
    Daemon m_daemon;
    Faults m_faults;

    mutable std::mutex m_drivenMutex; // guards when each output was driven
    std::map<std::string, Nanoseconds> m_driven;

    std::mutex m_killMutex; // guards what the daemon is to be killed at; empty: nothing
    std::string m_killAt;

    GpioReport m_gpio;
};

} // namespace bench

#endif
