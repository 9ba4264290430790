// One pass of the modem's set-up: identity, SIM, PIN, signal, operator, text mode, and the summary.
#include "GSM.h"
#include "sleepWhole.h"

#include <algorithm>
#include <string>

namespace {

constexpr float kNoValue = 99.0f; // of signal strength and bit error rate
constexpr std::chrono::seconds kRegistrationTime(3);

} // namespace

struct Gsm::Findings {
    char id[32] = "";
    bool idObtained = false;
    bool isIn = false;
    Pinstat::ePinStat pinStat = Pinstat::UNKNOWN;
    float rssi = kNoValue;
    float ber = kNoValue;
    char netOperator[32] = "";
    bool opObtained = false;

    bool signalObtained() const { return rssi != kNoValue && ber != kNoValue; }
    bool usable() const { return opObtained && idObtained && isIn && signalObtained() && pinStat == Pinstat::READY; }
};

bool Gsm::setupModem()
{
    Findings found;
    if (errorHandle(mdm->qSetBaudRate()) == ErrStat::OK)
        debug("Baud Rate set\n");

    found.idObtained = errorHandle(mdm->qMdmID(found.id)) == ErrStat::OK;
    if (found.idObtained)
        debug("Modem ID: %s\n", found.id);

    if (errorHandle(mdm->qSIMin(&found.isIn)) == ErrStat::OK)
        debug(found.isIn ? "SIM card is inserted\n\n" : "SIM card is NOT inserted\n\n");

    (void)errorHandle(mdm->qPinStat(&found.pinStat));
    unlockSim(found.pinStat);
    if (found.pinStat == Pinstat::READY)
        debug("SIM card is ready\n\n");

    if (errorHandle(mdm->qSignalStr(&found.rssi, &found.ber)) == ErrStat::OK)
        debug("RSSI:%fdBm\tBER:%f\n\n", static_cast<double>(found.rssi), static_cast<double>(found.ber));

    sleepWhole(kRegistrationTime);
    found.opObtained = errorHandle(mdm->qNetOperator(found.netOperator)) == ErrStat::OK;
    if (found.opObtained)
        logOperator(found.netOperator);

    if (errorHandle(mdm->qSMSTextMode()) == ErrStat::OK)
        debug("Sms text mode enabled\n");
    else
        debug("Sms text mode error\n");

    summarise(found);
    m_inBrief = brief(found);
    if (found.usable())
        return true;
    info("Error with modem setup\n");
    explain(found);
    return false;
}

std::string Gsm::brief(const Findings& found)
{
    std::string name = found.netOperator;
    name.erase(std::remove(name.begin(), name.end(), '"'), name.end());
    return std::to_string(static_cast<int>(found.rssi)) + " dBm, " + (name.empty() ? "no operator" : name);
}

// At most two rounds. The second sends the PIN again if the modem did not answer what became of the first.
void Gsm::unlockSim(Pinstat::ePinStat& pinStat)
{
    int attempts = 1;
    while (pinStat != Pinstat::READY && attempts != 3) {
        debug("Attempt %d \n", attempts);
        ++attempts;
        if (errorHandle(mdm->qPinStat(&pinStat)) != ErrStat::OK)
            continue;
        if (pinStat == Pinstat::SIM_PIN)
            enterPin();
        else if (pinStat == Pinstat::SIM_PUK)
            enterPuk();
        if (errorHandle(mdm->qPinStat(&pinStat)) == ErrStat::OK)
            break;
    }
}

void Gsm::logOperator(const char* netOperator)
{
    if (netOperator[0] == '0')
        debug("No registered operator is detected\n\n");
    else
        debug("Net operator:%s \n\n", netOperator);
}

void Gsm::summarise(const Findings& found)
{
    debug("*****************Initialization summary*******************\n");
    if (found.idObtained)
        debug("Modem ID: %s deleted\n", found.id);
    else
        debug("Could not obtain modem ID\n");
    debug(found.isIn ? "SIM card is inserted\n" : "SIM card is NOT inserted\n");
    if (found.pinStat == Pinstat::READY)
        debug("SIM card status is READY\n");
    if (found.signalObtained())
        debug("Signal strength:\nRSSI:%fdBm\tBER:%f\n", static_cast<double>(found.rssi),
              static_cast<double>(found.ber));
    else
        debug("Could not obtain signal strength\n");
    if (found.opObtained)
        logOperator(found.netOperator);
    else
        debug("Could not obtain Net operator\n");
}

// Tells the operator what to mend, in one line.
void Gsm::explain(const Findings& found)
{
    static const char* const kWaitsFor[] = {
        "nothing", "its PIN", "its PUK", "the telephone's PIN", "the telephone's PUK", nullptr};
    std::string missing;
    const auto add = [&missing](const std::string& text) { missing += (missing.empty() ? "" : ", ") + text; };
    if (!found.idObtained)
        add("no answer to the question for its identity");
    if (!found.isIn)
        add("no SIM found");
    if (found.pinStat == Pinstat::UNKNOWN)
        add("state of the SIM unknown");
    else if (found.pinStat != Pinstat::READY)
        add(std::string("SIM waits for ") + kWaitsFor[found.pinStat]);
    if (!found.signalObtained())
        add("no signal strength or bit error rate");
    if (!found.opObtained)
        add("no answer to the question for the operator");
    error("Modem set-up failed: %s\n", missing.c_str());
}
