// The state, the lock and the io thread of Tavd.
#ifndef SIM_TAVD_SERVER_H
#define SIM_TAVD_SERVER_H

#include "tavd/Session.h"
#include "tavd/Tavd.h"

#include <condition_variable>
#include <mutex>
#include <set>
#include <thread>

namespace sim {

class Tavd::Server {
public:
    ~Server() { stop(); }

    bool start(const std::string& address, uint16_t port, std::string* error);
    void stop();
    void hang(bool on);
    void broadcast(const std::string& frame, const Session* except = nullptr);
    void changed(const Port& port);
    Port* find(const std::string& label, bool output);
    bool acknowledges() const;

    // The state, guarded by mutex. Every change of it notifies the condition variable.
    mutable std::mutex mutex;
    mutable std::condition_variable change;
    std::vector<Port> ports;
    std::vector<Write> writes;
    std::string forgedAnswer;
    Manners manners;
    size_t gets = 0, clients = 0, connections = 0;
    uint16_t listening = 0;
    std::function<void(const Port&)> listener; // not changed while the server runs

private:
    void accept();
    void admit(const std::shared_ptr<Session>& session);
    void receive(const std::shared_ptr<Session>& session, const tavobj::Message& request);
    void answer(const std::shared_ptr<Session>& session, const tavobj::Message& request);
    void sendAfter(Clock::duration delay, const std::shared_ptr<Session>& session, std::string frame);
    void obey(const std::shared_ptr<Session>& session, const tavobj::Message& request);

    // For the io thread only.
    std::unique_ptr<asio::io_context> m_context;
    std::unique_ptr<asio::ip::tcp::acceptor> m_acceptor;
    std::unique_ptr<asio::steady_timer> m_pause;
    std::set<std::shared_ptr<Session>> m_sessions;
    bool m_hanging = false;
    std::thread m_thread;
};

} // namespace sim

#endif
