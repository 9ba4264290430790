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

/// Publishes ports to any number of clients and obeys them; can be stopped, restarted, made to hang, and made to lie.
/// Threads: an io thread of its own. start(), stop() and hang() are called by one thread, which calls them while no
/// other thread calls anything; everything else may be called by any thread.
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

    /// How the server behaves where a client has no right to better. A new one is kind.
    struct Manners {
        Clock::duration answerDelay{0}; ///< from a get to its answer
        bool reversed = false;          ///< answers come in the reverse order of what was asked
        bool acknowledges = true;       ///< a set is answered
        bool strange = false;           ///< each event comes behind others: of unknown ports, devices, sites, accesses
        std::vector<std::string> omitted; ///< labels of ports that answers do not hold
    };

    Tavd();
    ~Tavd();
    Tavd(const Tavd&) = delete;
    Tavd& operator=(const Tavd&) = delete;

    /// Replaces all ports, without a word to the clients; most useful before start().
    void setPorts(std::vector<Port> ports);
    /// From now on it behaves so.
    void setManners(Manners manners);
    Manners manners() const;
    /// Listens and serves. @param port 0 for a free one. @return false with what is wrong in @p error
    bool start(const std::string& address, uint16_t port, std::string* error = nullptr);
    /// The port that start() listens on; kept over a stop(), so that start("...", port()) is a restart.
    uint16_t port() const;
    /// Closes everything; the ports keep their states.
    void stop();
    /// Neither reads nor writes while on, but keeps its connections and accepts new ones.
    void hang(bool on);

    /// Changes an input's alarm status and tells every client, changed or not. @return false for an unknown label
    bool setInput(const std::string& label, uint32_t status);
    /// The same for several events in one message.
    bool setInputs(const std::vector<std::pair<std::string, uint32_t>>& changes);
    /// Drives an output as some other client would.
    bool setOutput(const std::string& label, uint32_t state, uint32_t toggled);
    /// The port of this label and kind as it is now.
    std::optional<Port> input(const std::string& label) const;
    std::optional<Port> output(const std::string& label) const;
    /// All ports as they are now, in the order of setPorts().
    std::vector<Port> ports() const;

    /// Every write of an output so far, in order, and how many gets have been answered.
    std::vector<Write> writes() const;
    void forgetWrites();
    size_t gets() const;
    size_t clients() const;
    /// How many clients have connected so far.
    size_t connections() const;

    /// Sends these bytes to every client as they are.
    void sendRaw(const std::string& bytes);
    /// A frame with this content (to be sent raw).
    static std::string frame(const std::string& content);
    /// Answers the gets to come with this content and the request's id instead of the truth; empty: the truth again.
    void answerGetsWith(const std::string& content);

    /// Waits until @p holds does, looked at after every change. @return whether it came to hold within @p limit
    bool waitUntil(const std::function<bool()>& holds, Clock::duration limit) const;
    /// Waits for an output's state.
    bool waitForOutput(const std::string& label, uint32_t state, Clock::duration limit) const;
    /// Called on the io thread, or in setInput's caller, after a port has changed; set it before start().
    void onChange(std::function<void(const Port&)> listener);

private:
    class Server;
    std::unique_ptr<Server> m_server;
};

} // namespace sim

#endif
