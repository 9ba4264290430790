// The simulated object server's ports, and the file that lists them.
#ifndef SIM_TAVD_PORTS_H
#define SIM_TAVD_PORTS_H

#include <cstdint>
#include <string>
#include <vector>

namespace sim {

/// A port of the server. The numbers are the protocol's (platform/libtavobj/tavobj.proto).
struct Port {
    bool output = false;
    std::string label;
    uint32_t serial = 0x10; ///< of its device
    uint32_t id = 0;
    uint32_t type = 2;         ///< 2 digital input, 3 digital output
    uint32_t status = 2;       ///< alarm: 0 unknown, 1 set, 2 clear, 3 warn
    uint32_t defaultState = 2; ///< outputs: 0 unknown, 1 set, 2 clear
    uint32_t state = 2;        ///< outputs, likewise
    uint32_t toggled = 1;      ///< who drove it last: 0 unknown, 1 none, ..., 4 I/O driver
};

/// A status as "unknown", "set", "clear" or "warn"; an output's state as one of the first three.
const char* statusWord(uint32_t status);
const char* stateWord(uint32_t state);
/// The reverse. @return false for any other word
bool parseStatus(const std::string& word, uint32_t& status);
bool parseState(const std::string& word, uint32_t& state);

/// Reads a `<ports>` file. @return false with "FILE:LINE: what" in @p error
bool readPorts(const std::string& file, std::vector<Port>& ports, std::string& error);

} // namespace sim

#endif
