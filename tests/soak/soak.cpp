// Lets the real daemon live through days of the bench's clock in which everything happens that a site sees in a year,
// in an order that a seed gives; prints what happened how often, and what the daemon's memory, threads and descriptors
// did. The same seed prints the same, but for the real time and the memory.
#include "bench/Card.h"
#include "bench/Sandbox.h"
#include "bench/Time.h"
#include "bench/Tools.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <map>
#include <memory>
#include <random>
#include <string>

using bench::Failure;
using bench::Milliseconds;
using bench::Time;
using std::chrono::seconds;

namespace {

constexpr char kListed[] = "0151123456";
constexpr uint32_t kSet = 1, kClear = 2;
constexpr double kLastDeath = 0.5; // of the days: from then on the daemon lives on, so that growth would show
constexpr double kWarm = 0.55;     // of the days: it is as large as it should be
constexpr long kMayGrowKiB = 1024; // of resident memory, from then on

struct Wishes {
    double days = 30;
    unsigned seed = 0;
    std::string config;
};

volatile sig_atomic_t g_enough = 0; // a person has seen enough: the summary of what was

class Soak {
public:
    explicit Soak(const Wishes& wishes)
        : m_wishes(wishes), m_card(bench::findTools(""), bench::Pace()), m_random(wishes.seed)
    {
    }
    /// @return whether nothing has grown
    bool play();
    /// How long it went well, and the daemon's last lines.
    void printEnd();

private:
    struct Figures {
        long residentKiB, threads, descriptors;
    };

    void startDaemon(const char* after);
    void letSomethingHappen();
    bool summarise(const Figures& early, const Figures& late);

    // What may happen; each leaves the site in order, or throws.
    void flipInputs();
    void storm();
    void meddle();
    void restartServer();
    void hangServer();
    void command();
    void query();
    void alarm();
    void stranger();
    void hurtModem();
    void chatter();
    void killDaemon();
    void cutPower();
    void changeClock();

    void setInput(size_t which, bool set);
    void expectOutputs(const char* after, seconds limit);
    /// Sends an SMS until @p obeyed holds, as a person does who sees nothing happen.
    void persist(const std::string& number, const std::string& text, const std::function<bool()>& obeyed);
    bool waitUntil(const std::function<bool()>& holds, Milliseconds limit);
    void pause(Milliseconds time);
    size_t pick(size_t count) { return std::uniform_int_distribution<size_t>(0, count - 1)(m_random); }
    Figures figures();
    double days() const;
    void print(const char* when, const Figures& figures) const;

    Wishes m_wishes;
    bench::Card m_card;
    std::mt19937 m_random;
    std::array<bool, 8> m_in{}; // the alarms of IN0 ... IN7
    bool m_pump = false;        // as last commanded
    std::map<std::string, long> m_count;
    Time::Clock::time_point m_start = Time::Clock::now();
    const Nanoseconds m_realStart = Time::real();
};

// What each output must be: set is away from its default.
std::map<std::string, bool> truth(const std::array<bool, 8>& in, bool pump)
{
    return {{"EITHER", in[0] || in[1]},
            {"BOTH", in[2] && in[3]},
            {"LAMP", !in[4]},
            {"NESTED", (in[5] && in[6]) || !in[7]},
            {"PUMP", pump}};
}

void Soak::setInput(size_t which, bool set)
{
    m_in[which] = set;
    m_card.server().setInput("IN" + std::to_string(which), set ? kSet : kClear);
}

bool Soak::waitUntil(const std::function<bool()>& holds, Milliseconds limit)
{
    const auto end = Time::Clock::now() + limit;
    for (m_card.time().settle(); !holds(); m_card.time().pass(end)) {
        if (!m_card.daemon().running())
            throw Failure("the daemon " + m_card.daemon().ending());
        if (Time::Clock::now() >= end)
            return false;
    }
    return true;
}

void Soak::pause(Milliseconds time)
{
    const auto end = Time::Clock::now() + time;
    while (Time::Clock::now() < end)
        m_card.time().pass(end);
}

void Soak::expectOutputs(const char* after, seconds limit)
{
    std::string wrong;
    const auto right = [&] {
        wrong.clear();
        for (const auto& [label, set] : truth(m_in, m_pump)) {
            const auto port = m_card.server().output(label);
            if (!port || port->state != (set ? kSet : kClear))
                wrong += ' ' + label;
        }
        return wrong.empty();
    };
    if (!waitUntil(right, limit))
        throw Failure(std::string("wrong after ") + after + ':' + wrong);
}

void Soak::flipInputs()
{
    for (size_t flips = 1 + pick(4); flips > 0; --flips) {
        const size_t which = pick(m_in.size());
        setInput(which, !m_in[which]);
        ++m_count["events"];
    }
    expectOutputs("an event", seconds(5));
}

void Soak::storm()
{
    for (int i = 0; i < 500; ++i) {
        const size_t which = pick(m_in.size());
        setInput(which, !m_in[which]);
    }
    m_count["events"] += 500;
    expectOutputs("a storm of events", seconds(5));
}

// Somebody else drives an output; the poll puts it right.
void Soak::meddle()
{
    const std::array<const char*, 4> labels = {"EITHER", "BOTH", "LAMP", "NESTED"};
    const char* label = labels[pick(labels.size())];
    m_card.server().setOutput(label, truth(m_in, m_pump)[label] ? kClear : kSet, 2);
    expectOutputs("another's write", seconds(125));
}

void Soak::restartServer()
{
    m_card.stopServer();
    pause(seconds(1 + pick(120)));
    m_card.startServer();
    expectOutputs("the server's return", seconds(125));
}

void Soak::hangServer()
{
    m_card.server().hang(true);
    pause(seconds(1 + pick(30)));
    m_card.server().hang(false);
    const size_t which = pick(m_in.size());
    setInput(which, !m_in[which]);
    expectOutputs("a hang of the server", seconds(125));
}

void Soak::persist(const std::string& number, const std::string& text, const std::function<bool()>& obeyed)
{
    for (int tries = 0; tries < 20; ++tries) {
        m_card.modem().sms(number, text);
        ++m_count["SMS in"];
        if (waitUntil(obeyed, seconds(90)))
            return;
        ++m_count["SMS sent again by their senders"];
    }
    throw Failure("20 times in vain: " + text);
}

void Soak::command()
{
    m_pump = pick(2) == 1;
    const uint32_t wanted = m_pump ? kSet : kClear;
    persist(kListed, m_pump ? "PUMP ON" : "PUMP OFF", [&] { return m_card.server().output("PUMP")->state == wanted; });
}

void Soak::query()
{
    const size_t before = m_card.sentCount();
    persist(kListed, "PUMP QUERY", [&] { return m_card.sentCount() > before; });
}

void Soak::alarm()
{
    const size_t before = m_card.sentCount();
    persist(kListed, "DOOR ON", [&] { return m_card.sentCount() > before; });
}

void Soak::stranger()
{
    static const std::array<const char*, 6> texts = {"PUMP ON", "PUMP OFF",   "OK",
                                                     "ERROR",   "DOOR QUERY", "line\r\nPUMP ON"};
    pause(seconds(60)); // answers and alarms of before have gone out
    const size_t sent = m_card.sentCount();
    std::string text = texts[pick(texts.size())];
    if (pick(2) == 0) {
        text.resize(pick(160));
        std::generate(text.begin(), text.end(), [this] { return static_cast<char>(' ' + pick(95)); });
    }
    m_card.modem().sms("0171999999", text);
    ++m_count["SMS in"];
    pause(seconds(20));
    expectOutputs("a stranger's SMS", seconds(1));
    if (m_card.sentCount() != sent)
        throw Failure("a stranger was answered: " + text);
}

// The modem fails for a while in the middle of its work; afterwards a command is obeyed again.
void Soak::hurtModem()
{
    ModemSim& modem = m_card.modem();
    static const std::array<const char*, 3> commands = {"AT+CMGL", "AT+CMGS", "AT+CMGD"};
    using Reaction = ModemSim::Reaction;
    static const std::array<Reaction, 3> reactions = {Reaction::line("ERROR"), Reaction::line("+CMS ERROR: 512"),
                                                      Reaction::late(seconds(3))};
    const size_t how = pick(reactions.size() + 1);
    if (how == 0)
        modem.setSilent(true);
    else
        modem.react(commands[pick(commands.size())], reactions[how - 1], 3);
    modem.sms(kListed, "PUMP QUERY");
    pause(seconds(30 + pick(120)));
    modem.setSilent(false);
    modem.clearReactions();
    command();
}

void Soak::chatter()
{
    static const std::array<const char*, 5> lines = {"RING", "+CREG: 1", "^RSSI: 17", "+CUSD: 0,\"credit 12.50\",15",
                                                     "OK"};
    for (size_t count = 1 + pick(20); count > 0; --count)
        m_card.modem().sendLine(lines[pick(lines.size())]);
}

void Soak::startDaemon(const char* after)
{
    m_card.start();
    expectOutputs(after, seconds(125));
}

// Whatever it does at the time; what was commanded by SMS stays as it is.
void Soak::killDaemon()
{
    if (days() >= m_wishes.days * kLastDeath)
        return;
    m_card.killDaemon();
    pause(seconds(pick(30)));
    startDaemon("a kill of the daemon");
}

// Of the whole card: its outputs fall back, the modem must be switched on again.
void Soak::cutPower()
{
    if (days() >= m_wishes.days * kLastDeath)
        return;
    m_card.killDaemon();
    m_card.stopServer();
    m_card.modem().setPower(false);
    for (const auto& output : truth(m_in, m_pump))
        m_card.server().setOutput(output.first, kClear, 1);
    m_pump = false;
    pause(seconds(1 + pick(3600)));
    m_card.startServer();
    startDaemon("a power cut");
    command();
}

// Of the time of day, to any day of ten years; the daemon's waits must not mind.
void Soak::changeClock()
{
    char date[20];
    snprintf(date, sizeof date, "20%02zu-%02zu-%02zu", 26 + pick(10), 1 + pick(12), 1 + pick(28));
    m_card.time().setDay(date);
    flipInputs();
}

Soak::Figures Soak::figures()
{
    return {m_card.daemon().residentKiB(), m_card.daemon().threads(), m_card.daemon().descriptors()};
}

double Soak::days() const
{
    return std::chrono::duration<double>(Time::Clock::now() - m_start).count() / 86400;
}

void Soak::print(const char* when, const Figures& figures) const
{
    printf("%-24s resident %ld KiB, %ld threads, %ld descriptors\n", when, figures.residentKiB, figures.threads,
           figures.descriptors);
}

void Soak::printEnd()
{
    printf("after %.2f days; the daemon's last lines:\n", days());
    const std::vector<std::string> lines = m_card.daemon().lines(false, 0);
    for (size_t i = lines.size() > 40 ? lines.size() - 40 : 0; i < lines.size(); ++i)
        fprintf(stderr, "    %s\n", lines[i].c_str());
}

void Soak::letSomethingHappen()
{
    struct Happening {
        const char* name;
        void (Soak::*happen)();
        int weight; // of 100
    };
    static const std::array<Happening, 14> happenings = {{{"changes of inputs", &Soak::flipInputs, 47},
                                                          {"storms of 500 events", &Soak::storm, 3},
                                                          {"outputs driven by others", &Soak::meddle, 5},
                                                          {"server restarts", &Soak::restartServer, 4},
                                                          {"server hangs", &Soak::hangServer, 4},
                                                          {"ON and OFF commands", &Soak::command, 12},
                                                          {"queries", &Soak::query, 6},
                                                          {"alarms", &Soak::alarm, 4},
                                                          {"strangers", &Soak::stranger, 5},
                                                          {"modem failures", &Soak::hurtModem, 4},
                                                          {"unasked modem lines", &Soak::chatter, 3},
                                                          {"kills of the daemon", &Soak::killDaemon, 1},
                                                          {"power cuts", &Soak::cutPower, 1},
                                                          {"changes of the clock", &Soak::changeClock, 1}}};
    int at = static_cast<int>(pick(100));
    for (const Happening& happening : happenings) {
        at -= happening.weight;
        if (at < 0) {
            (this->*happening.happen)();
            ++m_count[happening.name];
            break;
        }
    }
}

// @return whether nothing has grown
bool Soak::summarise(const Figures& early, const Figures& late)
{
    printf("\nseed %u: %.2f days in %.0f s; the final states are right\n", m_wishes.seed, days(),
           static_cast<double>(Time::real() - m_realStart) / 1e9);
    m_count["refreshes of the port lists"] = static_cast<long>(m_card.server().gets());
    m_count["writes of outputs"] = static_cast<long>(m_card.server().writes().size());
    m_count["AT command lines and texts"] = static_cast<long>(m_card.commandCount());
    m_count["SMS out"] = static_cast<long>(m_card.sentCount());
    for (const auto& [what, times] : m_count)
        printf("%9ld %s\n", times, what.c_str());
    const bool grown = late.residentKiB > early.residentKiB + kMayGrowKiB || late.threads != early.threads ||
                       late.descriptors > early.descriptors;
    printf("memory %+ld KiB, threads %+ld, descriptors %+ld since the middle: %s\n",
           late.residentKiB - early.residentKiB, late.threads - early.threads, late.descriptors - early.descriptors,
           grown ? "GROWN" : "no growth");
    return !grown;
}

bool Soak::play()
{
    m_card.useConfig(m_wishes.config);
    m_card.start();
    const auto ready = [this] {
        const std::vector<std::string> lines = m_card.daemon().lines(false, 0);
        return std::any_of(lines.begin(), lines.end(), [](const std::string& line) {
            return line.find("modem setup correctly") != std::string::npos;
        });
    };
    if (!waitUntil(ready, seconds(600)))
        throw Failure("the modem is not set up");
    expectOutputs("the start", seconds(10));

    m_start = Time::Clock::now();
    Figures early = figures();
    bool warm = false;
    print("at start", early);
    while (days() < m_wishes.days && g_enough == 0) {
        if (!warm && days() >= m_wishes.days * kWarm) {
            warm = true;
            print("past the middle", early = figures());
        }
        letSomethingHappen();
        pause(seconds(pick(600))); // five minutes on average
    }
    pause(seconds(130)); // a last poll, and whatever the modem still has to do
    expectOutputs("everything", seconds(10));
    const Figures late = figures();
    print("at the end", late);

    return summarise(early, late);
}

} // namespace

int main(int argc, char* argv[])
{
    CLI::App app(
        "Days of the daemon's life by the bench's clock, in a reproducible random order; an interrupt ends them early");
    Wishes wishes;
    wishes.seed = std::random_device()();
    app.add_option("--days", wishes.days, "of the daemon's time")->check(CLI::PositiveNumber)->capture_default_str();
    app.add_option("--seed", wishes.seed, "of the random order; default: another each time");
    app.add_option("--config", wishes.config, "the site's three files")->required()->check(CLI::ExistingDirectory);
    CLI11_PARSE(app, argc, argv);
    setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    signal(SIGPIPE, SIG_IGN);
    signal(SIGINT, [](int) { g_enough = 1; });
    printf("seed %u\n", wishes.seed);
    const std::string wrong = bench::enterSandbox();
    if (!wrong.empty()) {
        fprintf(stderr, "soak: %s\n", wrong.c_str());
        return 2;
    }
    std::unique_ptr<Soak> soak;
    try {
        soak = std::make_unique<Soak>(wishes);
        return soak->play() ? 0 : 1;
    } catch (const Failure& failure) {
        if (soak)
            soak->printEnd();
        fprintf(stderr, "soak: %s\n", failure.what());
        return 1;
    }
}
