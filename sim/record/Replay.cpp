#include "record/Replay.h"

#include <algorithm>
#include <cstdio>

using bench::Failure;
using bench::Milliseconds;

namespace record {

namespace {

// From run to run, the effect of an SMS comes sooner or later by this much: a pass over the SIM has a dozen exchanges
// of a second or less each, and the SMS may have to wait for the pass before.
constexpr int64_t kSmsTolerance = 30000;
constexpr int64_t kSmsMemory = 180000;  // time after an SMS in which it may still drive outputs
constexpr uint64_t kForgetEvery = 4096; // lines
constexpr int64_t kForEver = INT64_MAX / 2;
constexpr int64_t kSettling = 10000;      // for a daemon that already ran when its record began
constexpr int64_t kLongestLook = 3600000; // between two looks at what is due
constexpr uint32_t kDaemon = 4;           // the daemon's number among those who drive outputs

std::string secondsText(int64_t milliseconds)
{
    char text[40];
    snprintf(text, sizeof text, "%.3f s", static_cast<double>(milliseconds) / 1000);
    return text;
}

// Takes an SMS apart as the card traces it: NUMBER "TEXT".
Change smsOf(Change::Kind kind, const std::string& trace)
{
    Change change;
    change.kind = kind;
    const size_t quote = trace.find(" \"");
    change.who = trace.substr(0, quote);
    if (quote != std::string::npos)
        change.text = trace.substr(quote + 2, trace.size() - quote - 3);
    return change;
}

// "> LINE" to the modem, "< LINE" from it.
Change lineOfModem(const std::string& trace)
{
    Change change;
    change.kind = trace[0] == '>' ? Change::ToModem : Change::FromModem;
    change.text = trace.substr(2);
    return change;
}

Change outputOf(const sim::Port& port)
{
    Change change;
    change.kind = Change::Output;
    change.port = port;
    return change;
}

} // namespace

std::string Contents::text() const
{
    return std::to_string(lines) + " lines over " + secondsText(time) + ": " + std::to_string(ports.size()) +
           " ports, changes of inputs " + std::to_string(inputs) + " and of outputs " + std::to_string(outputs) +
           ", SMS in " + std::to_string(smsIn) + " and out " + std::to_string(smsOut);
}

std::string survey(const std::string& file, Contents& contents)
{
    Reader reader(file);
    for (Change change; reader.next(change);) {
        contents.ofCard = contents.ofCard || (change.kind == Change::Begin && change.text == "card");
        if (change.kind == Change::Port)
            contents.ports.emplace_back(change.port, reader.line());
        contents.inputs += change.kind == Change::Input ? 1 : 0;
        contents.outputs += change.kind == Change::Output ? 1 : 0;
        contents.smsIn += change.kind == Change::SmsIn ? 1 : 0;
        contents.smsOut += change.kind == Change::SmsOut ? 1 : 0;
    }
    contents.lines = reader.line();
    contents.time = reader.time();
    contents.ended = reader.ended();
    return reader.error();
}

int64_t daemonsTime()
{
    return std::chrono::duration_cast<Milliseconds>(bench::Time::Clock::now().time_since_epoch()).count();
}

void recordCard(Recorder& recorder, bench::Card& card)
{
    card.onStart([&] { recorder.begin("bench", card.server().ports()); });
    card.onPort([&recorder](const sim::Port& port) { recorder.port(port); });
    card.onTrace([&recorder](bench::Trace kind, const std::string& text) {
        Change change;
        if (kind == bench::Trace::SmsIn || kind == bench::Trace::SmsOut)
            change = smsOf(kind == bench::Trace::SmsIn ? Change::SmsIn : Change::SmsOut, text);
        else if (kind == bench::Trace::ModemTalk)
            change = lineOfModem(text);
        else if (kind == bench::Trace::Log || kind == bench::Trace::StandardOutput)
            change.text = text;
        else
            return;
        recorder.tell(change.kind, change.text, change.who);
    });
}

Replay::Replay(std::unique_ptr<bench::Card> card, Settings settings) : m_settings(settings), m_card(std::move(card))
{
    m_card->onPort([this](const sim::Port& port) {
        if (port.output && port.toggled == kDaemon)
            happened(outputOf(port));
    });
    m_card->onTrace([this](bench::Trace kind, const std::string& text) { hear(kind, text); });
}

void Replay::hear(bench::Trace kind, const std::string& text)
{
    if (kind == bench::Trace::SmsOut) {
        happened(smsOf(Change::SmsOut, text));
    } else if (kind == bench::Trace::ModemTalk) {
        happened(lineOfModem(text));
    } else if (kind == bench::Trace::Log || kind == bench::Trace::StandardOutput) {
        Change change;
        change.text = text;
        happened(change);
    }
}

// The name of a change's stream: an output, or the SMS to a number. Empty if it is not compared.
std::string Replay::streamOf(const Change& change) const
{
    switch (change.kind) {
    case Change::Output:
        return "output " + change.port.label;
    case Change::SmsOut:
        return "SMS to " + change.who;
    case Change::Log:
        return m_settings.log ? "log line" : "";
    case Change::ToModem:
        return m_settings.at ? "line to the modem" : "";
    case Change::FromModem:
        return m_settings.at ? "line from the modem" : "";
    default:
        return "";
    }
}

int64_t Replay::toleranceOf(const Change& change, int64_t time) const
{
    const bool tight = change.kind == Change::Output && time - m_lastSms > kSmsMemory;
    return tight ? m_settings.tolerance : std::max(kSmsTolerance, m_settings.tolerance);
}

void Replay::happened(const Change& change)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const std::string stream = streamOf(change);
    const int64_t now = daemonsTime();
    if (change.kind == Change::ToModem)
        ++m_commands;
    if (change.kind == Change::Output) {
        std::string& state = m_outputs[change.port.label];
        if (state == sim::stateWord(change.port.state))
            return;
        state = sim::stateWord(change.port.state);
    }
    if (m_begun && !stream.empty()) {
        const std::string value = change.kind == Change::Output ? sim::stateWord(change.port.state) : change.text;
        m_compare.happened(stream, value, now, toleranceOf(change, now), m_line);
    }
}

bool Replay::different(int64_t now)
{
    m_compare.waits(now);
    return m_compare.first().has_value();
}

// Waits until that time, or until @p holds, which is called with the lock held. @return whether it held
bool Replay::waitUntil(int64_t time, const std::function<bool()>& holds)
{
    bench::Time& clock = m_card->time();
    for (clock.settle();;) {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            if (holds())
                return true;
        }
        const int64_t left = time - daemonsTime();
        if (left <= 0)
            return false;
        if (!m_card->daemon().running())
            throw Failure("the daemon has ended by itself: " + m_card->daemon().ending());
        clock.pass(bench::Time::Clock::now() + Milliseconds(std::min(left, kLongestLook)));
    }
}

void Replay::usePorts(const Contents& contents)
{
    std::vector<sim::Port> ports;
    for (const auto& port : contents.ports) {
        ports.push_back(port.first);
        if (!port.first.output)
            continue;
        m_outputs[port.first.label] = sim::stateWord(port.first.state);
        m_compare.setValue("output " + port.first.label, sim::stateWord(port.first.state));
    }
    m_card->usePorts(std::move(ports));
}

// A card's record begins while its daemon runs. Gives the new daemon time to reach the same states.
std::optional<Difference> Replay::settle(const Contents& contents)
{
    const auto different = [&] {
        return std::find_if(contents.ports.begin(), contents.ports.end(), [&](const auto& port) {
            return port.first.output && m_outputs[port.first.label] != sim::stateWord(port.first.state);
        });
    };
    waitUntil(daemonsTime() + kSettling, [] { return false; });
    waitUntil(daemonsTime() + 2 * m_settings.tolerance,
              [&] { return m_card->server().gets() > 0 && different() == contents.ports.end(); });
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_begun = true;
    const auto wrong = different();
    if (wrong == contents.ports.end())
        return {};
    const sim::Port& port = wrong->first;
    return Difference{wrong->second, "output " + port.label + ' ' + sim::stateWord(port.state) +
                                         " was recorded at the beginning; here it was " + m_outputs[port.label]};
}

// Before an input or SMS, waits for everything recorded before it; before an SMS, also until the modem has received as
// many commands. Otherwise a slightly slower daemon would meet it in another state.
// @return whether there is a difference
bool Replay::give(const Change& change)
{
    const int64_t due = change.time + m_shift;
    if (waitUntil(due, [&] { return different(daemonsTime()); }))
        return true;
    // Limited, because an effect may precede its cause in the record: two threads recorded them.
    waitUntil(daemonsTime() + m_settings.tolerance / 2, [&] { return !m_compare.waits(daemonsTime()); });
    if (change.kind == Change::SmsIn)
        waitUntil(due + kSmsTolerance, [&] { return m_commands >= m_commandsRecorded; });
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const int64_t late = std::max<int64_t>(daemonsTime() - due, 0);
        m_compare.stoodStill(late);
        m_shift += late;
    }
    obey(change);
    return false;
}

void Replay::obey(const Change& change)
{
    if (change.kind == Change::SmsIn) {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_lastSms = daemonsTime();
        }
        m_card->sms(change.who, change.text);
    } else if (change.kind == Change::Input) {
        m_card->server().setInput(change.port.label, change.port.status);
    } else {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_outputs[change.port.label] = sim::stateWord(change.port.state);
            m_compare.setValue("output " + change.port.label, sim::stateWord(change.port.state));
        }
        m_card->server().setOutput(change.port.label, change.port.state, change.port.toggled);
    }
}

void Replay::expect(const Change& change, int64_t due, uint64_t line)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (change.kind == Change::ToModem)
        ++m_commandsRecorded;
    const std::string stream = streamOf(change);
    if (!stream.empty())
        m_compare.recorded(stream, change.kind == Change::Output ? sim::stateWord(change.port.state) : change.text, due,
                           toleranceOf(change, due), line);
}

std::optional<Difference> Replay::run(const std::string& file, const Contents& contents)
{
    usePorts(contents);
    m_begun = !contents.ofCard;
    m_shift = daemonsTime();
    m_card->start();
    if (contents.ofCard) {
        if (const auto difference = settle(contents))
            return difference;
        m_shift = daemonsTime();
    }
    Reader reader(file);
    if (!follow(reader)) {
        if (!reader.error().empty())
            throw Failure(reader.error());
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_compare.recordEnds(contents.time + m_shift);
    }
    waitUntil(kForEver, [&] { return !m_compare.waits(daemonsTime()); });
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_compare.first();
}

// Drops what the simulators keep for scenarios, so that a long record needs no more memory.
void Replay::forget()
{
    m_card->daemon().forgetLines();
    m_card->server().forgetWrites();
    if (m_card->commandCount() > 0)
        m_card->modem().clearRecord();
}

// @return whether there is a difference
bool Replay::follow(Reader& reader)
{
    for (Change change; reader.next(change);) {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_line = reader.line();
        }
        if (reader.line() % kForgetEvery == 0)
            forget();
        const bool isGiven = change.kind == Change::Input || change.kind == Change::SmsIn ||
                             (change.kind == Change::Output && change.port.toggled != kDaemon);
        if (isGiven ? give(change) : waitUntil(change.time + m_shift, [&] { return different(daemonsTime()); }))
            return true;
        if (!isGiven)
            expect(change, change.time + m_shift, reader.line());
    }
    return false;
}

} // namespace record
