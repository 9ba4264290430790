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

/// Serves the page's files and the events and, unless it is read-only, accepts commands. Every request needs the token:
/// the first in its address, later ones in a cookie, or as "Authorization: Bearer TOKEN". Refused are a Host that is a
/// name other than localhost, an Origin from elsewhere, and a command that is not JSON.
/// Threads: the owner calls the operations; requests are handled on the site's own threads.
class Site {
public:
    /// Runs a command. Returns an error message, or empty. Called by several threads.
    using Obey = std::function<std::string(const std::string& path, const nlohmann::json& command)>;

    Site();
    ~Site();
    Site(const Site&) = delete;
    Site& operator=(const Site&) = delete;

    /// Opens the socket, in the present network namespace. Starts no thread and does not answer yet.
    /// @param where  PORT, ADDRESS or ADDRESS:PORT. Empty for 127.0.0.1 and a port that stays the same while it is free
    /// @return an error message, or empty
    std::string listen(const std::string& where);
    /// The page's address, with the token.
    std::string link() const;
    /// Starts to answer. @param hub  borrowed   @param obey  empty for a read-only page
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
