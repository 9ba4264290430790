// From what happens on the card to what every viewer of the page is sent.
#ifndef SIM_WEB_HUB_H
#define SIM_WEB_HUB_H

#include "web/Board.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace web {

/// Gathers for a twentieth of a second, then makes one batch for all viewers. A viewer asks for what comes after the
/// batch that it has; one that is too far behind gets the whole state instead. Nothing that a viewer does or leaves
/// undone is noticed by those who tell. Threads: any may call anything; one of its own makes the batches. Locks:
/// m_inboxMutex guards what was told and not yet batched, held for an append; m_mutex the board and the
///          batches. Never both.
class Hub {
public:
    /// @param about what the page is told of itself; sent with every snapshot
    explicit Hub(nlohmann::json about);
    ~Hub();
    Hub(const Hub&) = delete;
    Hub& operator=(const Hub&) = delete;

    /// Takes note, without waiting; the time of @p happening is set here. What comes faster than it can be batched is
    /// left out and counted; of each port the last state is never left out.
    void tell(Happening happening);
    void tell(Happening::Kind kind, const std::string& text, const std::string& who = "");
    void tell(const sim::Port& port);

    void setPorts(const std::vector<sim::Port>& ports);
    void setRules(const std::string& pairFile);
    void set(const std::string& part, nlohmann::json value);

    /// What a viewer is sent next, as server-sent events; empty when nothing came within @p patience.
    /// @param seen the last batch that the viewer has, moved on; 0 at first
    std::string next(uint64_t& seen, std::chrono::milliseconds patience);
    /// Viewers that wait get nothing any more.
    void close();
    bool closed() const;

private:
    void run();
    void batch();

    const nlohmann::json m_about;

    std::mutex m_inboxMutex;
    std::vector<Happening> m_inbox;
    std::map<std::pair<bool, std::string>, Happening> m_overflow; // ports told while the inbox was full
    size_t m_leftOut = 0;

    mutable std::mutex m_mutex;
    std::condition_variable m_news;
    Board m_board;
    std::deque<std::string> m_batches; // the last of them is number m_last
    uint64_t m_last;
    uint64_t m_snapshotOf = 0; // the batch after which m_snapshot was made
    std::string m_snapshot;
    bool m_closed = false;
    std::thread m_thread;
};

/// The calling thread, and those that it starts from now on, give way to the card's and the daemon's, and keep the
/// machine's clock. Called before the thread looks at a clock.
void giveWay();

} // namespace web

#endif
