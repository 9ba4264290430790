// Faults of the daemon's system calls, through the library that is preloaded into it.
#ifndef SIM_BENCH_FAULTS_H
#define SIM_BENCH_FAULTS_H

#include "velio/faultPage.h"

#include <chrono>
#include <string>

namespace bench {

/// One for each card. Settings outlast a restart of the daemon. Threads: the bench's only.
class Faults {
public:
    Faults() = default;
    ~Faults() = default;
    Faults(const Faults&) = delete;
    Faults& operator=(const Faults&) = delete;

    /// Creates the file that FAULTSHIM_PAGE names. @throws Failure
    void prepare(const std::string& path);
    bool prepared() const { return m_page != nullptr; }
    /// Call it before the daemon ends: no signal is sent to its process number any more.
    void daemonEnds();

    /// While on, calls are interrupted, and interrupt() signals every thread. Like the operations below, @throws
    /// Failure unless prepared
    void setSignals(bool on) { page().interrupts = on ? 1 : 0; }
    /// @return whether signals are on
    bool interrupt() const;
    void setShortWrites(bool on) { page().shortWrites = on ? 1 : 0; }
    /// Cuts the next @p writes to the modem in half.
    void cutSerialWrites(long writes) { page().shortSerial = static_cast<uint32_t>(writes); }
    /// The calls that the library has interrupted or cut, without those that a signal interrupted.
    uint32_t done() { return page().done; }
    /// In a daemon with the address sanitizer: looks for leaks and reports them on its standard error.
    /// @return false if it found any
    bool withoutLeaks(std::chrono::seconds limit);

private:
    FaultPage& page();

    FaultPage* m_page = nullptr;
};

} // namespace bench

#endif
