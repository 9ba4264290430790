// An object server in a browser, for reading only.
#ifndef TAVCTL_WEB_H
#define TAVCTL_WEB_H

#include <cstdint>
#include <string>

/// Serves the page of the object server at @p host until a signal ends it. Without a connection, it tries the server
/// every second.
/// @param listen  PORT or ADDRESS:PORT; empty for the default
/// @param folder  the daemon's configuration, or empty
/// @return the exit status, only if the page cannot be served
int showPage(const std::string& host, uint16_t port, const std::string& listen, const std::string& folder);

#endif
