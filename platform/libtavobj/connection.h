// The client's connection to the object server. Private to the library.
#ifndef TAVOBJ_CONNECTION_H
#define TAVOBJ_CONNECTION_H

#include "cObjectClient.h"
#include "cWlog.h"
#include "codec.h"
#include "delivery.h"
#include "frameBuffer.h"
#include "sendQueue.h"

#include <asio.hpp>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

/// The state behind cObjectClient, whose operations it implements. connection.cpp makes and ends connections,
/// requests.cpp sends requests and receives messages.
///
/// Threads: the io thread runs m_context. Only it uses the members m_io..., and only it opens and closes the socket.
/// Lock:    m_mutex guards what the callers of get() and set() share with the io thread. No listener runs and nothing
///          waits for the network under it. Order: m_mutex, then the logger's.
class cObjectClient::Connection : private cWlog {
public:
    Connection() : cWlog("cObjectClient") {}
    ~Connection() { stop(); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void addListener(cObjectListener* listener) { m_delivery.addListener(listener); }
    void onReconnection(std::function<void()> notice) { m_onReconnection = std::move(notice); }
    bool start(const char* host, int port);
    cObjectList* get(cObjectList* request);
    int set(const cObject& object);
    bool isConnected() const { return m_socket >= 0; }
    size_t undelivered() const { return m_delivery.undelivered(); }

private:
    /// What a get() waits for; on its stack.
    struct Answer {
        bool done = false;
        std::unique_ptr<tavcodec::Incoming> message; // null: there will be none
    };

    // connection.cpp, on the io thread but for stop()
    void stop();
    void connect();
    void tryEndpoints(const asio::ip::tcp::resolver::results_type& endpoints);
    void connected();
    void watchSteadiness(bool told);
    void retry(const char* what, const asio::error_code& failure);
    void lose(const std::string& why);
    void endFirstAttempt();
    void cancelRequests();

    // requests.cpp: the first two on any thread with m_mutex held, the others on the io thread
    bool queue(const std::string& key, std::string frame);
    bool sendSome();
    void sendRest();
    void read();
    std::string receive(const char* content, size_t length);
    void answer(std::unique_ptr<tavcodec::Incoming> message);

    asio::io_context m_context;
    asio::ip::tcp::resolver m_ioResolver{m_context};
    asio::ip::tcp::socket m_ioSocket{m_context};
    asio::steady_timer m_ioTimer{m_context};
    std::chrono::milliseconds m_ioPause{0}; // before the next attempt to connect
    bool m_ioConnecting = false;
    bool m_ioToldFailure = false; // the log says that there is no connection
    bool m_ioSteady = false;      // the connection has lasted
    std::string m_ioLastWhy;      // why the last connection ended; empty if it was steady
    FrameBuffer m_ioFrames;
    std::chrono::steady_clock::time_point m_ioNextRemark{}; // no warning of objects left out before it

    std::mutex m_mutex;
    std::condition_variable m_changed;     // an answer is done, or the first attempt to connect has ended
    bool m_firstAttempt = false;           // it is under way
    bool m_unserved = false;               // a connection was lost or a get() failed: the next connection is announced
    std::atomic<int> m_socket{-1};         // to send on; -1 without a connection
    uint32_t m_nextId = 1;                 // of a request
    std::map<uint32_t, Answer*> m_pending; // by id
    SendQueue m_unsent;                    // while it is not empty, the io thread waits for the socket or is about to

    // Not changed after start():
    std::string m_host, m_port, m_peer;
    uint16_t m_portNumber = 0;
    std::function<void()> m_onReconnection;

    Delivery m_delivery;    // has a lock of its own
    bool m_started = false; // for start()'s caller only
    std::thread m_thread;
};

#endif
