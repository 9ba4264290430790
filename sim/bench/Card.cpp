#include "bench/Card.h"

#include "bench/Config.h"

#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace bench {

namespace {

constexpr char kModemLink[] = "/etc/tav/modem";
constexpr char kGpioTable[] = "/etc/tav/.gpio-table";
constexpr char kFaultPage[] = "/etc/tav/.fault-page";
constexpr char kLibraries[] = "/etc/tav/.libraries";
constexpr char kClockPage[] = "/etc/tav/.clock-page";
constexpr uint16_t kServerPort = 60000;

} // namespace

Card::Card(Tools tools, Pace pace) : m_time(pace, kClockPage), m_tools(std::move(tools))
{
    m_modemOptions.pin = "1357";
    m_modemOptions.link = kModemLink;
    // The daemon looks for the reply once a second after the command. A reply that begins after 200 ms is complete by
    // then.
    m_modemOptions.delay = Milliseconds(200);
    m_settings.program = m_tools.daemon;
    sim::Tavd::Manners mean; // the least that the daemon may rely on
    mean.reversed = true;
    mean.acknowledges = false;
    mean.strange = true;
    m_server.setManners(mean);
    m_server.onChange([this](const sim::Port& port) {
        for (const auto& listener : m_onPort)
            listener(port);
        if (port.output) {
            {
                std::lock_guard<std::mutex> lock(m_drivenMutex);
                m_driven[port.label] = Time::real();
            }
            trace(Trace::Output,
                  port.label + ' ' + sim::stateWord(port.state) + (port.toggled == 4 ? "" : " (not by the daemon)"));
        } else {
            trace(Trace::Input, port.label + ' ' + sim::statusWord(port.status));
        }
    });
    m_daemon.onLine([this](bool standardOutput, const std::string& line) {
        trace(standardOutput ? Trace::StandardOutput : Trace::Log, line);
    });
    m_time.onStill([this] {
        if (m_modem)
            m_modem->flush();
    });
    m_time.onMove([this] { return m_faults.interrupt(); });
    setModel(true);
}

Card::~Card()
{
    killDaemon();
    m_gpio.stop();
    m_modem.reset();
    m_server.stop();
}

void Card::trace(Trace kind, const std::string& text) const
{
    for (const auto& listener : m_trace)
        listener(kind, text);
}

Nanoseconds Card::lastDriven(const std::string& label) const
{
    std::lock_guard<std::mutex> lock(m_drivenMutex);
    const auto found = m_driven.find(label);
    return found != m_driven.end() ? found->second : 0;
}

void Card::setModel(bool tavLite)
{
    writeConfigFile("hardware", tavLite ? "1\n" : "0\n");
}

void Card::useConfig(const std::string& folder)
{
    copyConfig(folder);
    m_configured = true;
}

void Card::setProperty(const std::string& key, const std::string& value)
{
    m_properties[key] = value;
}

void Card::usePorts(std::vector<sim::Port> ports)
{
    m_portsGiven = true;
    m_server.setPorts(std::move(ports));
}

void Card::startServer()
{
    std::string error;
    if (!m_serverRuns && !m_server.start("127.0.0.1", kServerPort, &error))
        throw Failure("the object server cannot be started: " + error);
    m_serverRuns = true;
}

void Card::stopServer()
{
    m_server.stop();
    m_serverRuns = false;
}

ModemSim& Card::modem()
{
    if (!m_modem)
        throw Failure("there is no modem: start it first, or it was said to be absent");
    return *m_modem;
}

void Card::sms(const std::string& number, const std::string& text)
{
    ModemSim& receiver = modem();
    trace(Trace::SmsIn, number + " \"" + text + '"');
    receiver.sms(number, text);
}

void Card::startModem()
{
    if (m_modem || !m_modemPresent)
        return;
    m_modem = std::make_unique<ModemSim>(m_modemOptions);
    for (const modemsim::StoredSms& message : m_storedBefore)
        m_modem->store(message);
    m_modem->observe(
        [this](const modemsim::TrafficLine& line) {
            const bool to = line.direction == modemsim::TrafficLine::ToModem;
            if (to)
                killIfDue(line.text);
            trace(Trace::ModemTalk, (to ? "> " : "< ") + modemsim::visible(line.text));
        },
        [this](const modemsim::SentSms& sms) { trace(Trace::SmsOut, sms.number + " \"" + sms.text + '"'); });
}

void Card::start()
{
    if (!m_configured)
        throw Failure("no configuration: say config FOLDER, or use --config");
    if (m_daemon.running())
        throw Failure("the daemon runs already");
    if (!m_portsGiven && !m_started)
        m_server.setPorts(portsOfPairFile());
    if (m_serverAtStart && !m_started)
        startServer();
    startModem();
    for (const auto& listener : m_onStart)
        listener();

    putPropertiesAbove();
    m_gpio.listen([this](int pin, bool high) {
        trace(Trace::Power, "pin " + std::to_string(pin) + (high ? " high" : " low"));
        if (m_modem)
            m_modem->setPowerKey(high);
    });
    m_settings.environment = environment();
    const std::string wrong = m_daemon.start(m_settings);
    if (!wrong.empty())
        throw Failure(m_tools.daemon + ": " + wrong);
    m_time.watch(m_daemon.process());
    m_started = true;
}

// The daemon takes the first line of a key, so these go to the top.
void Card::putPropertiesAbove()
{
    if (m_properties.find("serialPortName") == m_properties.end())
        m_properties["serialPortName"] = kModemLink;
    const std::string path = configPath("telnodriver.conf");
    if (access(path.c_str(), R_OK) == 0 && !m_started) {
        std::string above;
        for (const auto& property : m_properties)
            above += property.first + '=' + property.second + '\n';
        writeConfigFile("telnodriver.conf", above + readFile(path));
    }
}

// The daemon's environment: the preloaded libraries and their variables.
std::vector<std::string> Card::environment()
{
    std::vector<std::string> variables = {std::string("VELIOSIM_REPORT=") + GpioReport::kPath, m_time.variable()};
    if (!m_gpioTable.empty()) {
        writeConfigFile(".gpio-table", m_gpioTable);
        variables.push_back(std::string("VELIOSIM_TABLE=") + kGpioTable);
    }
    // The loader splits the list at blanks and colons, which the folder's own name may have.
    unlink(kLibraries);
    if (symlink(m_tools.libraries.c_str(), kLibraries) != 0)
        throw Failure(std::string(kLibraries) + ": " + strerror(errno));
    const std::string folder = std::string(kLibraries) + '/';
    std::string preload = folder + "libbenchclock.so:" + folder + "libveliosim.so";
    m_findsLeaks = readFile(m_tools.daemon).find("__lsan_do_recoverable_leak_check") != std::string::npos;
    if (m_findsLeaks)
        useFaults();
    if (m_faults.prepared()) {
        variables.push_back(std::string("FAULTSHIM_PAGE=") + kFaultPage);
        preload = folder + "libfaultshim.so:" + preload;
    }
    variables.push_back("LD_PRELOAD=" + preload);
    return variables;
}

void Card::killAt(const std::string& prefix)
{
    std::lock_guard<std::mutex> lock(m_killMutex);
    m_killAt = prefix;
}

// On the modem's thread, before it answers.
void Card::killIfDue(const std::string& command)
{
    std::lock_guard<std::mutex> lock(m_killMutex);
    if (m_killAt.empty() || command.compare(0, m_killAt.size(), m_killAt) != 0)
        return;
    m_daemon.strike();
    m_killAt.clear();
}

void Card::killDaemon()
{
    m_faults.daemonEnds();
    m_daemon.kill();
}

void Card::useFaults()
{
    m_faults.prepare(kFaultPage);
}

void Card::setDescriptors(long most)
{
    m_settings.descriptors = most;
    m_daemon.limitDescriptors(most);
}

void Card::checkSanitizers()
{
    const bool leaks = m_findsLeaks && m_daemon.running() && !m_faults.withoutLeaks(std::chrono::seconds(60));
    if (leaks || !m_daemon.sanitizerReport().empty())
        throw Failure(leaks ? "the daemon has lost memory" : "a sanitizer found a fault in the daemon");
}

} // namespace bench
