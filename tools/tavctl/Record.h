// A record of a card.
#ifndef TAVCTL_RECORD_H
#define TAVCTL_RECORD_H

#include <cstdint>
#include <string>

/// Records the ports of the object server at @p host, and the lines of a service in the journal where there is one,
/// until it is ended by a signal. The record begins with the first connection. @return exit status
int recordCard(const std::string& host, uint16_t port, const std::string& file, const std::string& unit);

#endif
