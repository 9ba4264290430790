// The modem's power, and the key that toggles it.
#pragma once

#include "modem/ModemTypes.h"

namespace modemsim {

/// Threads: the owner's lock guards it.
class PowerKey {
public:
    explicit PowerKey(const Options& options)
        : m_pulsesToStart(options.pulsesToStart), m_keyTurnsOff(options.keyTurnsOff),
          m_shortestPulse(options.shortestPulse), m_on(options.powered)
    {
    }

    bool isOn() const { return m_on; }

    void set(bool on)
    {
        m_on = on;
        m_missing = m_pulsesToStart;
    }

    /// Call it at the end of a pulse. Switching on may take several pulses; switching off takes one.
    void pulse(milliseconds length)
    {
        if (length < m_shortestPulse) {
            return;
        }
        if (!m_on && --m_missing <= 0) {
            set(true);
        } else if (m_on && m_keyTurnsOff) {
            set(false);
        }
    }

    void level(bool high)
    {
        if (high && !m_high) {
            m_rise = Clock::now();
        } else if (!high && m_high) {
            pulse(std::chrono::duration_cast<milliseconds>(Clock::now() - m_rise));
        }
        m_high = high;
    }

private:
    const int m_pulsesToStart;
    const bool m_keyTurnsOff;
    const milliseconds m_shortestPulse;
    bool m_on;
    bool m_high = false;
    int m_missing = m_pulsesToStart;
    Clock::time_point m_rise;
};

} // namespace modemsim
