// Namespaces of the bench's own, in which it may have /etc/tav and port 60000 without touching the machine's.
#ifndef SIM_BENCH_SANDBOX_H
#define SIM_BENCH_SANDBOX_H

#include <string>

namespace bench {

/// Puts the calling process, which must have one thread yet, into mount and network namespaces of its own (and a user
/// namespace where it is needed): its loopback interface is up with every port free, and its /etc/tav is an empty
/// folder. Ends with the process. @return what went wrong, or nothing
std::string enterSandbox();

constexpr char kConfigFolder[] = "/etc/tav";

} // namespace bench

#endif
