// The memory that the bench shares with the fault library in the daemon.
#ifndef SIM_VELIO_FAULTPAGE_H
#define SIM_VELIO_FAULTPAGE_H

#include <atomic>
#include <cstdint>

/// All zeros at first: no faults. Any thread of either side.
struct FaultPage {
    enum LeakCheck : std::uint32_t { None, Asked, Clean, Leaks };

    std::atomic<std::int32_t> ready;        ///< the process whose SIGUSR1 the library handles; set by the library
    std::atomic<std::uint32_t> interrupts;  ///< whether every third read or write is interrupted
    std::atomic<std::uint32_t> shortWrites; ///< a write to a file or pipe takes only half of its bytes
    std::atomic<std::uint32_t> shortSerial; ///< writes to a terminal still to be halved; counted down by the library
    std::atomic<std::uint32_t> done;        ///< faults so far; counted by the library
    std::atomic<std::uint32_t> leakCheck;   ///< LeakCheck: Asked by the bench, the answer by the library
};

#endif
