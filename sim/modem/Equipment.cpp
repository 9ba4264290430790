#include "modem/Equipment.h"

namespace modemsim {

void Equipment::powerUp()
{
    settings = Settings();
    settings.echo = options.echo;
    settings.errorMode = options.errorMode;
    settings.reports = reportsWanted;
    destination.clear();
    sim.powerUp();
    wasReady = sim.state() == SimState::Ready;
    readySince = Clock::now();
}

void Equipment::followSim()
{
    const bool ready = sim.state() == SimState::Ready;
    if (ready && !wasReady) {
        readySince = Clock::now();
    }
    wasReady = ready;
}

bool Equipment::registered() const
{
    return sim.state() == SimState::Ready && !options.operatorName.empty() &&
           Clock::now() >= readySince + options.registrationTime;
}

int Equipment::receive(StoredSms message)
{
    if (message.timeStamp.empty()) {
        message.timeStamp = timeStamp.empty() ? timeStampNow() : timeStamp;
    }
    const int place = held.empty() ? storage.add(message) : 0;
    if (place == 0) {
        held.push_back(std::move(message));
    } else if (settings.reports) {
        say(milliseconds(0), "+CMTI: \"SM\"," + std::to_string(place));
    }
    return place;
}

void Equipment::receiveHeld()
{
    std::deque<StoredSms> waiting;
    waiting.swap(held);
    while (!waiting.empty()) {
        receive(std::move(waiting.front()));
        waiting.pop_front();
    }
}

} // namespace modemsim
