#include "Browser.h"

#include "../unit/simPort.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <httplib.h>
#include <poll.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using nlohmann::json;
using Clock = std::chrono::steady_clock;

namespace {

constexpr std::chrono::seconds kPatience(60);
constexpr char kElement[] = "element-6066-11e4-a52e-4f735466cecf"; // as WebDriver names it

std::string decoded(const std::string& base64)
{
    std::string bytes;
    unsigned bits = 0;
    int have = 0;
    for (const char c : base64) {
        const char* digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
        const char* at = strchr(digits, c);
        if (c == '=' || at == nullptr)
            break;
        bits = bits << 6 | static_cast<unsigned>(at - digits);
        have += 6;
        if (have >= 8) {
            have -= 8;
            bytes += static_cast<char>(bits >> have & 0xff);
        }
    }
    return bytes;
}

} // namespace

Program::Program(std::vector<std::string> words)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        throw std::runtime_error("no pipe");
    std::vector<char*> arguments;
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    m_pid = fork();
    if (m_pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(ends[1], 1);
        execvp(arguments[0], arguments.data());
        _exit(127);
    }
    close(ends[1]);
    m_output = ends[0];
}

std::string Program::lineAfter(const std::string& before)
{
    const auto deadline = Clock::now() + kPatience;
    char bytes[4096];
    for (;;) {
        const size_t at = m_read.find(before), end = at == std::string::npos ? at : m_read.find('\n', at);
        if (end != std::string::npos)
            return m_read.substr(at + before.size(), end - at - before.size());
        pollfd readable = {m_output, POLLIN, 0};
        if (Clock::now() > deadline || poll(&readable, 1, 1000) < 0)
            throw std::runtime_error("no line with " + before);
        const ssize_t length = (readable.revents & (POLLIN | POLLHUP)) != 0 ? read(m_output, bytes, sizeof bytes) : -1;
        if (length == 0)
            throw std::runtime_error("ended without a line with " + before + ": " + m_read);
        m_read.append(bytes, length > 0 ? static_cast<size_t>(length) : 0);
    }
}

int Program::end()
{
    if (m_pid < 0)
        return -1;
    kill(m_pid, SIGTERM);
    int status = -1;
    const auto deadline = Clock::now() + std::chrono::seconds(20);
    while (waitpid(m_pid, &status, WNOHANG) == 0) {
        if (Clock::now() > deadline)
            kill(m_pid, SIGKILL);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    close(m_output);
    m_pid = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void startExample(sim::Tavd& server)
{
    server.setPorts({simPort(false, "DOOR_OPEN", 1), simPort(false, "ROOM1_WARM", 2), simPort(false, "SMOKE", 3),
                     simPort(false, "WINDOW", 4), simPort(true, "FAN", 1), simPort(true, "HORN", 2)});
    if (!server.start("127.0.0.1", 0))
        throw std::runtime_error("no object server");
}

Browser::Browser()
{
    m_driver = std::make_unique<Program>(std::vector<std::string>{"chromedriver", "--port=0"});
    const std::string port = m_driver->lineAfter("started successfully on port ");
    m_client = std::make_unique<httplib::Client>("127.0.0.1", atoi(port.c_str()));
    m_client->set_read_timeout(kPatience);
    const json arguments = {"--headless",
                            "--no-sandbox",
                            "--disable-gpu",
                            "--disable-quic",
                            "--no-first-run",
                            "--disable-background-networking",
                            "--disable-sync",
                            "--disable-component-update",
                            "--hide-scrollbars",
                            "--disable-dev-shm-usage",
                            "--window-size=1280,900",
                            "--user-data-dir=" + m_profile.path("")};
    const json wanted = {{"browserName", "chrome"},
                         {"goog:loggingPrefs", {{"browser", "ALL"}}},
                         {"goog:chromeOptions", {{"args", arguments}}}};
    m_session = ask("POST", "", {{"capabilities", {{"alwaysMatch", wanted}}}})["sessionId"].get<std::string>();
}

Browser::~Browser()
{
    m_client->Delete("/session/" + m_session);
}

json Browser::ask(const char* method, const std::string& path, const json& body)
{
    const std::string whole = "/session" + (m_session.empty() ? "" : '/' + m_session) + path;
    const auto result =
        std::string(method) == "GET"
            ? m_client->Get(whole)
            : m_client->Post(whole, (body.is_null() ? json::object() : body).dump(), "application/json");
    if (!result)
        throw std::runtime_error("the browser's driver does not answer: " + whole);
    const json answer = json::parse(result->body, nullptr, false);
    if (result->status != 200 || !answer.is_object())
        throw std::runtime_error(whole + ": " + result->body.substr(0, 600));
    return answer["value"];
}

void Browser::open(const std::string& address)
{
    ask("POST", "/url", {{"url", address}});
}

std::string Browser::element(const std::string& selector)
{
    return ask("POST", "/element", {{"using", "css selector"}, {"value", selector}})[kElement].get<std::string>();
}

void Browser::click(const std::string& selector)
{
    (void)value("document.querySelector(`" + selector +
                "`)?.scrollIntoView({block: 'center'})"); // not under the header
    ask("POST", "/element/" + element(selector) + "/click");
}

void Browser::flip(const std::string& input)
{
    click(".switch[data-label=" + input + "]");
}

bool Browser::lampBecomes(const std::string& output, const std::string& value)
{
    return becomes("document.querySelector('.lamp[data-label=" + output + "]')?.dataset.value === '" + value + "'");
}

void Browser::type(const std::string& selector, const std::string& keys)
{
    ask("POST", "/element/" + element(selector) + "/value", {{"text", keys}});
}

void Browser::press(const std::string& key)
{
    const json actions = {{{"type", "keyDown"}, {"value", key}}, {{"type", "keyUp"}, {"value", key}}};
    ask("POST", "/actions", {{"actions", {{{"type", "key"}, {"id", "keyboard"}, {"actions", actions}}}}});
}

json Browser::value(const std::string& expression)
{
    return ask("POST", "/execute/sync", {{"script", "return (" + expression + ");"}, {"args", json::array()}});
}

bool Browser::becomes(const std::string& expression, std::chrono::seconds limit)
{
    for (const auto deadline = Clock::now() + limit; Clock::now() < deadline;) {
        if (value("Boolean(" + expression + ")") == true)
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return false;
}

json Browser::devtools(const std::string& command, const json& parameters)
{
    return ask("POST", "/goog/cdp/execute", {{"cmd", command}, {"params", parameters}});
}

void Browser::setWidth(int width, int height, bool dark)
{
    devtools("Emulation.setDeviceMetricsOverride",
             {{"width", width}, {"height", height}, {"deviceScaleFactor", 1}, {"mobile", width < 600}});
    const json scheme = {{"name", "prefers-color-scheme"}, {"value", dark ? "dark" : "light"}};
    devtools("Emulation.setEmulatedMedia", {{"features", json::array({scheme})}});
}

std::string Browser::picture(const std::string& selector)
{
    const std::string what = selector.empty() ? "" : "/element/" + element(selector);
    return decoded(ask("GET", what + "/screenshot").get<std::string>());
}

double Browser::heap()
{
    devtools("HeapProfiler.collectGarbage", json::object());
    return devtools("Runtime.getHeapUsage", json::object())["usedSize"].get<double>();
}

std::vector<std::string> Browser::complaints()
{
    std::vector<std::string> all;
    for (const json& line : ask("POST", "/se/log", {{"type", "browser"}})) {
        if (line.value("level", "") == "SEVERE")
            all.push_back(line.value("message", ""));
    }
    return all;
}
