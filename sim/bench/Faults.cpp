#include "bench/Faults.h"

#include "bench/Scenario.h"
#include "bench/Time.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <new>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace bench {

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

// Sends nothing before the library handles the signal.
bool Faults::interrupt() const
{
    const pid_t daemon = prepared() && m_page->interrupts != 0 ? m_page->ready.load() : 0;
    DIR* threads = daemon > 0 ? opendir(("/proc/" + std::to_string(daemon) + "/task").c_str()) : nullptr;
    while (const dirent* thread = threads != nullptr ? readdir(threads) : nullptr) {
        const long id = strtol(thread->d_name, nullptr, 10);
        if (id > 0)
            syscall(SYS_tgkill, daemon, id, SIGUSR1);
    }
    if (threads != nullptr)
        closedir(threads);
    return daemon > 0;
}

bool Faults::withoutLeaks(std::chrono::seconds limit)
{
    if (page().ready == 0)
        return true;
    page().leakCheck = FaultPage::Asked;
    const Nanoseconds end = Time::real() + std::chrono::nanoseconds(limit).count();
    while (page().leakCheck == FaultPage::Asked) {
        if (Time::real() >= end)
            throw Failure("the daemon does not look for leaks");
        usleep(10000); // real time: the bench's clock stands still
    }
    return page().leakCheck == FaultPage::Clean;
}

} // namespace bench
