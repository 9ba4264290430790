#include "Web.h"

#include "Server.h"
#include "web/Site.h"

#include <csignal>
#include <cstdio>
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

int showPage(const std::string& host, uint16_t port, const std::string& listen, const std::string& folder)
{
    const std::string name = host + ':' + std::to_string(port);
    web::Site site;
    const std::string wrong = site.listen(listen);
    if (!wrong.empty()) {
        fprintf(stderr, "tavctl: %s\n", wrong.c_str());
        return 1;
    }
    signal(SIGPIPE, SIG_IGN);
    web::Hub hub({{"title", "Object server " + name}, {"readOnly", true}});
    if (!folder.empty())
        hub.setRules(web::pairFileOf(folder));
    site.serve(hub, nullptr);
    printf("Open %s\n", site.link().c_str());

    for (bool known = true;; std::this_thread::sleep_for(kPause)) {
        Server server(host, port);
        server.follow(
            [&](const tavobj::Message& listing) {
                std::vector<sim::Port> ports;
                for (const tavobj::Object& object : listing.objects())
                    ports.push_back(portOf(object));
                hub.setPorts(ports);
                hub.set("server", {{"running", true}});
                hub.tell(web::Happening::Note, name + " is connected");
                known = true;
            },
            [&](const tavobj::Object& object) { hub.tell(portOf(object)); });
        hub.set("server", {{"running", false}});
        if (known) // logged once for each lost connection
            hub.tell(web::Happening::Fault, name + ": " + server.error());
        known = false;
    }
}
