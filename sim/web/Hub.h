// Collects the card's events and sends them to every viewer of the page.
#ifndef SIM_WEB_HUB_H
#define SIM_WEB_HUB_H

#include "web/Board.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace web {

/// Every 50 ms, makes one batch of all new events for all viewers. A viewer asks for what follows its last batch; one
/// that is too far behind gets the whole state instead. A slow viewer never delays tell().
/// Threads: any thread may call anything. A thread of the hub makes the batches.
/// Locks:   m_inboxMutex guards new events and is held for an append only; m_mutex guards the board and the batches. No
///          thread holds both.
class Hub {
public:
    /// @param about  facts about the page, sent with every snapshot
    explicit Hub(nlohmann::json about);
    ~Hub();
    Hub(const Hub&) = delete;
    Hub& operator=(const Hub&) = delete;

    /// Records @p happening with the present time, without waiting. Events that come too fast are dropped and counted,
    /// but never the last state of a port.
    void tell(Happening happening);
    void tell(Happening::Kind kind, const std::string& text, const std::string& who = "");
    void tell(const sim::Port& port);

    void setPorts(const std::vector<sim::Port>& ports);
    void setRules(const std::string& pairFile);
    void set(const std::string& part, nlohmann::json value);

    /// The next server-sent events for a viewer; empty if there are none within @p patience.
    /// @param seen  the viewer's last batch, 0 at first; updated
    std::string next(uint64_t& seen, std::chrono::milliseconds patience);
    /// Ends every wait in next().
    void close();
    bool closed() const;

private:
    void run();
    void batch();

    const nlohmann::json m_about;

    std::mutex m_inboxMutex;
    std::vector<Happening> m_inbox;
    std::map<std::pair<bool, std::string>, Happening> m_overflow; // changed while the inbox was full
    size_t m_leftOut = 0;

    mutable std::mutex m_mutex;
    std::condition_variable m_news;
    Board m_board;
    std::deque<std::string> m_batches; // the last one has number m_last
    uint64_t m_last;
    uint64_t m_snapshotOf = 0; // the last batch that is in m_snapshot
    std::string m_snapshot;
    bool m_closed = false;
    std::thread m_thread;
};

/// Gives the calling thread, and those that it starts later, a lower priority than the card and the daemon, and the
/// machine's clock. Call it before the thread reads a clock.
void giveWay();

} // namespace web

#endif
