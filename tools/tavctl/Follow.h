// The ports of an object server, for as long as this program runs.
#ifndef TAVCTL_FOLLOW_H
#define TAVCTL_FOLLOW_H

#include "tavd/Ports.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

/// Listeners, called on follow()'s thread.
struct Follower {
    std::function<void(const std::vector<sim::Port>&)> listed; ///< at each new connection: all ports as they are now
    std::function<void(const sim::Port&)> changed;
    std::function<void(const std::string& why)> lost; ///< once for each break
};

/// Connects, and reconnects a second after each break. Never returns.
[[noreturn]] void follow(const std::string& host, uint16_t port, const Follower& follower);

#endif
