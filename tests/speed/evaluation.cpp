// Prints what the evaluation of a leaf costs, and how that compares with the walks over labels that it must do: bare
// ones over the same lists of ports, and the leanest there could be, over an array of labels.
#include "../unit/ManagerBench.h"
#include "figures.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

__attribute__((noinline)) const void* find(WList* ports, const char* label)
{
    ports->reset();
    while (auto* port = static_cast<cObjectPort*>(ports->get())) {
        if (strcmp(port->getPortLabel(), label) == 0)
            return port;
        ports->step();
    }
    return nullptr;
}

__attribute__((noinline)) const void* find(const std::vector<std::string>& ports, const char* label)
{
    for (const std::string& port : ports)
        if (strcmp(port.c_str(), label) == 0)
            return &port;
    return nullptr;
}

struct Labels {
    std::vector<std::string> inputs, outputs;
};

template <typename Ports> void walk(const Labels& labels, const Ports& inputs, const Ports& outputs)
{
    for (size_t i = 0; i < labels.inputs.size(); ++i) {
        const void* found = find(inputs, labels.inputs[i].c_str());
        __asm__ volatile("" : : "r"(found) : "memory"); // walk again each time
        found = find(outputs, labels.outputs[i].c_str());
        __asm__ volatile("" : : "r"(found) : "memory");
    }
}

void compare(int connections)
{
    auto& manager = ManagerBench::forEver();
    Labels labels;
    for (int i = 0; i < connections; ++i) {
        labels.inputs.push_back("BUILDING-A-INPUT-" + std::to_string(i));
        labels.outputs.push_back("BUILDING-A-OUTPUT-" + std::to_string(i));
        const char* in = labels.inputs.back().c_str();
        const char* out = labels.outputs.back().c_str();
        manager.addInput(in, i, cObject::OBJ_STATUS_ALARM_CLEAR);
        manager.addOutput(out, cObject::OBJ_IO_STATE_CLEAR, cObject::OBJ_IO_STATE_CLEAR);
        manager.addConnection(composite(tavTrigger::OR, {leaf(in)}), action(out));
    }
    const long calls = 4000000L / (static_cast<long>(connections) * connections) + 1;
    const auto perLeaf = [&](auto work) { return figures::nanosecondsPerCall(calls, work) / connections; };

    const double lean = perLeaf([&] { walk(labels, labels.inputs, labels.outputs); });
    const double bare = perLeaf([&] { walk(labels, manager.mTriggerPorts, manager.mOutputPorts); });
    const double whole = perLeaf([&] { manager.check_trigger_values(); });
    printf("%5d connections: %9.1f ns a leaf; bare walks over the same lists %9.1f ns, ratio %.2f; over an array of "
           "labels %9.1f ns, ratio %.2f\n",
           connections, whole, bare, whole / bare, lean, whole / lean);
}

} // namespace

int main()
{
    cWlog::init(cWlog::INFO);
    for (const int connections : {16, 64, 256, 1024})
        compare(connections);
    return 0;
}
