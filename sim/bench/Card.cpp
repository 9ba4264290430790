#include "bench/Card.h"

#include "bench/Sandbox.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <libxml/parser.h>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace bench {

namespace {

constexpr char kModemLink[] = "/etc/tav/modem";
constexpr char kGpioTable[] = "/etc/tav/.gpio-table";
constexpr char kFaultPage[] = "/etc/tav/.fault-page";
constexpr char kLibraries[] = "/etc/tav/.libraries";
constexpr char kClockPage[] = "/etc/tav/.clock-page";
constexpr char kGpioReport[] = "/etc/tav/.gpio-report";
constexpr uint16_t kServerPort = 60000;

std::string configPath(const std::string& name)
{
    return std::string(kConfigFolder) + '/' + name;
}

std::string attribute(xmlNode* node, const char* name)
{
    xmlChar* value = xmlGetProp(node, reinterpret_cast<const xmlChar*>(name));
    std::string text = value != nullptr ? reinterpret_cast<const char*>(value) : "";
    xmlFree(value);
    return text;
}

// The labels of the details below a node, but those of a GSM action.
void gatherLabels(xmlNode* node, std::vector<std::string>& labels)
{
    for (xmlNode* child = node->children; child != nullptr; child = child->next) {
        if (child->type != XML_ELEMENT_NODE)
            continue;
        const std::string label = attribute(child, "io_label");
        if (!label.empty() && label.size() <= 31 && attribute(child, "dev_type") != "GSM" &&
            std::find(labels.begin(), labels.end(), label) == labels.end())
            labels.push_back(label);
        gatherLabels(child, labels);
    }
}

} // namespace

std::string readFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    if (!file || !(content << file.rdbuf()))
        throw Failure(path + " cannot be read");
    return content.str();
}

Card::Card(Tools tools, Pace pace) : m_time(pace, kClockPage), m_tools(std::move(tools))
{
    m_modemOptions.pin = "1357";
    m_modemOptions.link = kModemLink;
    // The daemon looks at an exchange when it has sent the command and once a second from then on: an answer that
    // begins a fifth into its second has come whole when it looks.
    m_modemOptions.delay = Milliseconds(200);
    m_settings.program = m_tools.daemon;
    sim::Tavd::Manners mean; // what no daemon may rely on, no scenario gives it unasked
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
    if (m_gpioHold >= 0)
        close(m_gpioHold); // the last writer: the reader sees the end
    if (m_gpioReader.joinable())
        m_gpioReader.join();
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
    DIR* entries = opendir(folder.c_str());
    if (entries == nullptr)
        throw Failure(folder + ": " + strerror(errno));
    std::vector<std::string> names;
    while (const dirent* entry = readdir(entries)) {
        struct stat kind {};
        if (stat((folder + '/' + entry->d_name).c_str(), &kind) == 0 && S_ISREG(kind.st_mode))
            names.emplace_back(entry->d_name);
    }
    closedir(entries);
    for (const std::string& name : names)
        writeConfigFile(name, readFile(folder + '/' + name));
    m_configured = true;
}

void Card::writeConfigFile(const std::string& name, const std::string& content)
{
    // A new file each time: the daemon never sees half of one.
    const std::string path = configPath(name), fresh = path + ".new";
    std::ofstream file(fresh, std::ios::binary | std::ios::trunc);
    file << content;
    file.close();
    if (!file || rename(fresh.c_str(), path.c_str()) != 0)
        throw Failure(path + ": " + strerror(errno));
}

void Card::removeConfigFile(const std::string& name)
{
    unlink(configPath(name).c_str());
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

void Card::usePortsOfPairFile()
{
    std::vector<std::string> inputs, outputs;
    const std::string path = configPath("telnodriver.xml");
    xmlDoc* document = xmlReadFile(path.c_str(), nullptr, XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING);
    xmlNode* root = document != nullptr ? xmlDocGetRootElement(document) : nullptr;
    for (xmlNode* connection = root != nullptr ? root->children : nullptr; connection != nullptr;
         connection = connection->next) {
        for (xmlNode* side = connection->children; side != nullptr; side = side->next) {
            const std::string name = side->name != nullptr ? reinterpret_cast<const char*>(side->name) : "";
            if (name == "trigger" || name == "action")
                gatherLabels(side, name == "trigger" ? inputs : outputs);
        }
    }
    xmlFreeDoc(document);

    std::vector<sim::Port> ports;
    for (const std::string& label : inputs) {
        sim::Port port;
        port.label = label;
        port.id = static_cast<uint32_t>(ports.size() + 1);
        if (std::find(outputs.begin(), outputs.end(), label) == outputs.end())
            ports.push_back(port);
    }
    for (const std::string& label : outputs) {
        sim::Port port;
        port.output = true;
        port.label = label;
        port.id = static_cast<uint32_t>(ports.size() + 1);
        port.type = 3;
        ports.push_back(port);
    }
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
        usePortsOfPairFile();
    if (m_serverAtStart && !m_started)
        startServer();
    startModem();
    for (const auto& listener : m_onStart)
        listener();

    putPropertiesAbove();
    listenToGpio();
    m_settings.environment = environment();
    const std::string wrong = m_daemon.start(m_settings);
    if (!wrong.empty())
        throw Failure(m_tools.daemon + ": " + wrong);
    m_time.watch(m_daemon.process());
    m_started = true;
}

// The first line of a key counts.
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

void Card::listenToGpio()
{
    if (m_gpioEnd < 0) {
        mkfifo(kGpioReport, 0600);
        m_gpioEnd = open(kGpioReport, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        m_gpioHold = open(kGpioReport, O_WRONLY | O_CLOEXEC);
        fcntl(m_gpioEnd, F_SETFL, 0);
        m_gpioReader = std::thread([this] { readGpioReport(); });
    }
}

// What the daemon finds in its environment: the libraries to be preloaded, and what they ask for.
std::vector<std::string> Card::environment()
{
    std::vector<std::string> variables = {std::string("VELIOSIM_REPORT=") + kGpioReport, m_time.variable()};
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

// Lines of the GPIO stand-in, on a thread of their own: "write PIN LEVEL REAL SEEN" is a level that was set.
void Card::readGpioReport()
{
    std::string partial;
    char bytes[4096];
    long long roseAt = 0;
    bool high = false;
    ssize_t length;
    while ((length = read(m_gpioEnd, bytes, sizeof bytes)) > 0 || (length < 0 && errno == EINTR)) {
        partial.append(bytes, length > 0 ? static_cast<size_t>(length) : 0);
        for (size_t end; (end = partial.find('\n')) != std::string::npos; partial.erase(0, end + 1)) {
            std::istringstream line(partial.substr(0, end));
            std::string kind;
            long long pin = 0, level = 0, realTime = 0, seen = 0;
            if (!(line >> kind >> pin >> level >> realTime >> seen) || kind != "write")
                continue;
            {
                std::lock_guard<std::mutex> lock(m_gpioMutex);
                ++m_levelWrites;
                if (level != 0)
                    roseAt = seen;
                else if (high)
                    m_pulses.push_back({Milliseconds((seen - roseAt) / 1000000), static_cast<int>(pin)});
            }
            high = level != 0;
            trace(Trace::Power, "pin " + std::to_string(pin) + (high ? " high" : " low"));
            if (m_modem)
                m_modem->setPowerKey(high);
        }
    }
    close(m_gpioEnd);
}

std::vector<Pulse> Card::pulses() const
{
    std::lock_guard<std::mutex> lock(m_gpioMutex);
    return m_pulses;
}

size_t Card::levelWrites() const
{
    std::lock_guard<std::mutex> lock(m_gpioMutex);
    return m_levelWrites;
}

} // namespace bench
