// Times, medians and percentiles for the programs that print figures.
#ifndef FIGURES_H
#define FIGURES_H

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <thread>
#include <utility>
#include <vector>

namespace figures {

using Clock = std::chrono::steady_clock;

inline double microseconds(Clock::duration time)
{
    return std::chrono::duration<double, std::micro>(time).count();
}

inline double percentile(std::vector<double> values, double percent)
{
    if (values.empty())
        return 0;
    std::sort(values.begin(), values.end());
    const auto at = static_cast<size_t>(percent / 100 * static_cast<double>(values.size() - 1) + 0.5);
    return values[at];
}

inline double median(std::vector<double> values)
{
    return percentile(std::move(values), 50);
}

/// Calls @p work at a steady rate, on a thread of its own, as long as it lives.
class Beat {
public:
    Beat(Clock::duration period, std::function<void(unsigned)> work)
        : m_thread([this, period, work = std::move(work)] {
              auto next = m_start;
              for (; !m_end; ++m_beats) {
                  work(m_beats);
                  std::this_thread::sleep_until(next += period);
              }
          })
    {
    }
    ~Beat()
    {
        m_end = true;
        m_thread.join();
    }
    double beatsPerSecond() const { return m_beats * 1e6 / microseconds(Clock::now() - m_start); }

private:
    const Clock::time_point m_start = Clock::now();
    std::atomic<bool> m_end{false};
    std::atomic<unsigned> m_beats{0};
    std::thread m_thread;
};

} // namespace figures

#endif
