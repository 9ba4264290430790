// An object server with one client and no thread: what an event's way takes beyond it is the daemon's.
#ifndef PLAINSERVER_H
#define PLAINSERVER_H

#include "codec.h"
#include "figures.h"
#include "tavd/Ports.h"
#include "tavd/Protocol.h"
#include "tavobj.pb.h"

#include <asio.hpp>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <utility>

/// Input IN<i> and output OUT<i> for each connection, and the input NOISE. One thread calls it, but for noise().
/// What goes wrong ends the program.
class PlainServer {
public:
    PlainServer(int connections, uint16_t port) : m_acceptor(m_context, {asio::ip::address_v4::loopback(), port})
    {
        for (int i = 0; i < connections; ++i) {
            add(false, "IN" + std::to_string(i), i + 1);
            add(true, "OUT" + std::to_string(i), i + 1);
        }
        add(false, "NOISE", connections + 1);
    }
    /// Waits for the client, and until it has polled.
    void serveFirstPoll()
    {
        m_acceptor.accept(m_client);
        m_client.set_option(asio::ip::tcp::no_delay(true));
        for (int gets = 0; gets < 2;)
            gets += receive().type() == sim::TYPE_GET ? 1 : 0;
    }
    /// Microseconds from the sending of an event to the receipt of the output's state.
    double road(int connection, bool set)
    {
        const std::string output = "OUT" + std::to_string(connection);
        const std::string event = eventOf("IN" + std::to_string(connection), set);
        const auto start = figures::Clock::now();
        send(event);
        for (;;) {
            const tavobj::Message& message = receive();
            if (message.type() == sim::TYPE_SET && message.objects(0).port().label() == output)
                return figures::microseconds(figures::Clock::now() - start);
        }
    }
    /// An event that drives nothing; any thread.
    void noise(bool set) { send(eventOf("NOISE", set)); }

private:
    void add(bool output, const std::string& label, int id)
    {
        sim::Port& port = m_ports[{output, label}];
        port.output = output;
        port.label = label;
        port.id = static_cast<uint32_t>(id);
        port.type = output ? 3 : 2;
    }
    std::string eventOf(const std::string& label, bool set) const
    {
        sim::Port port = m_ports.at({false, label});
        port.status = set ? 1 : 2;
        tavobj::Message message;
        sim::addEvent(port, message);
        return sim::framed(message);
    }
    void send(const std::string& frame)
    {
        const std::lock_guard<std::mutex> lock(m_sending);
        asio::write(m_client, asio::buffer(frame));
    }
    // The next message; a get is answered.
    const tavobj::Message& receive()
    {
        receiveAtLeast(tavcodec::kHeader);
        unsigned char header[tavcodec::kHeader];
        m_received.copy(reinterpret_cast<char*>(header), sizeof header);
        const size_t length = tavcodec::frameLength(header);
        receiveAtLeast(sizeof header + length);
        m_message.ParseFromArray(m_received.data() + sizeof header, static_cast<int>(length));
        m_received.erase(0, sizeof header + length);
        if (m_message.type() == sim::TYPE_GET)
            answer();
        return m_message;
    }
    void receiveAtLeast(size_t bytes)
    {
        if (m_received.size() < bytes)
            asio::read(m_client, asio::dynamic_buffer(m_received), asio::transfer_at_least(bytes - m_received.size()));
    }
    void answer()
    {
        tavobj::Message reply;
        reply.set_id(m_message.id());
        for (const tavobj::Object& wanted : m_message.objects()) {
            const auto found = m_ports.find({wanted.kind() == sim::KIND_DOUT, wanted.port().label()});
            if (found != m_ports.end())
                sim::addPort(found->second, reply);
        }
        send(sim::framed(reply));
    }

    std::map<std::pair<bool, std::string>, sim::Port> m_ports; // by whether it is an output, and label
    asio::io_context m_context;
    asio::ip::tcp::acceptor m_acceptor;
    asio::ip::tcp::socket m_client{m_context};
    std::mutex m_sending;
    std::string m_received;
    tavobj::Message m_message;
};

#endif
