// One client's connection to the simulated object server.
#ifndef SIM_TAVD_SESSION_H
#define SIM_TAVD_SESSION_H

#include "tavd/Protocol.h"

#include <array>
#include <asio.hpp>
#include <deque>
#include <functional>
#include <memory>
#include <string>

namespace sim {

/// Reads whole messages and writes frames in order. Its operations run on the io thread.
class Session : public std::enable_shared_from_this<Session> {
public:
    using Receiver = std::function<void(const std::shared_ptr<Session>&, const tavobj::Message&)>;
    using Ender = std::function<void(const std::shared_ptr<Session>&)>;

    Session(asio::ip::tcp::socket socket, Receiver receiver, Ender ender)
        : m_socket(std::move(socket)), m_receiver(std::move(receiver)), m_ender(std::move(ender))
    {
        asio::error_code ignored;
        m_socket.set_option(asio::ip::tcp::no_delay(true), ignored);
    }

    void read()
    {
        if (m_hanging || m_reading)
            return;
        m_reading = true;
        asio::async_read(m_socket, asio::buffer(m_header),
                         [self = shared_from_this()](const asio::error_code& failure, size_t) {
                             const size_t length = size_t{self->m_header[0]} << 24 | size_t{self->m_header[1]} << 16 |
                                                   size_t{self->m_header[2]} << 8 | size_t{self->m_header[3]};
                             if (failure || length > kMaxFrame)
                                 return self->end();
                             self->readContent(length);
                         });
    }

    void send(std::string frame)
    {
        if (m_unsent.size() >= kUnsentLimit)
            return end();
        m_unsent.push_back(std::move(frame));
        write();
    }

    void hang(bool on)
    {
        m_hanging = on;
        if (!on) {
            read();
            write();
        }
    }

    void end()
    {
        if (!m_socket.is_open())
            return;
        asio::error_code ignored;
        m_socket.close(ignored);
        m_ender(shared_from_this());
    }

private:
    void readContent(size_t length)
    {
        m_content.resize(length);
        asio::async_read(m_socket, asio::buffer(m_content),
                         [self = shared_from_this()](const asio::error_code& failure, size_t) {
                             tavobj::Message message;
                             if (failure || !message.ParseFromString(self->m_content))
                                 return self->end();
                             self->m_reading = false;
                             self->m_receiver(self, message);
                             self->read();
                         });
    }

    void write()
    {
        if (m_hanging || m_writing || m_unsent.empty())
            return;
        m_writing = true;
        asio::async_write(m_socket, asio::buffer(m_unsent.front()),
                          [self = shared_from_this()](const asio::error_code& failure, size_t) {
                              if (failure)
                                  return self->end();
                              self->m_writing = false;
                              self->m_unsent.pop_front();
                              self->write();
                          });
    }

    static constexpr size_t kUnsentLimit = 100000; // frames

    asio::ip::tcp::socket m_socket;
    Receiver m_receiver;
    Ender m_ender;
    std::array<unsigned char, 4> m_header{};
    std::string m_content;
    std::deque<std::string> m_unsent;
    bool m_reading = false, m_writing = false, m_hanging = false;
};

} // namespace sim

#endif
