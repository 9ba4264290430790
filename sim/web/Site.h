// The page's web server.
#ifndef SIM_WEB_SITE_H
#define SIM_WEB_SITE_H

#include "web/Hub.h"

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace httplib {
class Server;
struct Request;
struct Response;
} // namespace httplib

namespace web {

/// Serves the page's files, the viewers' events and, unless it is for reading only, takes commands. Every answer asks
/// for the token: in the address of the first request, then in a cookie, or as "Authorization: Bearer TOKEN". A Host
/// that is a name (but localhost), an Origin of elsewhere and a command that is not JSON are refused. Threads: the
/// owner calls; handlers run on threads of the site.
class Site {
public:
    /// Takes a command, as JSON; returns an error for people, or nothing. Called by several threads.
    using Obey = std::function<std::string(const std::string& path, const nlohmann::json& command)>;

    Site();
    ~Site();
    Site(const Site&) = delete;
    Site& operator=(const Site&) = delete;

    /// Listens, but does not answer yet and starts no thread: the socket stays in the network namespace of now.
    /// @param where PORT, ADDRESS or ADDRESS:PORT; empty: 127.0.0.1 and a port that stays the same while it is free
    /// @return what went wrong, or nothing
    std::string listen(const std::string& where);
    /// The address to click.
    std::string link() const;
    /// Answers from now on. @param obey none: for reading only; hub is borrowed
    void serve(Hub& hub, Obey obey);

private:
    void addRoutes();
    bool refused(const httplib::Request& request, httplib::Response& response) const;
    bool knows(const httplib::Request& request) const;
    void takeCommand(const httplib::Request& request, httplib::Response& response);
    void stream(httplib::Response& response);

    std::unique_ptr<httplib::Server> m_server;
    std::string m_address, m_token, m_cookie;
    int m_port = 0;
    Hub* m_hub = nullptr;
    Obey m_obey;
    std::atomic<int> m_viewers{0};
    std::thread m_thread;
};

} // namespace web

#endif
