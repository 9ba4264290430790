#include "bench/Stillness.h"

#include "clock/benchclock.h"

#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace bench {

namespace {

const std::string kMachinesName = std::string("(") + kMachineTime + ')';

std::string taskFolder(pid_t process)
{
    return "/proc/" + std::to_string(process) + "/task";
}

// Reads a file of /proc. @return its length, at most that of the buffer
template <size_t Size> size_t readAgain(int file, char (&text)[Size])
{
    const ssize_t length = file < 0 ? -1 : pread(file, text, Size - 1, 0);
    text[length > 0 ? length : 0] = '\0';
    return length > 0 ? static_cast<size_t>(length) : 0;
}

std::vector<pid_t> numbersIn(const std::string& folder)
{
    std::vector<pid_t> numbers;
    DIR* entries = opendir(folder.c_str());
    while (const dirent* entry = entries != nullptr ? readdir(entries) : nullptr) {
        const long number = strtol(entry->d_name, nullptr, 10);
        if (number > 0)
            numbers.push_back(static_cast<pid_t>(number));
    }
    if (entries != nullptr)
        closedir(entries);
    return numbers;
}

// The position of the state in "ID (NAME) STATE ...".
const char* stateIn(const char* text)
{
    const char* end = strrchr(text, ')');
    return end != nullptr && end[1] == ' ' ? end + 2 : "X";
}

} // namespace

Stillness::~Stillness()
{
    for (auto& process : m_processes)
        closeAll(process.second);
    if (m_packets >= 0)
        close(m_packets);
}

void Stillness::watch(pid_t process, pid_t besides)
{
    forget(process);
    m_processes[process].besides = besides;
}

void Stillness::forget(pid_t process)
{
    const auto found = m_processes.find(process);
    if (found == m_processes.end())
        return;
    closeAll(found->second);
    m_processes.erase(found);
}

void Stillness::closeAll(Process& process)
{
    for (const auto& thread : process.threads) {
        close(thread.second.state);
        close(thread.second.runs);
    }
    process.threads.clear();
    process.links = 0;
}

void Stillness::list(pid_t id, Process& process)
{
    closeAll(process);
    const std::string folder = taskFolder(id);
    struct stat status {};
    if (stat(folder.c_str(), &status) == 0)
        process.links = status.st_nlink;
    for (const pid_t number : numbersIn(folder)) {
        const std::string own = folder + '/' + std::to_string(number);
        Thread thread;
        thread.state = open((own + "/stat").c_str(), O_RDONLY | O_CLOEXEC);
        thread.runs = open((own + "/schedstat").c_str(), O_RDONLY | O_CLOEXEC);
        process.threads[number] = thread;
    }
}

// Reads the thread's count of runs before its state: if it sleeps now, it has slept since its last run.
// @return false if the list of threads must be read again
bool Stillness::lookAt(pid_t ofProcess, const Process& process, Look& look)
{
    for (const auto& [id, thread] : process.threads) {
        if (id == process.besides)
            continue;
        char runs[64], text[128];
        if (readAgain(thread.runs, runs) == 0 || readAgain(thread.state, text) == 0)
            return false;
        if (strstr(text, kMachinesName.c_str()) != nullptr)
            continue;
        const char state = *stateIn(text);
        if (state == 'Z' && process.threads.size() == 1)
            look.ended.push_back(ofProcess);       // this was its last thread
        else if (strchr("SZXt", state) == nullptr) // t: stopped by a debugger or a test
            look.allSleep = false;
        if (!look.allSleep)
            return true;
        const char* last = strrchr(runs, ' ');
        look.runs[id] = last != nullptr ? strtoull(last, nullptr, 10) : 0;
    }
    return true;
}

Stillness::Look Stillness::look()
{
    Look look;
    for (auto& [id, process] : m_processes) {
        struct stat status {};
        if (stat(taskFolder(id).c_str(), &status) != 0) {
            look.ended.push_back(id);
            continue;
        }
        if (status.st_nlink != process.links)
            list(id, process);
        if (!lookAt(id, process, look)) {
            look.allSleep = false;
            process.links = 0;
        }
        if (!look.allSleep)
            return look;
    }
    if (look.allSleep && packetsUnderWay())
        look.allSleep = false;
    return look;
}

// A packet of the loopback that no processor has delivered yet. "/proc/net/softnet_stat" has a line for each processor,
// whose twelfth number counts them (since Linux 5.10).
bool Stillness::packetsUnderWay()
{
    if (m_packets < 0)
        m_packets = open("/proc/net/softnet_stat", O_RDONLY | O_CLOEXEC);
    char text[16384];
    readAgain(m_packets, text);
    for (const char* line = text; line != nullptr && *line != '\0'; line = strchr(line, '\n')) {
        line += *line == '\n' ? 1 : 0;
        char* number = const_cast<char*>(line);
        unsigned long value = 0;
        for (int column = 0; column < 12; ++column)
            value = strtoul(number, &number, 16);
        if (value != 0)
            return true;
    }
    return false;
}

std::map<pid_t, Stillness::Work> Stillness::work(pid_t process)
{
    std::map<pid_t, Work> all;
    for (const pid_t id : numbersIn(taskFolder(process))) {
        const std::string own = taskFolder(process) + '/' + std::to_string(id);
        Work work{};
        std::ifstream(own + "/schedstat") >> work.nanoseconds;
        std::ifstream status(own + "/status");
        for (std::string word; status >> word;) {
            if (word == "voluntary_ctxt_switches:")
                status >> work.waits;
        }
        all[id] = work;
    }
    return all;
}

} // namespace bench
