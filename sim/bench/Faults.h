// Faults of the daemon's system calls, through the library that is preloaded into it.
#ifndef SIM_BENCH_FAULTS_H
#define SIM_BENCH_FAULTS_H

#include "velio/faultPage.h"

#include <chrono>
#include <string>

namespace bench {

/// One for a card; what is set stays set when the daemon is started again. Threads: the bench's thread calls.
class Faults {
public:
    Faults() = default;
    ~Faults() = default;
    Faults(const Faults&) = delete;
    Faults& operator=(const Faults&) = delete;

    /// Makes the page that the library finds by FAULTSHIM_PAGE. @throws Failure
    void prepare(const std::string& path);
    bool prepared() const { return m_page != nullptr; }
    /// The daemon is no more: nothing is sent to a process of its number.
    void daemonEnds();

    /// Calls are interrupted, and every thread gets a signal whenever interrupt() is called. @throws Failure, as those
    /// below, unless prepared
    void setSignals(bool on) { page().interrupts = on ? 1 : 0; }
    /// @return whether signals are on
    bool interrupt() const;
    void setShortWrites(bool on) { page().shortWrites = on ? 1 : 0; }
    /// So many commands to the modem go out half.
    void cutSerialWrites(long writes) { page().shortSerial = static_cast<uint32_t>(writes); }
    /// How often a call was interrupted or cut short by the library, real signals apart.
    uint32_t done() { return page().done; }
    /// In a daemon with the address sanitizer: looks for leaks and reports them on its standard error.
    /// @return false: there are some
    bool withoutLeaks(std::chrono::seconds limit);

private:
    FaultPage& page();

    FaultPage* m_page = nullptr;
};

} // namespace bench

#endif
