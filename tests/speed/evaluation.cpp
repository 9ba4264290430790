// Prints what the evaluation of a leaf costs, and how that compares with the walks over labels that it must do.
#include "../unit/ManagerBench.h"
#include "figures.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

// A port as the leanest walk would have it.
struct Port {
    std::string label;
    Port* next;
};

__attribute__((noinline)) Port* find(Port* port, const char* label)
{
    while (port != nullptr && strcmp(port->label.c_str(), label) != 0)
        port = port->next;
    return port;
}

void compare(int connections)
{
    auto& manager = ManagerBench::forEver();
    std::vector<Port> inputs(static_cast<size_t>(connections)), outputs(static_cast<size_t>(connections));
    for (int i = 0; i < connections; ++i) {
        const std::string in = "BUILDING-A-INPUT-" + std::to_string(i);
        const std::string out = "BUILDING-A-OUTPUT-" + std::to_string(i);
        manager.addInput(in.c_str(), i, cObject::OBJ_STATUS_ALARM_CLEAR);
        manager.addOutput(out.c_str(), cObject::OBJ_IO_STATE_CLEAR, cObject::OBJ_IO_STATE_CLEAR);
        manager.addConnection(composite(tavTrigger::OR, {leaf(in.c_str())}), action(out.c_str()));
        const auto at = static_cast<size_t>(i);
        inputs[at] = {in, i + 1 < connections ? &inputs[at + 1] : nullptr};
        outputs[at] = {out, i + 1 < connections ? &outputs[at + 1] : nullptr};
    }
    const auto walk = [&] {
        for (size_t i = 0; i < inputs.size(); ++i) {
            const Port* found = find(inputs.data(), inputs[i].label.c_str());
            __asm__ volatile("" : : "r"(found) : "memory"); // walk again each time
            found = find(outputs.data(), outputs[i].label.c_str());
            __asm__ volatile("" : : "r"(found) : "memory");
        }
    };
    const long calls = 4000000L / (static_cast<long>(connections) * connections) + 1;
    const double bare = figures::nanosecondsPerCall(calls, walk) / connections;
    const double whole = figures::nanosecondsPerCall(calls, [&] { manager.check_trigger_values(); }) / connections;
    printf("%5d connections: %9.1f ns a leaf, bare label walks %9.1f ns, ratio %.2f\n", connections, whole, bare,
           whole / bare);
}

} // namespace

int main()
{
    cWlog::init(cWlog::INFO);
    for (const int connections : {16, 64, 256, 1024})
        compare(connections);
    return 0;
}
