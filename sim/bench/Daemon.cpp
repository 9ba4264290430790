#include "bench/Daemon.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bench {

namespace {

struct Pipe {
    int ends[2] = {-1, -1};
    Pipe() { (void)!pipe2(ends, O_CLOEXEC); }
};

std::string statusField(pid_t pid, const char* name)
{
    std::ifstream file("/proc/" + std::to_string(pid) + "/status");
    std::string line;
    while (std::getline(file, line)) {
        if (line.compare(0, strlen(name), name) == 0)
            return line.substr(strlen(name));
    }
    return "0";
}

// In the child: makes the three pipe ends its standard streams, and closes everything else.
[[noreturn]] void become(char* const* arguments, char* const* variables, const int (&streams)[3], int highest,
                         const rlimit& limit)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    for (int i = 0; i < 3; ++i)
        dup2(streams[i], i);
    for (int inherited = 3; inherited < highest; ++inherited)
        close(inherited); // the simulators' sockets and terminals
    setrlimit(RLIMIT_NOFILE, &limit);
    execve(arguments[0], arguments, variables);
    _exit(127);
}

} // namespace

std::string Daemon::start(const Settings& settings)
{
    kill();
    m_ending.clear();
    Pipe input, out, log;
    if (input.ends[0] < 0 || out.ends[0] < 0 || log.ends[0] < 0)
        return strerror(errno);

    // Allocates before the fork: another thread may hold the lock of the heap during it.
    std::vector<std::string> environment;
    for (char** variable = environ; *variable != nullptr; ++variable)
        environment.emplace_back(*variable);
    environment.insert(environment.end(), settings.environment.begin(), settings.environment.end());
    std::vector<char*> variables, arguments;
    for (std::string& variable : environment)
        variables.push_back(variable.data());
    variables.push_back(nullptr);
    std::vector<std::string> words = settings.arguments;
    words.insert(words.begin(), settings.program);
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    const int highest = static_cast<int>(std::min<rlim_t>(limit.rlim_cur, 65536));
    if (settings.descriptors > 0)
        limit.rlim_cur = static_cast<rlim_t>(settings.descriptors);

    m_pid = fork();
    if (m_pid < 0)
        return strerror(errno);
    if (m_pid == 0)
        become(arguments.data(), variables.data(), {input.ends[0], out.ends[1], log.ends[1]}, highest, limit);
    close(input.ends[0]);
    close(out.ends[1]);
    close(log.ends[1]);
    m_input = input.ends[1];
    const int outEnd = out.ends[0], logEnd = log.ends[0];
    m_reader = std::thread([this, outEnd, logEnd] { read(outEnd, logEnd); });
    return {};
}

void Daemon::kill()
{
    closeInput();
    {
        std::lock_guard<std::mutex> lock(m_pidMutex);
        if (m_pid > 0) {
            ::kill(m_pid, SIGKILL);
            waitpid(m_pid, nullptr, 0);
            m_pid = -1;
        }
    }
    if (m_reader.joinable())
        m_reader.join();
}

void Daemon::limitDescriptors(long most) const
{
    rlimit limit{};
    if (m_pid > 0 && prlimit(m_pid, RLIMIT_NOFILE, nullptr, &limit) == 0) {
        limit.rlim_cur = std::min(static_cast<rlim_t>(most), limit.rlim_max);
        prlimit(m_pid, RLIMIT_NOFILE, &limit, nullptr);
    }
}

void Daemon::strike() const
{
    std::lock_guard<std::mutex> lock(m_pidMutex);
    if (m_pid > 0)
        ::kill(m_pid, SIGKILL);
}

bool Daemon::running()
{
    std::lock_guard<std::mutex> lock(m_pidMutex);
    int status = 0;
    if (m_pid > 0 && waitpid(m_pid, &status, WNOHANG) == m_pid) {
        m_pid = -1;
        m_ending = WIFSIGNALED(status) ? std::string("killed by ") + strsignal(WTERMSIG(status))
                                       : "ended with exit status " + std::to_string(WEXITSTATUS(status));
    }
    return m_pid > 0;
}

void Daemon::type(const std::string& text) const
{
    (void)!write(m_input, text.data(), text.size());
}

void Daemon::closeInput()
{
    if (m_input >= 0)
        close(m_input);
    m_input = -1;
}

void Daemon::read(int out, int log)
{
    pollfd ends[2] = {{out, POLLIN, 0}, {log, POLLIN, 0}};
    std::string partial[2];
    char bytes[65536];
    while (ends[0].fd >= 0 || ends[1].fd >= 0) {
        if (poll(ends, 2, -1) < 0 && errno != EINTR)
            break;
        for (int i = 0; i < 2; ++i) {
            if (ends[i].fd < 0 || ends[i].revents == 0)
                continue;
            const ssize_t length = ::read(ends[i].fd, bytes, sizeof bytes);
            if (length > 0) {
                add(i == 0, partial[i], bytes, static_cast<size_t>(length));
            } else if (length == 0 || errno != EINTR) {
                close(ends[i].fd);
                ends[i].fd = -1;
            }
        }
    }
}

void Daemon::add(bool standardOutput, std::string& partial, const char* bytes, size_t length)
{
    partial.append(bytes, length);
    size_t start = 0;
    for (size_t end; (end = partial.find('\n', start)) != std::string::npos; start = end + 1) {
        std::string line = partial.substr(start, end - start);
        if (m_onLine)
            m_onLine(standardOutput, line);
        std::lock_guard<std::mutex> lock(m_mutex);
        (standardOutput ? m_out : m_log).add(std::move(line));
    }
    partial.erase(0, start);
    if (standardOutput && !partial.empty()) { // a prompt counts as a line
        std::lock_guard<std::mutex> lock(m_mutex);
        m_out.add(std::move(partial));
        partial.clear();
    }
}

void Daemon::Lines::add(std::string line)
{
    constexpr size_t kMost = 200000;
    kept.push_back(std::move(line));
    if (kept.size() == kMost) {
        kept.erase(kept.begin(), kept.begin() + kMost / 2);
        dropped += kMost / 2;
    }
}

std::vector<std::string> Daemon::lines(bool standardOutput, size_t from) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    const Lines& all = standardOutput ? m_out : m_log;
    const size_t begin = from > all.dropped ? std::min(from - all.dropped, all.kept.size()) : 0;
    return {all.kept.begin() + static_cast<long>(begin), all.kept.end()};
}

size_t Daemon::count(bool standardOutput) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    const Lines& all = standardOutput ? m_out : m_log;
    return all.dropped + all.kept.size();
}

void Daemon::forgetLines()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_out = Lines();
    m_log = Lines();
}

std::string Daemon::sanitizerReport() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    std::string report;
    for (const std::string& line : m_log.kept) {
        const bool begins = line.find(": ThreadSanitizer:") != std::string::npos ||
                            line.find("ERROR: AddressSanitizer") != std::string::npos ||
                            line.find("ERROR: LeakSanitizer") != std::string::npos ||
                            line.find(": runtime error: ") != std::string::npos;
        if (begins || !report.empty())
            report += line + '\n';
    }
    return report;
}

double Daemon::cpuSeconds() const
{
    std::ifstream file("/proc/" + std::to_string(m_pid) + "/stat");
    std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    const size_t name = text.rfind(')');
    if (name == std::string::npos)
        return 0;
    long user = 0, system = 0;
    sscanf(text.c_str() + name + 2, "%*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %ld %ld", &user, &system);
    return static_cast<double>(user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

long Daemon::residentKiB() const
{
    return strtol(statusField(m_pid, "VmRSS:").c_str(), nullptr, 10);
}

long Daemon::threads() const
{
    return strtol(statusField(m_pid, "Threads:").c_str(), nullptr, 10);
}

long Daemon::descriptors() const
{
    long count = -2; // . and ..
    DIR* folder = opendir(("/proc/" + std::to_string(m_pid) + "/fd").c_str());
    while (folder != nullptr && readdir(folder) != nullptr)
        ++count;
    if (folder != nullptr)
        closedir(folder);
    return count;
}

} // namespace bench
