// What the bench and the fault library in the daemon tell one another: a page of memory that both have mapped.
#ifndef SIM_VELIO_FAULTPAGE_H
#define SIM_VELIO_FAULTPAGE_H

#include <atomic>
#include <cstdint>

/// Starts as zeros: no faults. Any thread of both sides.
struct FaultPage {
    enum LeakCheck : std::uint32_t { None, Asked, Clean, Leaks };

    std::atomic<std::int32_t> ready;        ///< the process that takes SIGUSR1 without coming to harm; by the library
    std::atomic<std::uint32_t> interrupts;  ///< every third read and write of what can make it wait is interrupted
    std::atomic<std::uint32_t> shortWrites; ///< writes to files and pipes take half of what they are given
    std::atomic<std::uint32_t> shortSerial; ///< so many writes to a terminal take half; counted down by the library
    std::atomic<std::uint32_t> done;        ///< faults that were put into calls so far; by the library
    std::atomic<std::uint32_t> leakCheck;   ///< LeakCheck: Asked by the bench, the answer by the library
};

#endif
