#include "Follow.h"

#include "Server.h"

#include <thread>

namespace {

constexpr uint32_t kOutput = 3;
constexpr std::chrono::seconds kPause(1); // between two attempts to connect

sim::Port portOf(const tavobj::Object& object)
{
    const tavobj::Port& from = object.port();
    sim::Port port;
    port.output = object.kind() == kOutput;
    port.label = from.label();
    port.serial = from.serial();
    port.id = from.id();
    port.type = from.type();
    port.status = from.status();
    port.defaultState = from.default_state();
    port.state = from.output_state();
    port.toggled = from.toggled();
    return port;
}

} // namespace

void follow(const std::string& host, uint16_t port, const Follower& follower)
{
    for (bool known = true;; std::this_thread::sleep_for(kPause)) {
        Server server(host, port);
        server.follow(
            [&](const tavobj::Message& listing) {
                std::vector<sim::Port> ports;
                for (const tavobj::Object& object : listing.objects())
                    ports.push_back(portOf(object));
                follower.listed(ports);
                known = true;
            },
            [&](const tavobj::Object& object) { follower.changed(portOf(object)); });
        if (known)
            follower.lost(server.error());
        known = false;
    }
}
