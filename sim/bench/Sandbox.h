// Namespaces that separate the bench's /etc/tav and port 60000 from the machine's.
#ifndef SIM_BENCH_SANDBOX_H
#define SIM_BENCH_SANDBOX_H

#include <string>

namespace bench {

/// Moves the calling process into new mount and network namespaces, and a user namespace if needed. Its loopback
/// interface is then up with every port free, and its /etc/tav is an empty folder. The process must have one thread.
/// The namespaces end with it. @return an error message, or empty
std::string enterSandbox();

constexpr char kConfigFolder[] = "/etc/tav";

} // namespace bench

#endif
