#include "web/Site.h"

#include "web/Files.h"
#include "web/Token.h"

#include <algorithm>
#include <arpa/inet.h>
#include <httplib.h>

using nlohmann::json;

namespace web {

namespace {

constexpr int kUsualPort = 8460;
constexpr int kMostViewers = 40; // each needs a thread while it is connected
constexpr size_t kThreads = 72;
constexpr size_t kLongestCommand = 65536;
constexpr std::chrono::milliseconds kHeartbeat(5000);

const char kPolicy[] = "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src 'self'; "
                       "base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

bool isAddress(const std::string& text)
{
    in6_addr bytes;
    return inet_pton(AF_INET, text.c_str(), &bytes) == 1 || inet_pton(AF_INET6, text.c_str(), &bytes) == 1;
}

// The part before the port, without the brackets of an IPv6 address.
std::string hostOf(const std::string& authority)
{
    if (!authority.empty() && authority[0] == '[')
        return authority.substr(1, authority.find(']') - 1);
    return authority.substr(0, authority.find(':'));
}

// Parses "PORT", "ADDRESS", "ADDRESS:PORT" or "[ADDRESS]:PORT". @return false for anything else
bool parseWhere(const std::string& where, std::string& address, int& port)
{
    std::string digits;
    if (where.find_first_not_of("0123456789") == std::string::npos) {
        digits = where;
    } else {
        const size_t colon = where.rfind(':');
        const bool bare = isAddress(where);
        address = bare ? where : hostOf(where);
        digits = bare || colon == std::string::npos ? "" : where.substr(colon + 1);
        if (address != "localhost" && !isAddress(address))
            return false;
    }
    if (digits.size() > 5 || digits.find_first_not_of("0123456789") != std::string::npos)
        return false;
    port = digits.empty() ? 0 : atoi(digits.c_str());
    return port <= 65535;
}

// The library's own options let two servers share a port.
std::unique_ptr<httplib::Server> newServer()
{
    auto server = std::make_unique<httplib::Server>();
    server->set_socket_options([](socket_t socket) {
        const int on = 1;
        setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    });
    return server;
}

void refuse(httplib::Response& response, int status, const std::string& why)
{
    response.status = status;
    response.set_content(why + "\n", "text/plain; charset=utf-8");
}

} // namespace

Site::Site() : m_server(newServer()) {}

Site::~Site()
{
    if (m_hub != nullptr)
        m_hub->close();
    m_server->stop();
    if (m_thread.joinable())
        m_thread.join();
}

std::string Site::listen(const std::string& where)
{
    m_address = "127.0.0.1";
    if (!parseWhere(where, m_address, m_port))
        return where + ": neither PORT nor ADDRESS:PORT";
    if (m_port != 0) {
        if (!m_server->bind_to_port(m_address, m_port))
            return m_address + ':' + std::to_string(m_port) + " cannot be listened on";
    } else if (m_server->bind_to_port(m_address, kUsualPort)) {
        m_port = kUsualPort;
    } else {
        // A server that has failed to listen cannot be used again.
        m_server = newServer();
        m_port = m_server->bind_to_any_port(m_address);
        if (m_port <= 0)
            return m_address + " cannot be listened on";
    }
    m_token = token();
    m_cookie = "tavpage" + std::to_string(m_port);
    return "";
}

std::string Site::link() const
{
    const std::string host = m_address.find(':') != std::string::npos ? '[' + m_address + ']' : m_address;
    return "http://" + host + ':' + std::to_string(m_port) + "/?token=" + m_token;
}

void Site::serve(Hub& hub, Obey obey)
{
    m_hub = &hub;
    m_obey = std::move(obey);
    m_server->new_task_queue = [] { return new httplib::ThreadPool(kThreads); };
    m_server->set_keep_alive_timeout(2);
    m_server->set_keep_alive_max_count(1000);
    m_server->set_read_timeout(5);
    m_server->set_write_timeout(5);
    m_server->set_tcp_nodelay(true);
    m_server->set_payload_max_length(kLongestCommand);
    m_server->set_default_headers({{"Content-Security-Policy", kPolicy},
                                   {"X-Content-Type-Options", "nosniff"},
                                   {"Referrer-Policy", "no-referrer"},
                                   {"Cross-Origin-Resource-Policy", "same-origin"},
                                   {"Cross-Origin-Opener-Policy", "same-origin"},
                                   {"Cache-Control", "no-store"}});
    m_server->set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& response) {
        return refused(request, response) ? httplib::Server::HandlerResponse::Handled
                                          : httplib::Server::HandlerResponse::Unhandled;
    });
    addRoutes();
    m_thread = std::thread([this] {
        giveWay();
        m_server->listen_after_bind();
    });
    while (!m_server->is_running())
        std::this_thread::sleep_for(std::chrono::milliseconds(1)); // before that it cannot be stopped
}

void Site::addRoutes()
{
    m_server->Get("/", [this](const httplib::Request& request, httplib::Response& response) {
        if (request.has_param("token")) { // moves from the address to a cookie
            response.set_header("Set-Cookie", m_cookie + '=' + m_token + "; Path=/; HttpOnly; SameSite=Strict");
            response.set_redirect("/", 303);
            return;
        }
        const File& index = files().front();
        response.set_content(index.content.data(), index.content.size(), index.type);
    });
    for (const File& file : files()) {
        m_server->Get(file.path, [&file](const httplib::Request&, httplib::Response& response) {
            response.set_content(file.content.data(), file.content.size(), file.type);
        });
    }
    m_server->Get("/events", [this](const httplib::Request&, httplib::Response& response) { stream(response); });
    for (const char* path : {"/command", "/scenario"}) {
        m_server->Post(path, [this](const httplib::Request& request, httplib::Response& response) {
            takeCommand(request, response);
        });
    }
}

// A foreign page can make a browser send requests here, under a name that resolves to this address: then the Host is
// that name. It cannot read the token or send the cookie, which is for this site only.
bool Site::refused(const httplib::Request& request, httplib::Response& response) const
{
    const std::string host = request.get_header_value("Host");
    const std::string name = hostOf(host);
    if (name != "localhost" && !isAddress(name)) {
        refuse(response, 403, "This page answers to its address only.");
        return true;
    }
    const bool fromElsewhere = request.has_header("Origin") && request.get_header_value("Origin") != "http://" + host;
    if (fromElsewhere || (request.method != "GET" && request.method != "HEAD" && !request.has_header("Origin") &&
                          !request.has_header("Authorization"))) {
        refuse(response, 403, "Commands are taken from this page only.");
        return true;
    }
    if (!knows(request)) {
        refuse(response, 403, "Open the address that the program has printed: the token in it is needed.");
        return true;
    }
    return false;
}

bool Site::knows(const httplib::Request& request) const
{
    if (request.path == "/" && request.has_param("token"))
        return sameSecret(request.get_param_value("token"), m_token);
    const std::string bearer = request.get_header_value("Authorization");
    if (bearer.rfind("Bearer ", 0) == 0)
        return sameSecret(bearer.substr(7), m_token);
    const std::string cookies = "; " + request.get_header_value("Cookie") + ';', name = "; " + m_cookie + '=';
    const size_t at = cookies.find(name);
    if (at == std::string::npos)
        return false;
    const size_t begin = at + name.size();
    return sameSecret(cookies.substr(begin, cookies.find(';', begin) - begin), m_token);
}

void Site::takeCommand(const httplib::Request& request, httplib::Response& response)
{
    if (!m_obey)
        return refuse(response, 403, "This page is for reading only.");
    const json command = request.get_header_value("Content-Type").rfind("application/json", 0) == 0
                             ? json::parse(request.body, nullptr, false)
                             : json(json::value_t::discarded);
    if (!command.is_object())
        return refuse(response, 400, "A command is a JSON object.");
    const std::string error = m_obey(request.path, command);
    if (!error.empty())
        refuse(response, 422, error);
    else
        response.set_content("{}", "application/json");
}

// Sends a viewer's events, on a thread of its own. A viewer that reads nothing for some seconds is disconnected; its
// page connects again.
void Site::stream(httplib::Response& response)
{
    if (m_viewers.fetch_add(1) >= kMostViewers) {
        --m_viewers;
        return refuse(response, 503, "Too many viewers.");
    }
    auto seen = std::make_shared<uint64_t>(0);
    response.set_chunked_content_provider(
        "text/event-stream",
        [this, seen](size_t, httplib::DataSink& sink) {
            std::string events = m_hub->next(*seen, kHeartbeat);
            if (m_hub->closed())
                return false;
            if (events.empty())
                events = "event: alive\ndata: 1\n\n"; // fails if the viewer has gone
            return sink.write(events.data(), events.size());
        },
        [this](bool) { --m_viewers; });
}

} // namespace web
