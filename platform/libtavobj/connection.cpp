// Makes connections to the object server, and ends them.
#include "connection.h"

#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <system_error>
#include <utility>

using asio::ip::tcp;
using namespace std::chrono_literals;

namespace {

constexpr auto kConnectLimit = 5s;
constexpr std::chrono::milliseconds kFirstPause = 100ms;
constexpr std::chrono::milliseconds kLongestPause = 500ms;
constexpr auto kSteady = 2s; // a server that ends connections sooner, over and over, is logged once

// Lets the kernel notice a dead peer within about 11 s, sooner while something is unsent.
void watchPeer(tcp::socket& socket)
{
    asio::error_code ignored;
    socket.set_option(tcp::no_delay(true), ignored);
    socket.set_option(asio::socket_base::keep_alive(true), ignored);
    const auto option = [&socket](int name, int value) {
        (void)setsockopt(socket.native_handle(), IPPROTO_TCP, name, &value, sizeof value);
    };
    option(TCP_KEEPIDLE, 5);
    option(TCP_KEEPINTVL, 2);
    option(TCP_KEEPCNT, 3);
    option(TCP_USER_TIMEOUT, 10000);
}

} // namespace

bool cObjectClient::Connection::start(const char* host, int port)
{
    if (m_started)
        return false;
    m_started = true;
    m_host = host;
    m_portNumber = static_cast<uint16_t>(port);
    m_port = std::to_string(port);
    m_peer = m_host + ':' + m_port;
    m_ioPause = kFirstPause;
    m_firstAttempt = true;
    try {
        m_delivery.start();
        m_thread = std::thread([this] {
            connect();
            m_context.run();
        });
    } catch (const std::system_error& refused) {
        error("The threads of the object server's client could not be started: %s", refused.what());
        m_firstAttempt = false;
        return false;
    }
    return true;
}

void cObjectClient::Connection::stop()
{
    m_context.stop();
    if (m_thread.joinable())
        m_thread.join();
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_firstAttempt = false;
        m_socket = -1;
        cancelRequests();
    }
    m_changed.notify_all();
    m_delivery.stop();
}

void cObjectClient::Connection::connect()
{
    asio::error_code isName;
    const auto address = asio::ip::make_address(m_host, isName);
    if (!isName) // saves the resolver's thread
        return tryEndpoints(tcp::resolver::results_type::create(tcp::endpoint(address, m_portNumber), m_host, m_port));
    const auto resolved = [this](const asio::error_code& failure, const tcp::resolver::results_type& endpoints) {
        if (failure)
            retry("cannot be resolved", failure);
        else
            tryEndpoints(endpoints);
    };
    try {
        m_ioResolver.async_resolve(m_host, m_port, resolved);
    } catch (const std::system_error& refused) { // its thread could not be started
        retry("cannot be resolved", refused.code());
    }
}

void cObjectClient::Connection::tryEndpoints(const tcp::resolver::results_type& endpoints)
{
    asio::error_code unopened; // asio would report "aborted" for a socket that cannot be opened
    m_ioSocket.open(endpoints.begin()->endpoint().protocol(), unopened);
    if (unopened == asio::error::no_descriptors)
        return retry("cannot be reached", unopened);
    m_ioConnecting = true;
    m_ioTimer.expires_after(kConnectLimit);
    m_ioTimer.async_wait([this](const asio::error_code& cancelled) {
        asio::error_code ignored;
        if (!cancelled && m_ioConnecting) // the attempt may have ended since the timer expired
            m_ioSocket.close(ignored);    // ends it
    });
    asio::async_connect(m_ioSocket, endpoints, [this](const asio::error_code& failure, const tcp::endpoint&) {
        m_ioConnecting = false;
        m_ioTimer.cancel();
        if (failure)
            retry("cannot be reached", failure == asio::error::operation_aborted ? asio::error::timed_out : failure);
        else
            connected();
    });
}

void cObjectClient::Connection::connected()
{
    watchPeer(m_ioSocket);
    m_ioSteady = false;
    m_ioToldFailure = false;
    const bool told = m_ioLastWhy.empty();
    if (told)
        info("Connected to the object server at %s", m_peer.c_str());
    bool again;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_firstAttempt = false;
        m_socket = m_ioSocket.native_handle();
        again = std::exchange(m_unserved, false);
    }
    m_changed.notify_all();
    if (again && m_onReconnection)
        m_onReconnection();
    watchSteadiness(told);
    m_ioFrames.clear();
    read();
}

// A connection that lasts resets the pause between attempts, and is logged unless it was at once.
void cObjectClient::Connection::watchSteadiness(bool told)
{
    m_ioTimer.expires_after(kSteady);
    m_ioTimer.async_wait([this, told](const asio::error_code& cancelled) {
        if (cancelled || !m_ioSocket.is_open()) // it may have been lost since the timer expired
            return;
        m_ioSteady = true;
        m_ioPause = kFirstPause;
        if (!told)
            info("Connected to the object server at %s", m_peer.c_str());
    });
}

// Logs the first failure of a series, and connects again after a pause.
void cObjectClient::Connection::retry(const char* what, const asio::error_code& failure)
{
    if (!m_ioToldFailure)
        error("The object server at %s %s: %s", m_peer.c_str(), what, failure.message().c_str());
    m_ioToldFailure = true;
    endFirstAttempt();
    asio::error_code ignored;
    m_ioSocket.close(ignored);
    m_ioTimer.expires_after(m_ioPause);
    m_ioPause = std::min(m_ioPause * 2, kLongestPause);
    m_ioTimer.async_wait([this](const asio::error_code& cancelled) {
        if (!cancelled)
            connect();
    });
}

// Ends the connection, if there is one. Pending gets fail; unsent frames are dropped.
void cObjectClient::Connection::lose(const std::string& why)
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_socket < 0)
            return;
        m_socket = -1;
        m_unserved = true;
        cancelRequests();
    }
    if (m_ioSteady || why != m_ioLastWhy)
        error("Connection to the object server at %s lost: %s", m_peer.c_str(), why.c_str());
    m_ioToldFailure = true;
    m_ioLastWhy = m_ioSteady ? std::string() : why;
    retry("was lost", {});
}

// Also wakes the gets that lose() has cancelled.
void cObjectClient::Connection::endFirstAttempt()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_firstAttempt = false;
    }
    m_changed.notify_all();
}

// With m_mutex held; m_changed is to be notified afterwards.
void cObjectClient::Connection::cancelRequests()
{
    for (auto& pending : m_pending)
        pending.second->done = true;
    m_pending.clear();
    m_unsent.clear();
}
