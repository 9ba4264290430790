// The bench with its page: a scenario that can be paused, and the viewers' commands.
#ifndef SIM_WEB_DESK_H
#define SIM_WEB_DESK_H

#include "bench/Player.h"
#include "web/Hub.h"

#include <atomic>
#include <condition_variable>
#include <future>
#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace web {

/// Connects one card and the hub, in both directions.
/// Threads: the bench's thread makes it, calls run(), and alone uses the card. Another thread of the desk watches the
///          modem. Any thread may call command().
/// Lock:    m_mutex guards the viewers' commands.
class Desk {
public:
    /// Both are borrowed.
    Desk(bench::Card& card, Hub& hub);
    ~Desk();
    Desk(const Desk&) = delete;
    Desk& operator=(const Desk&) = delete;

    /// Plays the lines up to the daemon's start. After that the viewers control it, until stop().
    /// @return whether every line succeeded and every expectation was met
    bool run(bench::Player& player, const std::string& file, std::vector<std::string> lines);
    /// Safe in a signal handler.
    static void stop() { s_stop = true; }

    /// Runs a viewer's request: {"line": a command of the language} to /command, {"do": "run", "pause" or "step"} to
    /// /scenario. @return an error message, or empty
    std::string command(const std::string& path, const nlohmann::json& wish);

private:
    struct Job {
        std::string line;
        std::promise<std::string> result;
    };
    enum class Mode { Paused, Running, Step };

    void listen();
    void watchModem();
    bool nextJob(Job& job);
    bool lineIsDue();
    std::string obey(const std::string& line, bool ofScenario);
    void playLine();
    void tellOf(const std::string& line);
    void tellState();
    void tellRules();
    void tellProgress(const char* state, const std::string& failure = "");
    std::string control(const std::string& wish);

    bench::Card& m_card;
    Hub& m_hub;
    bench::Player* m_player = nullptr;
    std::vector<std::string> m_lines;
    size_t m_next = 0; // next line of the scenario
    bool m_good = true, m_hanging = false, m_wasStarted = false;
    std::string m_pairs;            // the pair file that the viewers see
    std::vector<sim::Port> m_ports; // as the viewers see them

    std::mutex m_mutex;
    std::condition_variable m_wished;
    std::list<Job> m_jobs;
    Mode m_mode = Mode::Paused;

    static std::atomic<bool> s_stop;
    std::atomic<bool> m_end{false};
    std::atomic<ModemSim*> m_modem{nullptr};
    std::thread m_modemWatch;
};

} // namespace web

#endif
