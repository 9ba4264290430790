// Faults of the daemon's system calls, through the library that is preloaded into it.
#ifndef SIM_BENCH_FAULTS_H
#define SIM_BENCH_FAULTS_H

#include "velio/faultPage.h"

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

namespace bench {

/// One for a card; what is set stays set when the daemon is started again. Threads: the bench's thread calls.
class Faults {
public:
    Faults() = default;
    ~Faults();
    Faults(const Faults&) = delete;
    Faults& operator=(const Faults&) = delete;

    /// Makes the page that the library finds by FAULTSHIM_PAGE. @throws Failure
    void prepare(const std::string& path);
    bool prepared() const { return m_page != nullptr; }
    /// The daemon is no more: nothing is sent to a process of its number.
    void daemonEnds();

    /// Every thread of the daemon gets a signal each millisecond. @throws Failure, as those below, unless prepared
    void setSignals(bool on);
    void setShortWrites(bool on) { page().shortWrites = on ? 1 : 0; }
    /// So many commands to the modem go out half.
    void cutSerialWrites(long writes) { page().shortSerial = static_cast<uint32_t>(writes); }
    /// The daemon's time of day is noon of a date "2031-06-15" (UTC) from now on. @throws Failure
    void setClock(const std::string& date);
    /// How often a call was interrupted or cut short by the library, real signals apart.
    uint32_t done() { return page().done; }
    /// In a daemon with the address sanitizer: looks for leaks and reports them on its standard error.
    /// @return false: there are some
    bool withoutLeaks(std::chrono::seconds limit);

private:
    FaultPage& page();
    void signalThreads() const;

    FaultPage* m_page = nullptr;
    std::atomic<bool> m_signalling{false};
    std::thread m_signaller;
};

} // namespace bench

#endif
