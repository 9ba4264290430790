// Whether the threads of some processes all sleep.
#ifndef SIM_BENCH_STILLNESS_H
#define SIM_BENCH_STILLNESS_H

#include <cstdint>
#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

namespace bench {

/// Reads the threads' states from /proc. A thread that sleeps at two looks and has not run between them has slept all
/// the time. Threads: one thread calls.
class Stillness {
public:
    /// What one look showed.
    struct Look {
        bool allSleep = true;
        std::map<pid_t, std::uint64_t> runs; ///< by thread: how often it was put on a processor
        std::vector<pid_t> ended;            ///< processes that have ended, waited for or not
    };

    Stillness() = default;
    ~Stillness();
    Stillness(const Stillness&) = delete;
    Stillness& operator=(const Stillness&) = delete;

    /// Looks at the threads of @p process except @p besides and those named kMachineTime.
    void watch(pid_t process, pid_t besides = 0);
    void forget(pid_t process);
    Look look();

    /// The processor time in nanoseconds of the threads of @p process, and their voluntary context switches.
    struct Work {
        std::uint64_t nanoseconds, waits;
    };
    static std::map<pid_t, Work> work(pid_t process);

private:
    struct Thread {
        int state = -1, runs = -1; // descriptors of its files
    };
    struct Process {
        pid_t besides = 0;
        unsigned long links = 0; // of the folder: two more than it has threads
        std::map<pid_t, Thread> threads;
    };

    static void list(pid_t id, Process& process);
    static bool lookAt(pid_t ofProcess, const Process& process, Look& look);
    static void closeAll(Process& process);

    std::map<pid_t, Process> m_processes;
    int m_packets = -1; // descriptor of the kernel's queues of packets
    bool packetsUnderWay();
};

} // namespace bench

#endif
