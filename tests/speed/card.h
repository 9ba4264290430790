// A manager of this process with a simulated object server, both there until the process ends.
#ifndef CARD_H
#define CARD_H

#include "../unit/ManagerBench.h"
#include "../unit/simPort.h"
#include "codec.h"
#include "tavd/Protocol.h"
#include "tavd/Tavd.h"
#include "tavobj.pb.h"

#include <cstdint>
#include <string>
#include <vector>

/// Input i drives output i, whose ids are i + 1; the outputs stand where the inputs want them.
class Card {
public:
    explicit Card(int connections)
    {
        std::vector<sim::Port> ports;
        for (int i = 0; i < connections; ++i) {
            const auto id = static_cast<uint32_t>(i + 1);
            ports.push_back(simPort(false, input(i), id));
            ports.push_back(simPort(true, output(i), id));
            manager.addConnection(composite(tavTrigger::OR, {leaf(input(i).c_str())}), action(output(i).c_str()));
        }
        server.setPorts(ports);
        server.start("127.0.0.1", 0);
        manager.collectLabels();
        manager.connectTo("127.0.0.1", server.port());
        manager.update_lists();
        manager.check_trigger_values();
    }
    /// The content of the frame that tells of input i's new status.
    static std::string event(int i, bool set)
    {
        sim::Port port;
        port.id = static_cast<uint32_t>(i + 1);
        port.status = set ? 1 : 2;
        tavobj::Message message;
        sim::addEvent(port, message);
        return message.SerializeAsString();
    }
    void deliver(const std::string& content)
    {
        std::string problem;
        manager.handleObjectAction(tavcodec::decode(content.data(), content.size(), problem)->list.get());
    }
    static std::string input(int i) { return "BUILDING-A-INPUT-" + std::to_string(i); }
    static std::string output(int i) { return "BUILDING-A-OUTPUT-" + std::to_string(i); }

    sim::Tavd& server = forEver<sim::Tavd>();
    ManagerBench& manager = ManagerBench::forEver();
};

#endif
