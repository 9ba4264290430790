// A simulated object server.
#ifndef SIM_TAVD_TAVD_H
#define SIM_TAVD_TAVD_H

#include "tavd/Ports.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace sim {

/// Serves ports to any number of clients. It can be stopped and restarted, and can hang or give false answers.
/// Threads: it has an io thread. One thread calls start(), stop() and hang(), while no other thread calls anything. Any
///          thread may call the other operations.
class Tavd {
public:
    using Clock = std::chrono::steady_clock;

    /// An output written by a client.
    struct Write {
        std::string label;
        uint32_t state;
        uint32_t toggled;
        Clock::time_point time;
    };

    /// Behaviour that a card's server may show, too. The default is the simplest for a client.
    struct Manners {
        Clock::duration answerDelay{0}; ///< from a get to its answer
        bool reversed = false;          ///< answers are in the reverse order of the request
        bool acknowledges = true;       ///< a set is acknowledged
        bool strange = false; ///< sends events of unknown ports, devices, sites and accesses before each event
        std::vector<std::string> omitted; ///< labels of ports that are missing in answers
    };

    Tavd();
    ~Tavd();
    Tavd(const Tavd&) = delete;
    Tavd& operator=(const Tavd&) = delete;

    /// Replaces all ports, without telling the clients. Usually called before start().
    void setPorts(std::vector<Port> ports);
    /// Takes effect at once.
    void setManners(Manners manners);
    Manners manners() const;
    /// Listens and serves. @param port  0 for a free one. @return false with the reason in @p error
    bool start(const std::string& address, uint16_t port, std::string* error = nullptr);
    /// The port that start() listens on. It stays after stop(), so that start("...", port()) is a restart.
    uint16_t port() const;
    /// Closes all connections. The ports keep their states.
    void stop();
    /// While @p on, neither reads nor writes, but keeps its connections and accepts new ones.
    void hang(bool on);

    /// Sets an input's alarm status and tells every client, even if it is the same. @return false for an unknown label
    bool setInput(const std::string& label, uint32_t status);
    /// The same for several inputs, in one message.
    bool setInputs(const std::vector<std::pair<std::string, uint32_t>>& changes);
    /// Drives an output, like another client.
    bool setOutput(const std::string& label, uint32_t state, uint32_t toggled);
    /// The present state of a port.
    std::optional<Port> input(const std::string& label) const;
    std::optional<Port> output(const std::string& label) const;
    /// The present states of all ports, in the order of setPorts().
    std::vector<Port> ports() const;

    /// Every write of an output so far, in order; the number of answered gets; the number of clients.
    std::vector<Write> writes() const;
    void forgetWrites();
    size_t gets() const;
    size_t clients() const;
    /// The number of connections so far.
    size_t connections() const;

    /// Sends these bytes to every client, without a frame.
    void sendRaw(const std::string& bytes);
    /// A frame with this content, for sendRaw().
    static std::string frame(const std::string& content);
    /// Answers later gets with this content and the request's id. Empty: answers correctly again.
    void answerGetsWith(const std::string& content);

    /// Waits until @p holds returns true; it is called after every change. @return whether it did within @p limit
    bool waitUntil(const std::function<bool()>& holds, Clock::duration limit) const;
    /// Waits for an output's state.
    bool waitForOutput(const std::string& label, uint32_t state, Clock::duration limit) const;
    /// Set it before start(). @param listener  called after a port has changed, on the io thread or by setInput()'s
    /// caller
    void onChange(std::function<void(const Port&)> listener);

private:
    class Server;
    std::unique_ptr<Server> m_server;
};

} // namespace sim

#endif
