// A blocking connection to an object server.
#ifndef TAVCTL_SERVER_H
#define TAVCTL_SERVER_H

#include "tavobj.pb.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

/// Each call runs one operation and prints its result. The first call connects. A server that does not answer within 5
/// s has failed.
class Server {
public:
    Server(std::string host, uint16_t port) : m_host(std::move(host)), m_port(port) {}
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    /// Each returns false on failure; error() then has the reason.
    bool list();
    bool watch();
    /// Calls @p listed with all ports, then @p changed for each port that changes, until the connection ends.
    bool follow(const std::function<void(const tavobj::Message&)>& listed,
                const std::function<void(const tavobj::Object&)>& changed);
    bool alarm(const std::string& label, const std::string& status);
    bool drive(const std::string& label, const std::string& state);
    const std::string& error() const { return m_error; }

private:
    using Clock = std::chrono::steady_clock;

    bool connect();
    bool send(const tavobj::Message& message);
    bool receive(tavobj::Message& message, Clock::time_point deadline);
    bool readExactly(void* buffer, size_t length, Clock::time_point deadline);
    bool request(tavobj::Message& message, tavobj::Message& answer);
    bool fetchAll(tavobj::Message& answer);
    bool change(const std::string& label, uint32_t kind, uint32_t value);
    bool fail(const std::string& why);

    std::string m_host;
    uint16_t m_port;
    int m_socket = -1;
    uint32_t m_nextId = 1;
    std::string m_error;
};

#endif
