// The state, the lock and the thread of ModemSim.
#pragma once

#include "modem/Equipment.h"
#include "modem/ModemSim.h"
#include "modem/Outbox.h"
#include "modem/PowerKey.h"
#include "modem/Pty.h"
#include "modem/Reactions.h"
#include "modem/TrafficRecord.h"

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <thread>

/// Lock: mutex guards every field except `worker` and `wakeFd`. It is released while the thread waits and while
/// observers run.
class ModemSim::Impl {
public:
    explicit Impl(Options options);
    ~Impl();

    /// Runs @p action under the lock; wakes the thread and everybody in waitUntil().
    template <typename Action> auto change(Action action)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        struct Told {
            Impl& impl;
            ~Told() { impl.changed(); }
        } told{*this};
        return action();
    }
    template <typename Question> auto ask(Question question) const
    {
        const std::lock_guard<std::mutex> lock(mutex);
        return question();
    }
    bool waitUntil(const std::function<bool()>& condition, milliseconds patience) const;

    void say(milliseconds after, const std::string& line); ///< unsolicited; lock held
    void powered(bool before);                             ///< acts on a change of power; lock held
    void hangUp();                                         ///< lets the thread do it, and waits; lock not held

    mutable std::mutex mutex;
    modemsim::Pty pty;
    modemsim::Equipment me;
    modemsim::PowerKey key;
    modemsim::InputReader input;
    modemsim::Outbox outbox;
    modemsim::Reactions lineReactions;
    modemsim::Reactions textReactions;
    modemsim::TrafficRecord record;
    std::function<void(const TrafficLine&)> onTraffic;
    std::function<void(const SentSms&)> onSent;
    bool silent = false;
    bool hasUser = false;
    std::string lineEnd = "\r\n";
    std::string prompt = "> ";

private:
    using TimePoint = modemsim::Clock::time_point;

    void changed();

    // On the thread. All but run() and wait() are called with the lock held.
    void run();
    void wait(std::unique_lock<std::mutex>& lock);
    void tellObservers(std::unique_lock<std::mutex>& lock);
    void followTerminal();
    void fireTimers(TimePoint now);
    void takeInput();
    void takeLine(const modemsim::Input& line);
    void takeTextEnd(const modemsim::Input& text);
    void answer(const std::optional<modemsim::Reply>& usual, const std::optional<Reaction>& reaction,
                milliseconds delay);
    std::string information(const modemsim::Reply& reply) const;
    std::string finalResult(const modemsim::Reply& reply) const;
    void speak(TimePoint now);
    bool listens() const { return key.isOn() && booted; }

    bool stopping = false;
    bool hangUpAsked = false;
    bool booted = false;
    TimePoint bootTime{};
    std::multimap<TimePoint, std::string> timers; ///< unsolicited bytes by time; equal times in order of insertion
    std::size_t sentTold = 0;                     ///< sent messages that the observer was told of
    bool terminalFull = false;

    mutable std::condition_variable something;
    std::uint64_t changes = 0;
    int wakeFd = -1;
    std::thread worker;

    friend class ModemSim;
};
