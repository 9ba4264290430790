// An object server with one client and no thread: what an event's way takes beyond it is the daemon's.
#ifndef PLAINSERVER_H
#define PLAINSERVER_H

#include "figures.h"
#include "tavd/Ports.h"
#include "tavobj.pb.h"

#include <arpa/inet.h>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>
#include <vector>

/// Input IN<i> and output OUT<i> for each connection, and the input NOISE. One thread calls it, but for noise().
/// What goes wrong ends the program.
class PlainServer {
public:
    PlainServer(int connections, uint16_t port)
    {
        for (int i = 0; i < connections; ++i) {
            add(false, "IN" + std::to_string(i), i + 1);
            add(true, "OUT" + std::to_string(i), i + 1);
        }
        add(false, "NOISE", connections + 1);
        m_listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const int on = 1;
        setsockopt(m_listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(port);
        check(bind(m_listener, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
              listen(m_listener, 1) == 0);
    }
    /// Waits for the client, and until it has polled.
    void serveFirstPoll()
    {
        m_client = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
        const int on = 1;
        check(m_client >= 0 && setsockopt(m_client, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) == 0);
        for (int gets = 0; gets < 2;)
            gets += receive().type() == 0 ? 1 : 0;
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
            if (message.type() == 1 && message.objects(0).port().label() == output)
                return figures::microseconds(figures::Clock::now() - start);
        }
    }
    /// An event that drives nothing; any thread.
    void noise(bool set) { send(eventOf("NOISE", set)); }

private:
    static void check(bool good)
    {
        if (good)
            return;
        perror("the plain server");
        exit(1);
    }
    void add(bool output, const std::string& label, int id)
    {
        tavobj::Object& object = m_ports[{output, label}];
        object.set_kind(output ? 3 : 1);
        object.mutable_port()->set_label(label);
        object.mutable_port()->set_serial(sim::Port().serial);
        object.mutable_port()->set_id(static_cast<uint32_t>(id));
        object.mutable_port()->set_type(output ? 3 : 2);
        object.mutable_port()->set_status(2);
        object.mutable_port()->set_default_state(2);
        object.mutable_port()->set_output_state(2);
    }
    std::string eventOf(const std::string& label, bool set) const
    {
        const tavobj::Port& port = m_ports.at({false, label}).port();
        tavobj::Message message;
        message.set_type(3);
        tavobj::Object* object = message.add_objects();
        object->set_kind(5);
        object->mutable_event()->set_event_type(2);
        object->mutable_event()->set_serial(port.serial());
        object->mutable_event()->set_id(port.id());
        object->mutable_event()->set_object_type(port.type());
        object->mutable_event()->set_status(set ? 1 : 2);
        return framed(message);
    }
    static std::string framed(const tavobj::Message& message)
    {
        const std::string content = message.SerializeAsString();
        const uint32_t length = htonl(static_cast<uint32_t>(content.size()));
        return std::string(reinterpret_cast<const char*>(&length), sizeof length) + content;
    }
    void send(const std::string& frame)
    {
        const std::lock_guard<std::mutex> lock(m_sending);
        check(::send(m_client, frame.data(), frame.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(frame.size()));
    }
    // The next message; a get is answered.
    const tavobj::Message& receive()
    {
        for (;;) {
            uint32_t length = 0;
            if (m_received.size() >= sizeof length) {
                m_received.copy(reinterpret_cast<char*>(&length), sizeof length);
                length = ntohl(length);
                if (m_received.size() >= sizeof length + length)
                    break;
            }
            char bytes[65536];
            const ssize_t count = recv(m_client, bytes, sizeof bytes, 0);
            check(count > 0);
            m_received.append(bytes, static_cast<size_t>(count));
        }
        uint32_t length = 0;
        m_received.copy(reinterpret_cast<char*>(&length), sizeof length);
        length = ntohl(length);
        check(m_message.ParseFromArray(m_received.data() + sizeof length, static_cast<int>(length)));
        m_received.erase(0, sizeof length + length);
        if (m_message.type() == 0)
            answer();
        return m_message;
    }
    void answer()
    {
        tavobj::Message reply;
        reply.set_id(m_message.id());
        for (const tavobj::Object& wanted : m_message.objects()) {
            const auto found = m_ports.find({wanted.kind() == 3, wanted.port().label()});
            if (found != m_ports.end())
                *reply.add_objects() = found->second;
        }
        send(framed(reply));
    }

    std::map<std::pair<bool, std::string>, tavobj::Object> m_ports; // by whether it is an output, and label
    int m_listener = -1, m_client = -1;
    std::mutex m_sending;
    std::string m_received;
    tavobj::Message m_message;
};

#endif
