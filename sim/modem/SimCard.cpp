#include "modem/SimCard.h"

#include <algorithm>

namespace modemsim {

namespace {

/// What each state answers: the word of AT+CPIN? and the error of whatever needs an unlocked SIM.
struct StateRow {
    SimState state;
    const char* word;
    int required;
};

const StateRow kStates[] = {
    {SimState::Absent, "", kNoSim},
    {SimState::Ready, "READY", kDone},
    {SimState::NeedsPin, "SIM PIN", kPinRequired},
    {SimState::NeedsPuk, "SIM PUK", kPukRequired},
    {SimState::PhonePin, "PH-SIM PIN", kPhonePinRequired},
    {SimState::PhonePuk, "PH-SIM PUK", kPhonePinRequired},
    {SimState::Blocked, "", kSimFailure},
};

const StateRow& rowOf(SimState state)
{
    return *std::find_if(std::begin(kStates), std::end(kStates),
                         [&](const StateRow& row) { return row.state == state; });
}

bool isCode(const std::string& text, std::size_t shortest, std::size_t longest)
{
    return text.size() >= shortest && text.size() <= longest &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

} // namespace

SimCard::SimCard(const Options& options)
    : m_pin(options.pin), m_puk(options.puk), m_allPinTries(options.pinTries), m_allPukTries(options.pukTries),
      m_pinTries(options.pinTries), m_pukTries(options.pukTries), m_inserted(options.simInserted)
{
    powerUp();
}

void SimCard::powerUp()
{
    if (m_state == SimState::PhonePin || m_state == SimState::PhonePuk) {
        return;
    }
    if (m_pukTries == 0) {
        m_state = SimState::Blocked;
    } else if (m_pinTries == 0) {
        m_state = SimState::NeedsPuk;
    } else {
        m_state = m_pin.empty() ? SimState::Ready : SimState::NeedsPin;
    }
}

void SimCard::setInserted(bool inserted)
{
    m_inserted = inserted;
    powerUp();
}

void SimCard::exchange(const std::string& pin)
{
    m_pin = pin;
    m_pinTries = std::max(m_allPinTries, 3);
    m_pukTries = std::max(m_allPukTries, 10);
    m_state = SimState::Ready;
    setInserted(true);
}

void SimCard::setState(SimState state)
{
    m_inserted = state != SimState::Absent;
    if (!m_inserted) {
        return;
    }
    m_state = state;
    if (state == SimState::NeedsPuk) {
        m_pinTries = 0;
    } else if (state == SimState::Blocked) {
        m_pinTries = 0;
        m_pukTries = 0;
    } else if (m_pinTries == 0) {
        m_pinTries = m_allPinTries;
    }
}

int SimCard::enterPin(const std::string& pin)
{
    ++m_pinEntries;
    if (state() == SimState::Ready) {
        return kNotAllowed;
    }
    if (state() != SimState::NeedsPin) {
        return required();
    }
    if (!isCode(pin, 4, 8)) {
        return kBadParameters;
    }
    if (pin == m_pin) {
        m_pinTries = m_allPinTries;
        m_state = SimState::Ready;
        return kDone;
    }
    if (--m_pinTries == 0) {
        m_state = SimState::NeedsPuk;
        return kPukRequired;
    }
    return kWrongPassword;
}

int SimCard::enterPuk(const std::string& puk, const std::string& newPin)
{
    ++m_pukEntries;
    if (state() == SimState::Ready) {
        return kNotAllowed;
    }
    if (state() == SimState::NeedsPin) {
        return kBadParameters;
    }
    if (state() != SimState::NeedsPuk) {
        return required();
    }
    if (!isCode(puk, 8, 8) || !isCode(newPin, 4, 8)) {
        return kBadParameters;
    }
    if (puk == m_puk) {
        m_pin = newPin;
        m_pinTries = m_allPinTries;
        m_pukTries = m_allPukTries;
        m_state = SimState::Ready;
        return kDone;
    }
    if (--m_pukTries == 0) {
        m_state = SimState::Blocked;
        return kSimFailure;
    }
    return kWrongPassword;
}

int SimCard::required() const
{
    return rowOf(state()).required;
}

std::string SimCard::word() const
{
    return rowOf(state()).word;
}

} // namespace modemsim
