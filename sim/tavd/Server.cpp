#include "tavd/Server.h"

#include <algorithm>

using asio::ip::tcp;

namespace sim {

bool Tavd::Server::start(const std::string& address, uint16_t wanted, std::string* error)
{
    m_context = std::make_unique<asio::io_context>();
    m_acceptor = std::make_unique<tcp::acceptor>(*m_context);
    m_pause = std::make_unique<asio::steady_timer>(*m_context);
    asio::error_code failure;
    const auto ip = asio::ip::make_address(address, failure);
    const tcp::endpoint endpoint(ip, wanted);
    if (!failure)
        m_acceptor->open(endpoint.protocol(), failure);
    if (!failure)
        m_acceptor->set_option(tcp::acceptor::reuse_address(true), failure);
    if (!failure)
        m_acceptor->bind(endpoint, failure);
    if (!failure)
        m_acceptor->listen(asio::socket_base::max_listen_connections, failure);
    if (failure) {
        if (error != nullptr)
            *error = address + ':' + std::to_string(wanted) + ": " + failure.message();
        m_acceptor.reset();
        return false;
    }
    {
        std::lock_guard<std::mutex> lock(mutex);
        listening = m_acceptor->local_endpoint().port();
    }
    accept();
    m_thread = std::thread([this] { m_context->run(); });
    return true;
}

void Tavd::Server::stop()
{
    if (!m_thread.joinable())
        return;
    asio::post(*m_context, [this] {
        m_acceptor->close();
        for (const auto& session : std::set<std::shared_ptr<Session>>(m_sessions))
            session->end();
        m_context->stop();
    });
    m_thread.join();
    m_sessions.clear();
    m_acceptor.reset();
    m_pause.reset();
    m_context.reset();
    m_hanging = false;
}

void Tavd::Server::hang(bool on)
{
    if (!m_context)
        return;
    asio::post(*m_context, [this, on] {
        m_hanging = on;
        for (const auto& session : m_sessions)
            session->hang(on);
    });
}

void Tavd::Server::accept()
{
    m_acceptor->async_accept([this](const asio::error_code& failure, tcp::socket socket) {
        if (failure == asio::error::operation_aborted || !m_acceptor->is_open())
            return;
        if (!failure) {
            const auto session = std::make_shared<Session>(
                std::move(socket),
                [this](const std::shared_ptr<Session>& from, const tavobj::Message& message) {
                    receive(from, message);
                },
                [this](const std::shared_ptr<Session>& ended) {
                    m_sessions.erase(ended);
                    std::lock_guard<std::mutex> lock(mutex);
                    clients = m_sessions.size();
                    change.notify_all();
                });
            session->hang(m_hanging);
            admit(session);
            return accept();
        }
        m_pause->expires_after(std::chrono::milliseconds(100)); // without a free descriptor, for example: do not spin
        m_pause->async_wait([this](const asio::error_code& cancelled) {
            if (!cancelled)
                accept();
        });
    });
}

// Sends nothing: a new client asks for what it needs. It might handle the inputs' states, sent here, after a newer
// answer to its get, and go back to the old ones for a moment.
void Tavd::Server::admit(const std::shared_ptr<Session>& session)
{
    {
        std::lock_guard<std::mutex> lock(mutex);
        m_sessions.insert(session);
        ++connections;
        clients = m_sessions.size();
    }
    change.notify_all();
    session->read();
}

void Tavd::Server::receive(const std::shared_ptr<Session>& session, const tavobj::Message& request)
{
    if (request.type() == TYPE_GET)
        answer(session, request);
    else if (request.type() == TYPE_SET)
        obey(session, request);
}

void Tavd::Server::answer(const std::shared_ptr<Session>& session, const tavobj::Message& request)
{
    tavobj::Message message;
    message.set_type(TYPE_GET);
    message.set_id(request.id());
    std::string forged;
    Clock::duration delay{0};
    {
        std::lock_guard<std::mutex> lock(mutex);
        ++gets;
        forged = forgedAnswer;
        delay = manners.answerDelay;
        if (request.all()) {
            for (const Port& port : ports)
                addPort(port, message);
        }
        for (const tavobj::Object& wanted : request.objects()) {
            const Port* port = find(wanted.port().label(), wanted.kind() == KIND_DOUT);
            const auto& omitted = manners.omitted;
            if (port != nullptr && std::find(omitted.begin(), omitted.end(), port->label) == omitted.end())
                addPort(*port, message);
        }
        if (manners.reversed)
            std::reverse(message.mutable_objects()->pointer_begin(), message.mutable_objects()->pointer_end());
    }
    tavobj::Message id; // appended to the forged content, it sets the request's id
    id.set_id(request.id());
    sendAfter(delay, session, forged.empty() ? framed(message) : frame(forged + id.SerializeAsString()));
    change.notify_all();
}

void Tavd::Server::sendAfter(Clock::duration delay, const std::shared_ptr<Session>& session, std::string frame)
{
    if (delay <= Clock::duration::zero())
        return session->send(std::move(frame));
    const auto timer = std::make_shared<asio::steady_timer>(*m_context, delay);
    timer->async_wait([timer, session, frame = std::move(frame)](const asio::error_code& cancelled) {
        if (!cancelled)
            session->send(frame);
    });
}

void Tavd::Server::obey(const std::shared_ptr<Session>& session, const tavobj::Message& request)
{
    tavobj::Message acknowledgement;
    acknowledgement.set_type(TYPE_SET);
    acknowledgement.set_id(request.id());
    for (const tavobj::Object& object : request.objects()) {
        const bool output = object.kind() == KIND_DOUT;
        tavobj::Message news;
        Port now;
        {
            std::lock_guard<std::mutex> lock(mutex);
            Port* port = find(object.port().label(), output);
            if (port == nullptr || (!output && !request.simulate()))
                continue;
            if (output) {
                port->state = object.port().output_state();
                port->toggled = object.port().toggled();
                writes.push_back({port->label, port->state, port->toggled, Clock::now()});
                news.set_type(TYPE_SET);
                addPort(*port, news);
            } else {
                port->status = object.port().status();
                addEvent(*port, news);
            }
            addPort(*port, acknowledgement);
            now = *port;
        }
        const std::string told = framed(news);
        for (const auto& other :
             std::set<std::shared_ptr<Session>>(m_sessions)) { // a session with a full queue ends here
            if (other != session || !output)
                other->send(told);
        }
        changed(now);
    }
    if (acknowledges())
        session->send(framed(acknowledgement));
}

bool Tavd::Server::acknowledges() const
{
    std::lock_guard<std::mutex> lock(mutex);
    return manners.acknowledges;
}

void Tavd::Server::broadcast(const std::string& frame, const Session* except)
{
    if (!m_context)
        return;
    asio::post(*m_context, [this, frame, except] {
        for (const auto& session : std::set<std::shared_ptr<Session>>(m_sessions)) {
            if (session.get() != except)
                session->send(frame);
        }
    });
}

void Tavd::Server::changed(const Port& now)
{
    change.notify_all();
    if (listener)
        listener(now);
}

// Called with the mutex held.
Port* Tavd::Server::find(const std::string& label, bool output)
{
    const auto found = std::find_if(ports.begin(), ports.end(), [&](const Port& candidate) {
        return candidate.output == output && candidate.label == label;
    });
    return found != ports.end() ? &*found : nullptr;
}

} // namespace sim
