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

/// What an expectation looks at begins at a mark: the moment before the last block of commands that did something. So
/// the expectations after a block may stand in any order.
class Player {
public:
    /// @param folder what the files named in a scenario are relative to
    Player(Card& card, std::string folder) : m_card(card), m_folder(std::move(folder)) {}
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    /// Obeys one line. @throws Failure
    void obey(const std::string& line);
    /// At a scenario's end: a daemon that has ended by itself, and was not expected to, fails it. @throws Failure
    void checkEnd();
    /// The table of the language, for the prompt's completion and its help.
    static const std::vector<Verb>& verbs();
    /// Checks a line's form without obeying it, as far as that is possible: its first word. @throws Failure
    static void checkVerb(const std::string& line);
    /// Whether a line's command needs a card that uses faults.
    static bool makesFaults(const std::string& line);
    /// Called with each `note`.
    void onNote(std::function<void(const std::string&)> listener) { m_note = std::move(listener); }
    /// Called with each expectation about an output or an SMS that was met, and how long it took since the mark.
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
    /// Waits for @p holds; @throws Failure with @p otherwise when the deadline (of the daemon's time) passes.
    void until(Milliseconds limit, const std::function<bool()>& holds, const std::function<std::string()>& otherwise);
    /// Watches that @p holds stays for a time of the daemon's. @throws Failure
    void throughout(Milliseconds time, const std::function<bool()>& holds,
                    const std::function<std::string()>& otherwise);

    Card& m_card;
    std::string m_folder;
    std::function<void(const std::string&)> m_note, m_met;
    Time::Clock::time_point m_markTime;
    Nanoseconds m_markReal = 0; // by the machine's clock
    bool m_lastExpected = true; // the last line was an expectation: the next command makes a new mark
    size_t m_markOut = 0, m_markLog = 0, m_markSent = 0, m_markWrites = 0, m_markPulses = 0, m_markCommands = 0;
    bool m_mayBeGone = false; // the daemon was expected to end by itself
};

struct Verb {
    const char* name;
    void (Player::*obey)(Words&);
    bool acts; ///< may make something happen, so that expectations begin anew
    const char* form;
};

} // namespace bench

#endif
