// The SIM's lock: PIN, PUK and their tries.
#pragma once

#include "modem/ModemTypes.h"

#include <string>

namespace modemsim {

/// Codes of "+CME ERROR: ", 3GPP TS 27.007 clause 9.2. kDone is success.
enum Cme {
    kDone = -1,
    kNotAllowed = 3,
    kNotSupported = 4,
    kPhonePinRequired = 5,
    kNoSim = 10,
    kPinRequired = 11,
    kPukRequired = 12,
    kSimFailure = 13,
    kWrongPassword = 16,
    kNoNetwork = 30,
    kBadParameters = 50
};

/// Behaves like a real SIM: a power cycle does not reset the tries; a right code does.
/// Threads: the owner's lock guards it.
class SimCard {
public:
    explicit SimCard(const Options& options);

    void powerUp(); ///< locks again
    void setInserted(bool inserted);
    void exchange(const std::string& pin); ///< replaces it by a SIM with this PIN and all tries
    void setState(SimState state);
    SimState state() const { return m_inserted ? m_state : SimState::Absent; }
    bool inserted() const { return m_inserted; }

    int enterPin(const std::string& pin);                            ///< kDone or a Cme code
    int enterPuk(const std::string& puk, const std::string& newPin); ///< kDone or a Cme code
    int required() const;     ///< why SMS and network are not available; kDone when ready
    std::string word() const; ///< the answer to AT+CPIN?; may be empty

    const std::string& pin() const { return m_pin; }
    int pinTriesLeft() const { return m_pinTries; }
    int pukTriesLeft() const { return m_pukTries; }
    int pinEntries() const { return m_pinEntries; }
    int pukEntries() const { return m_pukEntries; }

private:
    std::string m_pin;
    const std::string m_puk;
    const int m_allPinTries;
    const int m_allPukTries;
    int m_pinTries;
    int m_pukTries;
    int m_pinEntries = 0;
    int m_pukEntries = 0;
    bool m_inserted;
    SimState m_state = SimState::Ready;
};

} // namespace modemsim
