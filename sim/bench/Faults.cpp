#include "bench/Faults.h"

#include "bench/Scenario.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <new>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace bench {

Faults::~Faults()
{
    if (prepared())
        setSignals(false);
}

void Faults::prepare(const std::string& path)
{
    if (prepared())
        return;
    const int file = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    void* memory = MAP_FAILED;
    if (file >= 0 && ftruncate(file, sizeof(FaultPage)) == 0)
        memory = mmap(nullptr, sizeof(FaultPage), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    const std::string why = strerror(errno);
    if (file >= 0)
        close(file);
    if (memory == MAP_FAILED)
        throw Failure(path + ": " + why);
    m_page = new (memory) FaultPage{};
}

FaultPage& Faults::page()
{
    if (m_page == nullptr)
        throw Failure("the daemon runs without the library that makes faults");
    return *m_page;
}

void Faults::daemonEnds()
{
    if (prepared())
        page().ready = 0;
}

void Faults::setSignals(bool on)
{
    page().interrupts = on ? 1 : 0;
    m_signalling = false;
    if (m_signaller.joinable())
        m_signaller.join();
    if (!on)
        return;
    m_signalling = true;
    m_signaller = std::thread([this] {
        while (m_signalling) {
            signalThreads();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
}

// Nothing before the library has said that it takes the signal.
void Faults::signalThreads() const
{
    const pid_t daemon = m_page->ready;
    DIR* threads = daemon > 0 ? opendir(("/proc/" + std::to_string(daemon) + "/task").c_str()) : nullptr;
    while (const dirent* thread = threads != nullptr ? readdir(threads) : nullptr) {
        const long id = strtol(thread->d_name, nullptr, 10);
        if (id > 0)
            syscall(SYS_tgkill, daemon, id, SIGUSR1);
    }
    if (threads != nullptr)
        closedir(threads);
}

void Faults::setClock(const std::string& date)
{
    tm day{};
    const char* end = strptime(date.c_str(), "%Y-%m-%d", &day);
    if (end == nullptr || *end != '\0')
        throw Failure("a date is YEAR-MONTH-DAY, not " + date);
    day.tm_hour = 12;
    page().clockOffset = timegm(&day) - time(nullptr);
}

bool Faults::withoutLeaks(std::chrono::seconds limit)
{
    if (page().ready == 0)
        return true;
    page().leakCheck = FaultPage::Asked;
    const auto end = std::chrono::steady_clock::now() + limit;
    while (page().leakCheck == FaultPage::Asked) {
        if (std::chrono::steady_clock::now() >= end)
            throw Failure("the daemon does not look for leaks");
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return page().leakCheck == FaultPage::Clean;
}

} // namespace bench
