// Ports of the simulated object server for tests.
#ifndef SIMPORT_H
#define SIMPORT_H

#include "tavd/Ports.h"

#include <string>

inline sim::Port simPort(bool output, const std::string& label, uint32_t id)
{
    sim::Port made;
    made.output = output;
    made.label = label;
    made.id = id;
    made.type = output ? 3 : 2;
    return made;
}

#endif
