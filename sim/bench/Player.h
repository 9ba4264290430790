// Obeys the commands of the scenario language and checks its expectations, on one card.
#ifndef SIM_BENCH_PLAYER_H
#define SIM_BENCH_PLAYER_H

#include "bench/Card.h"
#include "bench/Scenario.h"

#include <functional>
#include <string>
#include <vector>

namespace bench {

/// One command of the language.
struct Verb;

/// An expectation looks at what has happened since the mark: the moment before the last block of commands that act.
/// So the expectations after a block may stand in any order.
class Player {
public:
    /// @param folder  the base of relative file names in a scenario
    Player(Card& card, std::string folder) : m_card(card), m_folder(std::move(folder)) {}
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    /// Obeys one line. @throws Failure
    void obey(const std::string& line);
    /// Call it at a scenario's end. @throws Failure if the daemon has ended by itself and was not expected to
    void checkEnd();
    /// All commands, for the prompt's completion and help.
    static const std::vector<Verb>& verbs();
    /// Checks a line's first word without obeying the line. @throws Failure
    static void checkVerb(const std::string& line);
    /// Whether a line's command needs a card that uses faults.
    static bool makesFaults(const std::string& line);
    /// Called with each `note`.
    void onNote(std::function<void(const std::string&)> listener) { m_note = std::move(listener); }
    /// Called when an expectation of an output or SMS is met, with the time since the mark.
    void onMet(std::function<void(const std::string&)> listener) { m_met = std::move(listener); }

private:
    friend struct Verb;

    // Commands: each takes its words.
    void card(Words& words);
    void config(Words& words);
    void ports(Words& words);
    void gpio(Words& words);
    void server(Words& words);
    void serverAnswers(Words& words);
    void serverOmits(Words& words);
    void start(Words& words);
    void kill(Words& words);
    void alarm(Words& words);
    void drive(Words& words);
    void modem(Words& words);
    void sms(Words& words);
    void ussd(Words& words);
    void console(Words& words);
    void signals(Words& words);
    void limit(Words& words);
    void clock(Words& words);
    void shortWrites(Words& words);
    void note(Words& words);
    void wait(Words& words);
    void flood(Words& words);
    void expect(Words& words);

    // Kinds of modem commands.
    void modemBefore(Words& words, const std::string& what);
    void modemNow(Words& words, const std::string& what);
    void modemReact(Words& words);
    void modemSim(Words& words);
    static modemsim::StoredSms storedSms(Words& words);

    // Kinds of expectations.
    void expectOutput(Words& words);
    void expectText(Words& words, bool standardOutput, bool wanted);
    void expectSent(Words& words, bool wanted);
    void expectWritten(Words& words);
    void expectPlaces(Words& words);
    void expectPulses(Words& words);
    void expectCount(Words& words, const char* what, const std::function<long()>& count);
    void expectPass(Words& words);
    void expectCpu(Words& words);
    void expectNothing(Words& words);
    void expectDaemon(Words& words);
    void expectServer(Words& words);

    void mark();
    void met(const std::string& what, Nanoseconds when);
    std::string file(const std::string& name) const;
    /// Waits until @p holds, in the daemon's time. @throws Failure with @p otherwise after the limit
    void until(Milliseconds limit, const std::function<bool()>& holds, const std::function<std::string()>& otherwise);
    /// Checks that @p holds all the time. @throws Failure with @p otherwise
    void throughout(Milliseconds time, const std::function<bool()>& holds,
                    const std::function<std::string()>& otherwise);

    Card& m_card;
    std::string m_folder;
    std::function<void(const std::string&)> m_note, m_met;
    Time::Clock::time_point m_markTime;
    Nanoseconds m_markReal = 0; // by the machine's clock
    bool m_lastExpected = true; // whether the next command sets a new mark
    size_t m_markOut = 0, m_markLog = 0, m_markSent = 0, m_markWrites = 0, m_markPulses = 0, m_markCommands = 0;
    bool m_mayBeGone = false; // whether the daemon was expected to end by itself
};

struct Verb {
    const char* name;
    void (Player::*obey)(Words&);
    bool acts; ///< whether it begins a new block
    const char* form;
};

} // namespace bench

#endif
