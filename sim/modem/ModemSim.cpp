// What scripts of the simulated modem call; the thread is in ModemWorker.cpp.
#include "modem/ModemSim.h"

#include "modem/ModemSimImpl.h"

ModemSim::ModemSim(Options options) : m_impl(std::make_unique<Impl>(std::move(options))) {}
ModemSim::~ModemSim() = default;

std::string ModemSim::path() const
{
    return m_impl->ask([this] { return m_impl->pty.path(); });
}

std::string ModemSim::device() const
{
    return m_impl->ask([this] { return m_impl->pty.device(); });
}

// ---- what comes from the network ----

int ModemSim::sms(const std::string& number, const std::string& text)
{
    return m_impl->change([&] { return m_impl->me.receive({0, SmsStatus::RecUnread, number, text, ""}); });
}

int ModemSim::smsUnicode(const std::string& number, const std::string& utf8)
{
    return sms(number, modemsim::ucs2Hex(utf8));
}

void ModemSim::ussd(const std::string& text)
{
    m_impl->change([&] { m_impl->say(milliseconds(0), "+CUSD: 0,\"" + text + "\",15"); });
}

void ModemSim::answerUssd(const std::string& code, const std::string& text, milliseconds after)
{
    m_impl->change([&] { m_impl->me.ussdAnswers[code] = {text, after}; });
}

void ModemSim::setSignal(int signal, int errorRate)
{
    m_impl->change([&] {
        m_impl->me.options.signal = signal;
        m_impl->me.options.errorRate = errorRate;
    });
}

void ModemSim::setOperator(const std::string& name)
{
    m_impl->change([&] { m_impl->me.options.operatorName = name; });
}

void ModemSim::setTimeStamp(const std::string& stamp)
{
    m_impl->change([&] { m_impl->me.timeStamp = stamp; });
}

// ---- the SIM ----

bool ModemSim::store(const StoredSms& message)
{
    return m_impl->change([&] { return m_impl->me.storage.put(message); });
}

std::vector<ModemSim::StoredSms> ModemSim::stored() const
{
    return m_impl->ask([this] { return m_impl->me.storage.list(); });
}

void ModemSim::setSimInserted(bool inserted)
{
    m_impl->change([&] {
        m_impl->me.sim.setInserted(inserted);
        m_impl->me.followSim();
    });
}

void ModemSim::exchangeSim(const std::string& pin)
{
    m_impl->change([&] {
        m_impl->me.options.pin = pin;
        m_impl->me.options.simInserted = true;
        m_impl->me.sim.exchange(pin);
        m_impl->me.followSim();
    });
}

void ModemSim::setSimState(SimState state)
{
    m_impl->change([&] {
        m_impl->me.sim.setState(state);
        m_impl->me.followSim();
    });
}

int ModemSim::pinTriesLeft() const
{
    return m_impl->ask([this] { return m_impl->me.sim.pinTriesLeft(); });
}

int ModemSim::pukTriesLeft() const
{
    return m_impl->ask([this] { return m_impl->me.sim.pukTriesLeft(); });
}

int ModemSim::pinEntries() const
{
    return m_impl->ask([this] { return m_impl->me.sim.pinEntries(); });
}

int ModemSim::pukEntries() const
{
    return m_impl->ask([this] { return m_impl->me.sim.pukEntries(); });
}

std::string ModemSim::pin() const
{
    return m_impl->ask([this] { return m_impl->me.sim.pin(); });
}

// ---- power ----

void ModemSim::setPowerKey(bool high)
{
    m_impl->change([&] {
        const bool before = m_impl->key.isOn();
        m_impl->key.level(high);
        m_impl->powered(before);
    });
}

void ModemSim::pulsePower(milliseconds length)
{
    m_impl->change([&] {
        const bool before = m_impl->key.isOn();
        m_impl->key.pulse(length);
        m_impl->powered(before);
    });
}

void ModemSim::setPower(bool on)
{
    m_impl->change([&] {
        const bool before = m_impl->key.isOn();
        m_impl->key.set(on);
        m_impl->powered(before);
    });
}

bool ModemSim::isPowered() const
{
    return m_impl->ask([this] { return m_impl->key.isOn(); });
}

// ---- faults and manners ----

void ModemSim::react(const std::string& prefix, Reaction reaction, int times)
{
    m_impl->change([&] { m_impl->lineReactions.add(prefix, std::move(reaction), times); });
}

void ModemSim::reactToText(const std::string& number, Reaction reaction, int times)
{
    m_impl->change([&] { m_impl->textReactions.add(number, std::move(reaction), times); });
}

void ModemSim::clearReactions()
{
    m_impl->change([this] {
        m_impl->lineReactions.clear();
        m_impl->textReactions.clear();
    });
}

void ModemSim::setSilent(bool silent)
{
    m_impl->change([&] { m_impl->silent = silent; });
}

void ModemSim::setDelay(milliseconds delay)
{
    m_impl->change([&] { m_impl->me.options.delay = delay; });
}

void ModemSim::setChunk(std::size_t bytes, milliseconds pause)
{
    m_impl->change([&] {
        m_impl->me.options.chunk = bytes;
        m_impl->me.options.chunkPause = pause;
    });
}

void ModemSim::setEcho(bool on)
{
    m_impl->change([&] { m_impl->me.options.echo = m_impl->me.settings.echo = on; });
}

void ModemSim::setLineEnd(const std::string& end)
{
    m_impl->change([&] { m_impl->lineEnd = end; });
}

void ModemSim::setPrompt(const std::string& prompt)
{
    m_impl->change([&] { m_impl->prompt = prompt; });
}

void ModemSim::setErrorMode(modemsim::ErrorMode mode)
{
    m_impl->change([&] { m_impl->me.options.errorMode = m_impl->me.settings.errorMode = mode; });
}

void ModemSim::setReports(bool on)
{
    m_impl->change([&] { m_impl->me.reportsWanted = m_impl->me.settings.reports = on; });
}

void ModemSim::setKeepsStrayText(bool keeps)
{
    m_impl->change([&] { m_impl->input.setKeepsStrayText(keeps); });
}

void ModemSim::sendLine(const std::string& line)
{
    m_impl->change([&] { m_impl->say(milliseconds(0), line); });
}

void ModemSim::sendRaw(const std::string& bytes)
{
    m_impl->change([&] { m_impl->timers.emplace(modemsim::Clock::now(), bytes); });
}

void ModemSim::hangUp()
{
    m_impl->hangUp();
}

void ModemSim::flush()
{
    m_impl->ask([this] { return m_impl->pty.flush(); });
}

void ModemSim::plugIn()
{
    m_impl->change([this] {
        if (!m_impl->pty.isOpen()) {
            m_impl->pty.open();
        }
    });
}
