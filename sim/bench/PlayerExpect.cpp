// The expectations of the scenario language.
#include "bench/Player.h"

#include <algorithm>
#include <cstdio>

namespace bench {

namespace {

constexpr Milliseconds kUsualLimit{60000}; // of the daemon's time, if a line names none
constexpr Milliseconds kLeastReal{25000};  // shortest deadline on the machine's clock, since the machine may be slow

std::string quoted(const std::string& text)
{
    return '"' + text + '"';
}

} // namespace

void Player::until(Milliseconds limit, const std::function<bool()>& holds,
                   const std::function<std::string()>& otherwise)
{
    Time& time = m_card.time();
    const auto end = Time::Clock::now() + (time.machines() ? std::max(limit, kLeastReal) : limit);
    for (time.settle(); !holds(); time.pass(end)) {
        if (Time::Clock::now() >= end)
            throw Failure(otherwise());
    }
}

void Player::throughout(Milliseconds time, const std::function<bool()>& holds,
                        const std::function<std::string()>& otherwise)
{
    const auto end = Time::Clock::now() + time;
    m_card.time().settle();
    do {
        if (!holds())
            throw Failure(otherwise());
        m_card.time().pass(end);
    } while (Time::Clock::now() < end);
}

// If the card's clock did not move, tells the machine's time: how long the daemon computed.
void Player::met(const std::string& what, Nanoseconds when)
{
    const std::chrono::duration<double> passed = Time::Clock::now() - m_markTime;
    char took[40];
    if (passed.count() > 0)
        snprintf(took, sizeof took, "%.1f s", passed.count());
    else
        snprintf(took, sizeof took, "%.1f ms", static_cast<double>(when - m_markReal) / 1e6);
    if (m_met)
        m_met(what + ", after " + took);
}

void Player::expect(Words& words)
{
    m_lastExpected = true;
    const bool wanted = !words.take("no");
    const std::string what = words.next("what is expected");
    if (!wanted && what != "log" && what != "stdout" && what != "reply")
        throw Failure("no stands before log, stdout or reply");
    if (what == "output")
        expectOutput(words);
    else if (what == "log" || what == "stdout")
        expectText(words, what == "stdout", wanted);
    else if (what == "reply")
        expectSent(words, wanted);
    else if (what == "places")
        expectPlaces(words);
    else if (what == "pulses")
        expectPulses(words);
    else if (what == "pin")
        expectCount(words, "PIN entries", [this] { return static_cast<long>(m_card.modem().pinEntries()); });
    else if (what == "puk")
        expectCount(words, "PUK entries", [this] { return static_cast<long>(m_card.modem().pukEntries()); });
    else if (what == "writes")
        expectCount(words, "writes of outputs",
                    [this] { return static_cast<long>(m_card.server().writes().size() - m_markWrites); });
    else if (what == "written")
        expectWritten(words);
    else if (what == "commands") {
        const std::string prefix = words.next("a command's beginning");
        expectCount(words, "such commands", [this, prefix] { return static_cast<long>(m_card.modem().count(prefix)); });
    } else if (what == "pass")
        expectPass(words);
    else if (what == "cpu")
        expectCpu(words);
    else if (what == "nothing")
        expectNothing(words);
    else if (what == "daemon")
        expectDaemon(words);
    else if (what == "server")
        expectServer(words);
    else
        throw Failure("nothing called " + what + " can be expected");
}

// output LABEL STATE [within TIME | for TIME]
void Player::expectOutput(Words& words)
{
    const auto within = words.takeTime("within"), forTime = words.takeTime("for");
    const std::string label = words.next("a label");
    uint32_t state = 0;
    if (!sim::parseState(words.next("a state"), state))
        throw Failure("a state is set, clear or unknown");
    if (!m_card.server().output(label))
        throw Failure("no output is labelled " + label);
    const auto holds = [&] { return m_card.server().output(label)->state == state; };
    const auto otherwise = [&] {
        return "output " + label + " is " + sim::stateWord(m_card.server().output(label)->state) + ", not " +
               sim::stateWord(state);
    };
    if (forTime)
        return throughout(*forTime, holds, otherwise);
    until(within.value_or(kUsualLimit), holds, otherwise);
    const Nanoseconds driven = m_card.lastDriven(label);
    if (driven >= m_markReal)
        met("output " + label + ' ' + sim::stateWord(state), driven);
}

// log|stdout "TEXT" [COUNT times] [within TIME]; no log "TEXT" [for TIME]
void Player::expectText(Words& words, bool standardOutput, bool wanted)
{
    const auto within = words.takeTime("within"), forTime = words.takeTime("for");
    const std::string text = words.next("a text");
    const bool exactly = !words.empty();
    const long times = exactly ? words.number("a number", 1, 1000000) : 1;
    words.take("times");
    const auto countIn = [&](bool out) {
        const std::vector<std::string> lines = m_card.daemon().lines(out, out ? m_markOut : m_markLog);
        return std::count_if(lines.begin(), lines.end(),
                             [&](const std::string& line) { return line.find(text) != std::string::npos; });
    };
    // The log goes to standard error or, with a console appender, to standard output.
    const auto count = [&] { return countIn(true) + (standardOutput ? 0 : countIn(false)); };
    const char* where = standardOutput ? "standard output" : "the log";
    const auto otherwise = [&] {
        return std::string(where) + " has " + quoted(text) + ' ' + std::to_string(count()) + " times";
    };
    if (wanted) {
        until(
            within.value_or(kUsualLimit), [&] { return count() >= times; }, otherwise);
        if (exactly && count() != times)
            throw Failure(otherwise());
    } else
        throughout(
            forTime.value_or(Milliseconds(0)), [&] { return count() == 0; },
            [&] { return std::string(where) + " has " + quoted(text); });
}

// reply NUMBER "TEXT" [within TIME]; no reply [NUMBER] [for TIME]
void Player::expectSent(Words& words, bool wanted)
{
    const auto within = words.takeTime("within"), forTime = words.takeTime("for");
    const std::string number = wanted || !words.empty() ? words.next("a number") : "";
    const std::string text = wanted ? words.rest("a text") : "";
    const auto found = [&] {
        const auto sent = m_card.modem().sent();
        return std::any_of(sent.begin() + static_cast<long>(std::min(m_markSent, sent.size())), sent.end(),
                           [&](const modemsim::SentSms& sms) {
                               return (number.empty() || sms.number == number) && (text.empty() || sms.text == text);
                           });
    };
    const auto list = [&] {
        std::string all = "sent so far:";
        for (const auto& sms : m_card.modem().sent())
            all += ' ' + sms.number + ' ' + quoted(sms.text);
        return all;
    };
    if (!wanted)
        return throughout(
            forTime.value_or(Milliseconds(0)), [&] { return !found(); }, list);
    until(within.value_or(kUsualLimit), found, [&] { return "no such reply; " + list(); });
    met("SMS to " + number + ' ' + quoted(text), Time::real());
}

// places empty | places N [N...] (those that hold a message) [within TIME]
void Player::expectPlaces(Words& words)
{
    const auto within = words.takeTime("within");
    std::string wanted;
    if (!words.take("empty")) {
        do
            wanted += ' ' + words.next("a place");
        while (!words.empty());
    }
    const auto held = [&] {
        std::string places;
        for (const auto& message : m_card.modem().stored())
            places += ' ' + std::to_string(message.place);
        return places;
    };
    until(
        within.value_or(kUsualLimit), [&] { return held() == wanted; },
        [&] { return "messages are in places" + (held().empty() ? " none" : held()); });
}

// written LABEL STATE... | written LABEL nothing: all writes of an output since the mark, in order
void Player::expectWritten(Words& words)
{
    const auto within = words.takeTime("within");
    const std::string label = words.next("a label");
    if (!m_card.server().output(label))
        throw Failure("no output is labelled " + label);
    std::string wanted;
    if (!words.take("nothing")) {
        do {
            uint32_t state = 0;
            if (!sim::parseState(words.next("a state"), state))
                throw Failure("a state is set, clear or unknown");
            wanted += std::string(" ") + sim::stateWord(state);
        } while (!words.empty());
    }
    const auto written = [&] {
        std::string states;
        const std::vector<sim::Tavd::Write> writes = m_card.server().writes();
        for (size_t i = m_markWrites; i < writes.size(); ++i) {
            if (writes[i].label == label)
                states += std::string(" ") + sim::stateWord(writes[i].state);
        }
        return states;
    };
    until(
        within.value_or(kUsualLimit), [&] { return written() == wanted; },
        [&] { return "written to " + label + " was" + (written().empty() ? " nothing" : written()); });
}

// pulses N [of TIME]: since the mark
void Player::expectPulses(Words& words)
{
    const auto within = words.takeTime("within"), length = words.takeTime("of");
    const auto count = static_cast<size_t>(words.number("a number", 0, 1000));
    const auto pulses = [&] { return m_card.pulses().size() - m_markPulses; };
    until(
        within.value_or(kUsualLimit), [&] { return pulses() >= count; },
        [&] { return std::to_string(pulses()) + " pulses were given"; });
    if (pulses() != count)
        throw Failure(std::to_string(pulses()) + " pulses were given");
    for (const Pulse& pulse : m_card.pulses()) {
        if (length && (pulse.length < *length || pulse.length > *length + Milliseconds(5000)))
            throw Failure("a pulse took " + std::to_string(pulse.length.count()) + " ms");
    }
}

// ... N [within TIME]
void Player::expectCount(Words& words, const char* what, const std::function<long()>& count)
{
    const auto within = words.takeTime("within"), forTime = words.takeTime("for");
    const long wanted = words.number("a number", 0, 1000000000);
    const auto holds = [&] { return count() == wanted; };
    const auto otherwise = [&] { return "there are " + std::to_string(count()) + ' ' + what; };
    if (forTime)
        throughout(*forTime, holds, otherwise);
    else
        until(within.value_or(kUsualLimit), holds, otherwise);
}

// pass: an SMS pass has begun and ended since the mark. A message that comes during one may be deleted unread.
void Player::expectPass(Words& words)
{
    const auto within = words.takeTime("within");
    const auto passed = [&] {
        const std::vector<std::string> commands = m_card.modem().commands();
        const auto from = commands.begin() + static_cast<long>(std::min(m_markCommands, commands.size()));
        const auto begins = [](const char* with) {
            return [with](const std::string& command) { return command.rfind(with, 0) == 0; };
        };
        const auto listing = std::find_if(from, commands.end(), begins("AT+CMGL"));
        return std::any_of(listing, commands.end(), begins("AT+CMGD=10"));
    };
    until(within.value_or(kUsualLimit), passed, [] { return std::string("no SMS pass has begun and ended"); });
}

// cpu below PERCENT for TIME: of one core, as if the time were real
void Player::expectCpu(Words& words)
{
    const auto forTime = words.takeTime("for");
    if (!words.take("below"))
        throw Failure("cpu below PERCENT for TIME");
    const long percent = words.number("a percentage", 1, 100);
    const Milliseconds time = forTime.value_or(Milliseconds(5000));
    const double before = m_card.daemon().cpuSeconds();
    throughout(
        time, [] { return true; }, nullptr);
    const double used = (m_card.daemon().cpuSeconds() - before) * 100000 / static_cast<double>(time.count());
    if (used >= static_cast<double>(percent))
        throw Failure("the daemon used " + std::to_string(used) + " percent of a core");
}

// nothing for TIME: no output written, no SMS sent
void Player::expectNothing(Words& words)
{
    const auto time = words.takeTime("for");
    const size_t writes = m_card.server().writes().size(), sent = m_card.sentCount();
    throughout(
        time.value_or(Milliseconds(1000)),
        [&] { return m_card.server().writes().size() == writes && m_card.sentCount() == sent; },
        [] { return std::string("an output was written or an SMS sent"); });
}

void Player::expectDaemon(Words& words)
{
    const bool running = words.oneOf("the daemon's state", {"running", "gone"}) == 0;
    if (running && !m_card.daemon().running())
        throw Failure("the daemon has " + m_card.daemon().ending());
    m_mayBeGone = !running;
    if (!running)
        until(
            kUsualLimit, [&] { return !m_card.daemon().running(); }, [] { return std::string("the daemon runs"); });
}

void Player::checkEnd()
{
    if (!m_mayBeGone && !m_card.daemon().running() && !m_card.daemon().ending().empty())
        throw Failure("the daemon has " + m_card.daemon().ending());
}

// server connected: the daemon is a client
void Player::expectServer(Words& words)
{
    const auto within = words.takeTime("within");
    words.oneOf("the server's state", {"connected"});
    until(
        within.value_or(kUsualLimit), [&] { return m_card.server().clients() > 0; },
        [] { return std::string("no client is connected"); });
}

} // namespace bench
