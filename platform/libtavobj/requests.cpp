// Sends the client's requests, and receives what the object server sends.
#include "connection.h"

#include "cObjectList.h"

#include <cerrno>
#include <utility>

using asio::ip::tcp;
using namespace std::chrono_literals;

namespace {

constexpr auto kAnswerLimit = 5s;
constexpr auto kRemarkPause = 1s; // between two warnings of objects left out: the server must not fill the log

} // namespace

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
        // A server that does not answer is treated as gone, so that its return is noticed.
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

// Sends at once what the socket takes, and leaves the rest to the io thread.
// False without a connection, or when too much is unsent.
bool cObjectClient::Connection::queue(const std::string& key, std::string frame)
{
    if (m_socket < 0)
        return false;
    const bool wasEmpty = m_unsent.empty();
    if (!m_unsent.add(key, std::move(frame))) {
        asio::post(m_context, [this] { lose("it does not read its messages"); });
        return false;
    }
    if (wasEmpty && !sendSome())
        asio::post(m_context, [this] { sendRest(); });
    return true;
}

// Sends what the socket takes of the first frame. True once all of it is sent.
bool cObjectClient::Connection::sendSome()
{
    const int failure = m_unsent.sendFront(m_socket);
    if (failure != 0 && failure != EAGAIN && failure != EWOULDBLOCK)
        asio::post(m_context, [this, failure] { lose(asio::error_code(failure, asio::system_category()).message()); });
    return failure == 0;
}

// Sends the unsent frames when the socket has room. The lock is released after each frame, for the callers of set().
void cObjectClient::Connection::sendRest()
{
    m_ioSocket.async_wait(tcp::socket::wait_write, [this](const asio::error_code& failure) {
        if (failure)
            return; // the connection is gone, and the unsent frames with it
        for (;;) {
            std::lock_guard<std::mutex> lock(m_mutex);
            if (m_unsent.empty())
                return;
            if (!sendSome())
                break;
        }
        sendRest();
    });
}

void cObjectClient::Connection::read()
{
    m_ioSocket.async_read_some(
        asio::buffer(m_ioFrames.room(), m_ioFrames.roomSize()), [this](const asio::error_code& failure, size_t count) {
            if (failure == asio::error::operation_aborted)
                return;
            if (failure)
                return lose(failure.message());
            const std::string why =
                m_ioFrames.take(count, [this](const char* content, size_t length) { return receive(content, length); });
            if (!why.empty())
                return lose(why);
            read();
        });
}

// Answers go to their get(), all other messages to the listeners. Returns why the connection must end; empty to go on.
std::string cObjectClient::Connection::receive(const char* content, size_t length)
{
    std::string problem;
    std::unique_ptr<tavcodec::Incoming> message = tavcodec::decode(content, length, problem);
    if (!message)
        return "it sent " + problem;
    const auto now = std::chrono::steady_clock::now();
    if (!message->remark.empty() && now >= m_ioNextRemark) {
        m_ioNextRemark = now + kRemarkPause;
        warn("The object server at %s sent %s: ignored", m_peer.c_str(), message->remark.c_str());
    }
    if (message->list->getMsgType() == tavcodec::MSG_GET)
        answer(std::move(message));
    else if (!m_delivery.push(std::move(message)))
        return "too many of its messages are unhandled";
    return {};
}

// The get() may have timed out: then the answer is dropped.
void cObjectClient::Connection::answer(std::unique_ptr<tavcodec::Incoming> message)
{
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
}
