// What the daemon does with the GPIO device.
#ifndef SIM_BENCH_GPIOREPORT_H
#define SIM_BENCH_GPIOREPORT_H

#include "bench/Scenario.h"

#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace bench {

/// A pulse of the modem's power pin, in the daemon's time.
struct Pulse {
    Milliseconds length;
    int pin;
};

/// Reads the report of the GPIO device's stand-in. Threads: a reader of its own; the bench's thread starts and stops
/// it.
class GpioReport {
public:
    static constexpr char kPath[] = "/etc/tav/.gpio-report";
    using Listener = std::function<void(int pin, bool high)>;

    ~GpioReport() { stop(); }
    /// @param level called on the reader's thread for each level that is set. A second call has no effect
    void listen(Listener level);
    /// Ends the reader. The daemon must have ended.
    void stop();
    /// Any thread.
    std::vector<Pulse> pulses() const;

private:
    void read();
    void readLine(const std::string& line);

    Listener m_onLevel;
    mutable std::mutex m_mutex; // guards the pulses
    std::vector<Pulse> m_pulses;
    long long m_roseAt = 0;
    bool m_high = false;
    int m_end = -1, m_hold = -1; // of the pipe; m_hold keeps it open between two daemons
    std::thread m_reader;
};

} // namespace bench

#endif
