#include "web/Desk.h"

#include "bench/Config.h"
#include "bench/Sandbox.h"
#include "web/Text.h"

#include <algorithm>
#include <array>

using nlohmann::json;
using std::chrono::milliseconds;

namespace web {

std::atomic<bool> Desk::s_stop{false};

namespace {

constexpr size_t kMostJobs = 200;
constexpr milliseconds kPatience(20000); // of a viewer for the end of its command
constexpr milliseconds kLook(20);

const char* simWord(modemsim::SimState state)
{
    static const std::array<const char*, 7> words = {"absent",    "ready",     "needs its PIN", "needs its PUK",
                                                     "phone PIN", "phone PUK", "blocked"};
    return words.at(static_cast<size_t>(state));
}

json stateOf(const ModemSim::Status& status)
{
    json stored = json::array();
    for (const modemsim::StoredSms& sms : status.stored) {
        if (stored.size() < 50)
            stored.push_back({{"place", sms.place}, {"number", shown(sms.number, 40)}, {"text", shown(sms.text, 200)}});
    }
    return {{"powered", status.powered},
            {"pluggedIn", status.pluggedIn},
            {"inUse", status.inUse},
            {"silent", status.silent},
            {"registered", status.registered},
            {"sim", simWord(status.sim)},
            {"pinTries", status.pinTries},
            {"pukTries", status.pukTries},
            {"signal", status.signal},
            {"errorRate", status.errorRate},
            {"operator", shown(status.operatorName, 40)},
            {"delay", status.delay.count()},
            {"places", status.places},
            {"used", status.stored.size()},
            {"held", status.held},
            {"stored", stored}};
}

// Makes a happening of a trace line. Ports have a listener of their own.
void tellTrace(Hub& hub, bench::Trace kind, const std::string& text)
{
    switch (kind) {
    case bench::Trace::ModemTalk:
        hub.tell(text[0] == '>' ? Happening::ToModem : Happening::FromModem, text.substr(2));
        break;
    case bench::Trace::SmsOut: { // NUMBER "TEXT"
        const size_t blank = text.find(' ');
        hub.tell(Happening::SmsOut, text.substr(blank + 2, text.size() - blank - 3), text.substr(0, blank));
        break;
    }
    case bench::Trace::Power:
        hub.tell(Happening::Power, text);
        break;
    case bench::Trace::Log:
        hub.tell(Happening::Log, text);
        break;
    case bench::Trace::StandardOutput:
        hub.tell(Happening::Print, text);
        break;
    default:
        break;
    }
}

bool samePorts(const std::vector<sim::Port>& some, const std::vector<sim::Port>& others)
{
    return std::equal(some.begin(), some.end(), others.begin(), others.end(),
                      [](const sim::Port& one, const sim::Port& other) {
                          return one.output == other.output && one.label == other.label;
                      });
}

} // namespace

Desk::Desk(bench::Card& card, Hub& hub) : m_card(card), m_hub(hub)
{
    listen();
    m_modemWatch = std::thread([this] { watchModem(); });
}

Desk::~Desk()
{
    m_end = true;
    m_modemWatch.join();
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (Job& job : m_jobs)
        job.result.set_value("The bench has ended.");
}

void Desk::listen()
{
    m_card.onPort([this](const sim::Port& port) { m_hub.tell(port); });
    m_card.onTrace([this](bench::Trace kind, const std::string& text) { tellTrace(m_hub, kind, text); });
}

// Asks for the modem's state on a thread of its own, since a line of the scenario may take long.
void Desk::watchModem()
{
    giveWay();
    while (!m_end) {
        if (const ModemSim* modem = m_modem)
            m_hub.set("modem", stateOf(modem->status()));
        std::this_thread::sleep_for(10 * kLook);
    }
}

bool Desk::run(bench::Player& player, const std::string& file, std::vector<std::string> lines)
{
    m_player = &player;
    m_lines = std::move(lines);
    player.onNote([this](const std::string& text) { m_hub.tell(Happening::Note, text); });
    player.onMet([this](const std::string& text) { m_hub.tell(Happening::Done, "as expected: " + text); });
    json shownLines = json::array();
    for (const std::string& line : m_lines)
        shownLines.push_back(shown(line, 300));
    m_hub.set("scenario", {{"file", shown(file, 200)}, {"lines", shownLines}});
    while (!m_card.started() && m_good && m_next < m_lines.size())
        playLine();
    if (m_good)
        tellProgress(m_next < m_lines.size() ? "paused" : "ended");
    while (!s_stop) {
        m_card.time().keepPace();
        Job job;
        if (nextJob(job))
            job.result.set_value(obey(job.line, false));
        else if (lineIsDue())
            playLine();
        tellState();
    }
    return m_good;
}

bool Desk::nextJob(Job& job)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    if (m_jobs.empty() && (m_mode == Mode::Paused || m_next == m_lines.size()))
        m_wished.wait_for(lock, kLook); // once: a repeated wait would use the bench's clock, which stands still here
    if (m_jobs.empty())
        return false;
    job = std::move(m_jobs.front());
    m_jobs.pop_front();
    return true;
}

bool Desk::lineIsDue()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const bool due = m_mode != Mode::Paused && m_next < m_lines.size();
    if (m_mode == Mode::Step)
        m_mode = Mode::Paused;
    return due;
}

void Desk::playLine()
{
    tellProgress("running");
    const std::string failure = obey(m_lines[m_next], true);
    if (failure.empty()) {
        ++m_next;
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_next == m_lines.size())
            m_mode = Mode::Paused;
        if (m_mode != Mode::Running || m_next == m_lines.size())
            tellProgress(m_next < m_lines.size() ? "paused" : m_good ? "passed" : "failed");
        return;
    }
    m_good = false;
    m_hub.tell(Happening::Fault, "line " + std::to_string(m_next + 1) + ": " + failure);
    tellProgress("failed", failure);
    ++m_next;
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_mode = Mode::Paused;
}

std::string Desk::obey(const std::string& line, bool ofScenario)
{
    std::string failure;
    try {
        bench::Words words(line);
        if (words.empty())
            return "";
        if (!ofScenario && (words.take("wait") || words.take("expect") || words.take("config") || words.take("gpio") ||
                            words.take("ports")))
            throw bench::Failure("a page's command neither waits nor changes the files");
        tellOf(line);
        m_player->obey(line);
    } catch (const bench::Failure& problem) {
        failure = problem.what();
    }
    tellState();
    return failure;
}

// Tells of the command before it is obeyed, so that its effects come after it.
void Desk::tellOf(const std::string& line)
{
    static const std::array<const char*, 9> faults = {"server", "modem", "kill",         "drive",  "limit",
                                                      "clock",  "flood", "short-writes", "signals"};
    bench::Words words(line);
    const std::string verb = words.next("a command");
    if (verb == "sms") {
        const std::string number = words.next("a number");
        m_hub.tell(Happening::SmsIn, words.rest("a text"), number);
    } else if (std::find(faults.begin(), faults.end(), verb) != faults.end()) {
        m_hub.tell(Happening::Fault, line);
    } else if (verb == "start") {
        m_hub.tell(Happening::Note, "the daemon is started");
    }
    if (verb == "server" && !words.empty()) {
        const std::string what = words.next("");
        m_hanging = what == "hang" || (m_hanging && what != "resume" && what != "stop" && what != "restart");
    }
}

void Desk::tellState()
{
    const std::vector<sim::Port> ports = m_card.server().ports();
    if (!samePorts(ports, m_ports)) {
        m_ports = ports;
        m_hub.setPorts(ports);
    }
    const bool runs = m_card.daemon().running();
    if (runs && !m_wasStarted)
        tellRules();
    m_wasStarted = runs;
    if (m_modem == nullptr && m_card.started()) {
        try {
            m_modem = &m_card.modem();
        } catch (const bench::Failure&) {
            m_modem = nullptr; // this card has none
        }
    }
    const bool serves = m_card.serverRuns();
    m_hub.set("server",
              {{"running", serves}, {"hanging", m_hanging}, {"clients", serves ? m_card.server().clients() : 0}});
    m_hub.set("daemon", {{"running", runs}});
}

// The pair file that the running daemon has read.
void Desk::tellRules()
{
    const std::string file = pairFileOf(bench::kConfigFolder);
    std::string content;
    try {
        content = bench::readFile(file);
    } catch (const bench::Failure&) {
        content = " "; // no rules
    }
    if (content != m_pairs)
        m_hub.setRules(file);
    m_pairs = content;
}

void Desk::tellProgress(const char* state, const std::string& failure)
{
    m_hub.set("progress", {{"state", state}, {"line", m_next}, {"failure", shown(failure)}});
}

std::string Desk::command(const std::string& path, const json& wish)
{
    if (path == "/scenario")
        return control(wish.value("do", json()).is_string() ? wish["do"].get<std::string>() : "");
    if (!wish.contains("line") || !wish["line"].is_string())
        return "A command is {\"line\": \"...\"}.";
    Job job;
    job.line = wish["line"].get<std::string>();
    std::future<std::string> result = job.result.get_future();
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_jobs.size() >= kMostJobs)
            return "Too many commands wait.";
        m_jobs.push_back(std::move(job));
        m_wished.notify_one();
    }
    if (result.wait_for(kPatience) != std::future_status::ready)
        return "It waits for the end of the scenario's line.";
    return result.get();
}

std::string Desk::control(const std::string& wish)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (wish == "run")
        m_mode = Mode::Running;
    else if (wish == "pause")
        m_mode = Mode::Paused;
    else if (wish == "step")
        m_mode = Mode::Step;
    else
        return "A scenario can run, pause and step.";
    m_wished.notify_one();
    return "";
}

} // namespace web
