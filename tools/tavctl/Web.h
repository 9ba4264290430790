// An object server in a browser, for reading only.
#ifndef TAVCTL_WEB_H
#define TAVCTL_WEB_H

#include <cstdint>
#include <string>

/// Serves the page of the object server at @p host until it is ended by a signal; a server that is away is tried again
/// every second. @param listen PORT or ADDRESS:PORT, empty for the usual; @param folder with the daemon's
/// configuration, or empty
/// @return exit status, only when nothing can be served
int showPage(const std::string& host, uint16_t port, const std::string& listen, const std::string& folder);

#endif
