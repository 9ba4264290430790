// The record of the simulated modem, and waiting for events.
#include "modem/ModemSim.h"

#include "modem/ModemSimImpl.h"

#include <algorithm>

// ---- what happened ----

std::size_t ModemSim::sentCount() const
{
    return m_impl->ask([this] { return m_impl->me.sent.size(); });
}

std::vector<ModemSim::SentSms> ModemSim::sent() const
{
    return m_impl->ask([this] { return m_impl->me.sent; });
}

std::vector<ModemSim::TrafficLine> ModemSim::traffic() const
{
    return m_impl->ask([this] { return m_impl->record.lines(); });
}

std::size_t ModemSim::count(const std::string& prefix) const
{
    return m_impl->ask([&] { return m_impl->record.count(prefix); });
}

std::vector<std::string> ModemSim::commands() const
{
    return m_impl->ask([this] { return m_impl->record.commands(); });
}

std::string ModemSim::transcript() const
{
    return m_impl->ask([this] { return m_impl->record.transcript(); });
}

ModemSim::Status ModemSim::status() const
{
    return m_impl->ask([this] {
        const modemsim::Equipment& me = m_impl->me;
        return Status{m_impl->key.isOn(), m_impl->pty.isOpen(), m_impl->hasUser,         m_impl->silent,
                      me.registered(),    me.sim.state(),       me.sim.pinTriesLeft(),   me.sim.pukTriesLeft(),
                      me.options.signal,  me.options.errorRate, me.options.operatorName, me.options.delay,
                      me.storage.size(),  me.storage.list(),    me.held.size()};
    });
}

void ModemSim::clearRecord()
{
    m_impl->change([this] {
        m_impl->record.clear();
        m_impl->me.sent.clear();
        m_impl->sentTold = 0;
    });
}

// ---- waiting ----

bool ModemSim::waitForSent(std::size_t messages, milliseconds patience) const
{
    return waitUntil([&] { return sentCount() >= messages; }, patience);
}

bool ModemSim::waitForSent(const std::string& number, const std::string& text, milliseconds patience) const
{
    const auto matches = [&](const SentSms& message) { return message.number == number && message.text == text; };
    return waitUntil(
        [&] {
            const auto messages = sent();
            return std::any_of(messages.begin(), messages.end(), matches);
        },
        patience);
}

bool ModemSim::waitForCommand(const std::string& prefix, std::size_t times, milliseconds patience) const
{
    return waitUntil([&] { return count(prefix) >= times; }, patience);
}

bool ModemSim::waitForEmptyStorage(milliseconds patience) const
{
    return waitUntil([this] { return stored().empty(); }, patience);
}

bool ModemSim::waitForClient(milliseconds patience) const
{
    return waitUntil([this] { return m_impl->ask([this] { return m_impl->hasUser; }); }, patience);
}

bool ModemSim::waitUntil(const std::function<bool()>& condition, milliseconds patience) const
{
    return m_impl->waitUntil(condition, patience);
}

void ModemSim::observe(std::function<void(const TrafficLine&)> traffic, std::function<void(const SentSms&)> sent)
{
    m_impl->change([&] {
        m_impl->onTraffic = std::move(traffic);
        m_impl->onSent = std::move(sent);
    });
}
