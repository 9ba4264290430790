#include "cObjectClient.h"

#include "cObjectList.h"
#include "cWlog.h"
#include "codec.h"
#include "delivery.h"

#include <asio.hpp>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <list>
#include <map>
#include <mutex>
#include <netinet/tcp.h>
#include <string>
#include <sys/socket.h>
#include <system_error>
#include <thread>
#include <unordered_map>
#include <utility>

using asio::ip::tcp;
using namespace std::chrono_literals;

namespace {

constexpr auto kAnswerLimit = 5s;
constexpr auto kConnectLimit = 5s;
constexpr auto kFirstPause = 100ms;
constexpr auto kLongestPause = 500ms;
constexpr auto kSteady = 2s;       // a server that throws us out sooner, over and over, is told of once
constexpr auto kRemarkPause = 1s;  // between two warnings of objects left out: a server must not fill the log with them
constexpr size_t kReadRoom = 8192; // bytes read at once; a longer frame gets as much as it needs
constexpr size_t kKeptRoom = 65536;    // of which no more is kept afterwards
constexpr size_t kUnsentLimit = 20000; // above kMaxObjects: every output that an answer can hold may be unsent

// A peer that has gone without a word is noticed within about 11 s, sooner while something is unsent.
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

// The client's state and its io thread. Everything named m_io... is touched by the io thread alone.
class cObjectClient::Connection : private cWlog {
public:
    Connection() : cWlog("cObjectClient") {}
    ~Connection() { stop(); }

    void addListener(cObjectListener* listener) { m_delivery.addListener(listener); }
    void onReconnection(std::function<void()> notice) { m_onReconnection = std::move(notice); }
    bool start(const char* host, int port);
    cObjectList* get(cObjectList* request);
    int set(const cObject& object);
    bool isConnected() const { return m_socket >= 0; }
    size_t undelivered() const { return m_delivery.undelivered(); }

private:
    struct Answer {
        bool done = false;
        std::unique_ptr<tavcodec::Incoming> message; // null: there will be none
    };
    struct Unsent {
        std::string key; // of a set; empty for a get
        std::string frame;
    };

    void stop();
    void connect();
    void tryEndpoints(const tcp::resolver::results_type& endpoints);
    void connected();
    void retry(const char* what, const asio::error_code& failure);
    void lose(const std::string& why);
    void read();
    bool takeFrames();
    bool receive(const char* content, size_t length);
    bool handOver(std::unique_ptr<tavcodec::Incoming> message);
    bool queue(const std::string& key, std::string frame);
    bool hasUnsent() const { return m_sent < m_sending.size() || !m_unsent.empty(); }
    bool sendSome();
    void sendRest();

    asio::io_context m_context;
    tcp::resolver m_ioResolver{m_context};
    tcp::socket m_ioSocket{m_context};
    asio::steady_timer m_ioTimer{m_context};
    std::chrono::milliseconds m_ioPause{kFirstPause};
    bool m_ioConnecting = false;
    std::chrono::steady_clock::time_point m_ioNextRemark{};
    std::string m_ioReceived;    // room for what is read
    size_t m_ioReceivedSize = 0; // of it, the bytes that are no whole frame yet
    bool m_ioToldFailure = false;
    bool m_ioSteady = false; // the connection has lasted for kSteady
    std::string m_ioLastWhy; // why the last connection ended, if it was not a steady one

    std::mutex m_mutex; // guards what follows; never held while a listener runs or the network is waited for
    std::condition_variable m_changed; // a get is answered, or the first attempt to connect is over
    bool m_firstAttempt = false;       // it is under way
    bool m_unserved = false;           // a get has found no connection, or one was lost: the next is told of
    std::atomic<int> m_socket{-1};     // to send on; -1 without a connection. The io thread opens and closes it
    uint32_t m_nextId = 1;
    std::map<uint32_t, Answer*> m_pending;
    std::string m_sending; // the frame under way, of which m_sent bytes have gone
    size_t m_sent = 0;
    std::list<Unsent> m_unsent; // while anything is unsent, the io thread waits for room or has been told to
    std::unordered_map<std::string, std::list<Unsent>::iterator> m_unsentSets; // by key

    std::string m_host, m_port, m_peer;     // not changed once the io thread runs
    uint16_t m_portNumber = 0;              // likewise
    std::function<void()> m_onReconnection; // likewise
    Delivery m_delivery;
    bool m_started = false; // of start()'s thread
    std::thread m_thread;
};

bool cObjectClient::Connection::start(const char* host, int port)
{
    if (m_started)
        return false;
    m_started = true;
    m_host = host;
    m_portNumber = static_cast<uint16_t>(port);
    m_port = std::to_string(port);
    m_peer = m_host + ':' + m_port;
    m_firstAttempt = true;
    try {
        m_delivery.start();
        m_thread = std::thread([this] {
            connect();
            m_context.run();
        });
    } catch (const std::system_error& refused) {
        error("No thread for the object server's client: %s", refused.what());
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
        for (auto& pending : m_pending)
            pending.second->done = true;
        m_pending.clear();
    }
    m_changed.notify_all();
    m_delivery.stop();
}

cObjectList* cObjectClient::Connection::get(cObjectList* request)
{
    if (request->size() == 0)
        return new cObjectList();
    if (request->size() > tavcodec::kMaxObjects) { // no message could hold the answer
        error("A request for %zu objects is too long: at most %zu", request->size(), tavcodec::kMaxObjects);
        return nullptr;
    }

    const auto end = std::chrono::steady_clock::now() + kAnswerLimit;
    Answer answer;
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait_until(lock, end, [this] { return !m_firstAttempt; });
    const uint32_t id = m_nextId++;
    std::string frame = tavcodec::encodeGet(id, *request);
    if (frame.empty() || !queue({}, std::move(frame))) {
        m_unserved = true;
        return nullptr;
    }
    m_pending[id] = &answer;
    if (!m_changed.wait_until(lock, end, [&answer] { return answer.done; })) {
        // A server that does not answer is treated as gone, so that its return is noticed and told.
        m_pending.erase(id);
        asio::post(m_context, [this] { lose("no answer within 5 s"); });
    }
    return answer.message ? answer.message->list.release() : nullptr;
}

int cObjectClient::Connection::set(const cObject& object)
{
    const std::string key = tavcodec::setKey(object);
    std::lock_guard<std::mutex> lock(m_mutex);
    std::string frame = tavcodec::encodeSet(m_nextId++, object);
    return !frame.empty() && queue(key, std::move(frame)) ? 0 : -1;
}

// Called with m_mutex held: sends at once what the socket takes, and leaves the rest to the io thread. False without a
// connection, or when too much is unsent.
bool cObjectClient::Connection::queue(const std::string& key, std::string frame)
{
    if (m_socket < 0)
        return false;
    if (!hasUnsent()) {
        m_sending = std::move(frame);
        m_sent = 0;
        if (!sendSome())
            asio::post(m_context, [this] { sendRest(); });
        return true;
    }
    const auto unsent = key.empty() ? m_unsentSets.end() : m_unsentSets.find(key);
    if (unsent != m_unsentSets.end()) {
        unsent->second->frame = std::move(frame);
        return true;
    }
    if (m_unsent.size() >= kUnsentLimit) {
        asio::post(m_context, [this] { lose("it does not read what it is sent"); });
        return false;
    }
    m_unsent.push_back({key, std::move(frame)});
    if (!key.empty())
        m_unsentSets[key] = std::prev(m_unsent.end());
    return true;
}

// Called with m_mutex held: goes on with the frame under way, as far as the socket takes it without waiting.
// True once all of it has gone.
bool cObjectClient::Connection::sendSome()
{
    while (m_sent < m_sending.size()) {
        const ssize_t gone =
            ::send(m_socket, m_sending.data() + m_sent, m_sending.size() - m_sent, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (gone < 0 && errno == EINTR)
            continue;
        if (gone < 0) {
            const asio::error_code failure(errno, asio::system_category());
            if (failure != asio::error::would_block)
                asio::post(m_context, [this, failure] { lose(failure.message()); });
            return false;
        }
        m_sent += static_cast<size_t>(gone);
    }
    return true;
}

// On the io thread, while anything is unsent: sends it as the socket has room, a frame at a time under the lock.
void cObjectClient::Connection::sendRest()
{
    m_ioSocket.async_wait(tcp::socket::wait_write, [this](const asio::error_code& failure) {
        if (failure)
            return; // the connection is gone, and what was unsent with it
        for (;;) {
            std::lock_guard<std::mutex> lock(m_mutex);
            if (!hasUnsent())
                return;
            if (!sendSome())
                break;
            if (m_unsent.empty())
                return;
            m_sending = std::move(m_unsent.front().frame);
            m_sent = 0;
            m_unsentSets.erase(m_unsent.front().key);
            m_unsent.pop_front();
        }
        sendRest();
    });
}

void cObjectClient::Connection::connect()
{
    asio::error_code isName;
    const auto address = asio::ip::make_address(m_host, isName);
    if (!isName) // no resolver, which is a thread with its memory
        return tryEndpoints(tcp::resolver::results_type::create(tcp::endpoint(address, m_portNumber), m_host, m_port));
    m_ioResolver.async_resolve(m_host, m_port,
                               [this](const asio::error_code& failure, const tcp::resolver::results_type& endpoints) {
                                   if (failure)
                                       retry("cannot be resolved", failure);
                                   else
                                       tryEndpoints(endpoints);
                               });
}

void cObjectClient::Connection::tryEndpoints(const tcp::resolver::results_type& endpoints)
{
    asio::error_code unopened; // asio would tell of a socket that does not open as of one that was closed
    m_ioSocket.open(endpoints.begin()->endpoint().protocol(), unopened);
    if (unopened == asio::error::no_descriptors)
        return retry("cannot be reached", unopened);
    m_ioConnecting = true;
    m_ioTimer.expires_after(kConnectLimit);
    m_ioTimer.async_wait([this](const asio::error_code& cancelled) {
        asio::error_code ignored;
        if (!cancelled && m_ioConnecting) // it may have ended while this was on its way
            m_ioSocket.close(ignored);    // ends the attempt
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
    m_ioTimer.expires_after(kSteady);
    m_ioTimer.async_wait([this, told](const asio::error_code& cancelled) {
        if (cancelled || !m_ioSocket.is_open()) // it may have been lost while this was on its way
            return;
        m_ioSteady = true;
        m_ioPause = kFirstPause;
        if (!told)
            info("Connected to the object server at %s", m_peer.c_str());
    });
    m_ioReceived.resize(kReadRoom);
    m_ioReceivedSize = 0;
    read();
}

// Says what is wrong once, and tries again after a pause.
void cObjectClient::Connection::retry(const char* what, const asio::error_code& failure)
{
    if (!m_ioToldFailure)
        error("The object server at %s %s: %s", m_peer.c_str(), what, failure.message().c_str());
    m_ioToldFailure = true;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_firstAttempt = false;
    }
    m_changed.notify_all();
    asio::error_code ignored;
    m_ioSocket.close(ignored);
    m_ioTimer.expires_after(m_ioPause);
    m_ioPause = std::min<std::chrono::milliseconds>(m_ioPause * 2, kLongestPause);
    m_ioTimer.async_wait([this](const asio::error_code& cancelled) {
        if (!cancelled)
            connect();
    });
}

// Ends the connection, if there is one: who waits for an answer gets none, what is unsent is forgotten.
void cObjectClient::Connection::lose(const std::string& why)
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_socket < 0)
            return;
        m_socket = -1;
        m_unserved = true;
        for (auto& pending : m_pending)
            pending.second->done = true;
        m_pending.clear();
        m_unsentSets.clear();
        m_unsent.clear();
        m_sending.clear();
        m_sent = 0;
    }
    if (m_ioSteady || why != m_ioLastWhy)
        error("Connection to the object server at %s lost: %s", m_peer.c_str(), why.c_str());
    m_ioToldFailure = true;
    m_ioLastWhy = m_ioSteady ? std::string() : why;
    retry("was lost", {});
}

// Reads what there is, behind the bytes of a frame that has begun.
void cObjectClient::Connection::read()
{
    const auto room = asio::buffer(&m_ioReceived[m_ioReceivedSize], m_ioReceived.size() - m_ioReceivedSize);
    m_ioSocket.async_read_some(room, [this](const asio::error_code& failure, size_t count) {
        if (failure == asio::error::operation_aborted)
            return;
        if (failure)
            return lose(failure.message());
        m_ioReceivedSize += count;
        if (takeFrames())
            read();
    });
}

// Obeys every whole frame that was read, and makes room for the one that has begun. False if the connection was lost.
bool cObjectClient::Connection::takeFrames()
{
    const char* next = m_ioReceived.data();
    size_t left = m_ioReceivedSize;
    size_t wanted = 0;
    while (left >= tavcodec::kHeader) {
        unsigned char header[tavcodec::kHeader];
        std::copy_n(next, tavcodec::kHeader, header);
        const size_t length = tavcodec::frameLength(header);
        if (length > tavcodec::kMaxFrame) {
            lose("it announced a message of " + std::to_string(length) + " bytes");
            return false;
        }
        wanted = tavcodec::kHeader + length;
        if (left < wanted)
            break;
        if (!receive(next + tavcodec::kHeader, length))
            return false;
        next += wanted;
        left -= wanted;
        wanted = 0;
    }
    const size_t room = std::max(wanted, kReadRoom);
    if (room > m_ioReceived.size() || (room == kReadRoom && m_ioReceived.size() > kKeptRoom)) {
        std::string other(room, '\0'); // a large message does not keep its memory
        std::copy_n(next, left, other.begin());
        m_ioReceived.swap(other);
    } else {
        std::copy_n(next, left, m_ioReceived.begin());
    }
    m_ioReceivedSize = left;
    return true;
}

bool cObjectClient::Connection::receive(const char* content, size_t length)
{
    std::string problem;
    std::unique_ptr<tavcodec::Incoming> message = tavcodec::decode(content, length, problem);
    if (!message) {
        lose("it sent " + problem);
        return false;
    }
    const auto now = std::chrono::steady_clock::now();
    if (!message->remark.empty() && now >= m_ioNextRemark) {
        m_ioNextRemark = now + kRemarkPause;
        warn("The object server at %s sent %s: left out", m_peer.c_str(), message->remark.c_str());
    }
    return handOver(std::move(message));
}

// An answer goes to its get(), which may have given up; everything else to the listeners.
bool cObjectClient::Connection::handOver(std::unique_ptr<tavcodec::Incoming> message)
{
    if (message->list->getMsgType() == tavcodec::MSG_GET) {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            const auto pending = m_pending.find(message->id);
            if (pending != m_pending.end()) {
                pending->second->message = std::move(message);
                pending->second->done = true;
                m_pending.erase(pending);
            }
        }
        m_changed.notify_all();
    } else if (!m_delivery.push(std::move(message))) {
        lose("its messages came faster than they could be obeyed");
        return false;
    }
    return true;
}

cObjectClient::cObjectClient() : mConnection(std::make_unique<Connection>()) {}

cObjectClient::~cObjectClient() = default;

void cObjectClient::addListener(cObjectListener* listener)
{
    mConnection->addListener(listener);
}

void cObjectClient::onReconnection(std::function<void()> notice)
{
    mConnection->onReconnection(std::move(notice));
}

bool cObjectClient::isConnected() const
{
    return mConnection->isConnected();
}

size_t cObjectClient::undelivered() const
{
    return mConnection->undelivered();
}

bool cObjectClient::start(const char* host, int port)
{
    return mConnection->start(host, port);
}

cObjectList* cObjectClient::get(cObjectList* request)
{
    return mConnection->get(request);
}

int cObjectClient::set(cObject* object)
{
    return mConnection->set(*object);
}
