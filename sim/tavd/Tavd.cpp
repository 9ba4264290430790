#include "tavd/Tavd.h"

#include "tavobj.pb.h"

#include <algorithm>
#include <array>
#include <asio.hpp>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <set>
#include <thread>

using asio::ip::tcp;

namespace sim {

namespace {

constexpr size_t kMaxFrame = 1 << 20;
constexpr size_t kUnsentLimit = 100000;
enum eKind : uint32_t { KIND_PORT = 1, KIND_DIN = 2, KIND_DOUT = 3, KIND_AIN = 4, KIND_EVENT = 5 };
enum eType : uint32_t { TYPE_GET = 0, TYPE_SET = 1, TYPE_EVENT = 3 };
enum eEvent : uint32_t { EVENT_DEVICE = 1, EVENT_PORT = 2, EVENT_SITE = 3 };
constexpr uint32_t kAccess = 10; // kind of an object

void addPort(const Port& from, tavobj::Message& message)
{
    tavobj::Object* object = message.add_objects();
    object->set_kind(from.output ? KIND_DOUT : KIND_DIN);
    tavobj::Port* port = object->mutable_port();
    port->set_label(from.label);
    port->set_serial(from.serial);
    port->set_id(from.id);
    port->set_type(from.type);
    port->set_status(from.status);
    port->set_toggled(from.toggled);
    if (from.output) {
        port->set_default_state(from.defaultState);
        port->set_output_state(from.state);
    }
}

void addEvent(const Port& from, tavobj::Message& message)
{
    message.set_type(TYPE_EVENT);
    tavobj::Object* object = message.add_objects();
    object->set_kind(KIND_EVENT);
    tavobj::Event* event = object->mutable_event();
    event->set_event_type(EVENT_PORT);
    event->set_serial(from.serial);
    event->set_id(from.id);
    event->set_object_type(from.type);
    event->set_status(from.status);
}

// What concerns no port that a client asked for: it must be passed over.
void addStrangeEvents(tavobj::Message& message)
{
    Port unknown;
    unknown.serial = 0xffffffff;
    unknown.id = 0xffffffff;
    unknown.status = 1;
    addEvent(unknown, message);
    for (const uint32_t type : {EVENT_SITE, EVENT_DEVICE}) {
        addEvent(unknown, message);
        message.mutable_objects(message.objects_size() - 1)->mutable_event()->set_event_type(type);
    }
    message.add_objects()->set_kind(kAccess);
}

std::string framed(const tavobj::Message& message)
{
    return Tavd::frame(message.SerializeAsString());
}

} // namespace

// One client's connection. Its operations run on the io thread.
class Session : public std::enable_shared_from_this<Session> {
public:
    using Receiver = std::function<void(const std::shared_ptr<Session>&, const tavobj::Message&)>;
    using Ender = std::function<void(const std::shared_ptr<Session>&)>;

    Session(tcp::socket socket, Receiver receiver, Ender ender)
        : m_socket(std::move(socket)), m_receiver(std::move(receiver)), m_ender(std::move(ender))
    {
        asio::error_code ignored;
        m_socket.set_option(tcp::no_delay(true), ignored);
    }

    void read()
    {
        if (m_hanging || m_reading)
            return;
        m_reading = true;
        asio::async_read(m_socket, asio::buffer(m_header),
                         [self = shared_from_this()](const asio::error_code& failure, size_t) {
                             const size_t length = size_t{self->m_header[0]} << 24 | size_t{self->m_header[1]} << 16 |
                                                   size_t{self->m_header[2]} << 8 | size_t{self->m_header[3]};
                             if (failure || length > kMaxFrame)
                                 return self->end();
                             self->readContent(length);
                         });
    }

    void send(std::string frame)
    {
        if (m_unsent.size() >= kUnsentLimit)
            return end();
        m_unsent.push_back(std::move(frame));
        write();
    }

    void hang(bool on)
    {
        m_hanging = on;
        if (!on) {
            read();
            write();
        }
    }

    void end()
    {
        if (!m_socket.is_open())
            return;
        asio::error_code ignored;
        m_socket.close(ignored);
        m_ender(shared_from_this());
    }

private:
    void readContent(size_t length)
    {
        m_content.resize(length);
        asio::async_read(m_socket, asio::buffer(m_content),
                         [self = shared_from_this()](const asio::error_code& failure, size_t) {
                             tavobj::Message message;
                             if (failure || !message.ParseFromString(self->m_content))
                                 return self->end();
                             self->m_reading = false;
                             self->m_receiver(self, message);
                             self->read();
                         });
    }

    void write()
    {
        if (m_hanging || m_writing || m_unsent.empty())
            return;
        m_writing = true;
        asio::async_write(m_socket, asio::buffer(m_unsent.front()),
                          [self = shared_from_this()](const asio::error_code& failure, size_t) {
                              if (failure)
                                  return self->end();
                              self->m_writing = false;
                              self->m_unsent.pop_front();
                              self->write();
                          });
    }

    tcp::socket m_socket;
    Receiver m_receiver;
    Ender m_ender;
    std::array<unsigned char, 4> m_header{};
    std::string m_content;
    std::deque<std::string> m_unsent;
    bool m_reading = false, m_writing = false, m_hanging = false;
};

class Tavd::Server {
public:
    ~Server() { stop(); }

    bool start(const std::string& address, uint16_t port, std::string* error);
    void stop();
    void hang(bool on);
    void broadcast(const std::string& frame, const Session* except = nullptr);
    void changed(const Port& port);
    Port* find(const std::string& label, bool output);
    bool acknowledges() const;

    // State, guarded by mutex; change is notified after every change of it.
    mutable std::mutex mutex;
    mutable std::condition_variable change;
    std::vector<Port> ports;
    std::vector<Write> writes;
    std::string forgedAnswer;
    Manners manners;
    size_t gets = 0, clients = 0, connections = 0;
    uint16_t listening = 0;
    std::function<void(const Port&)> listener; // not changed while the server runs

private:
    void accept();
    void admit(const std::shared_ptr<Session>& session);
    void receive(const std::shared_ptr<Session>& session, const tavobj::Message& request);
    void answer(const std::shared_ptr<Session>& session, const tavobj::Message& request);
    void sendAfter(Clock::duration delay, const std::shared_ptr<Session>& session, std::string frame);
    void obey(const std::shared_ptr<Session>& session, const tavobj::Message& request);

    // Of the io thread.
    std::unique_ptr<asio::io_context> m_context;
    std::unique_ptr<tcp::acceptor> m_acceptor;
    std::unique_ptr<asio::steady_timer> m_pause;
    std::set<std::shared_ptr<Session>> m_sessions;
    bool m_hanging = false;
    std::thread m_thread;
};

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
        m_pause->expires_after(std::chrono::milliseconds(100)); // no descriptor, say: no spin
        m_pause->async_wait([this](const asio::error_code& cancelled) {
            if (!cancelled)
                accept();
        });
    });
}

// A client that is new, or that finds us new, asks for what it needs: it is told nothing here. The inputs' states, told
// before the client asked and obeyed after the answer, would undo newer ones for a moment.
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
    tavobj::Message id; // its encoding behind the forged content puts the request's id into it
    id.set_id(request.id());
    sendAfter(delay, session, forged.empty() ? framed(message) : Tavd::frame(forged + id.SerializeAsString()));
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
        const std::string frame = framed(news);
        for (const auto& other : std::set<std::shared_ptr<Session>>(m_sessions)) { // one that is full ends
            if (other != session || !output)
                other->send(frame);
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

Tavd::Tavd() : m_server(std::make_unique<Server>()) {}
Tavd::~Tavd() = default;

void Tavd::setPorts(std::vector<Port> ports)
{
    std::lock_guard<std::mutex> lock(m_server->mutex);
    m_server->ports = std::move(ports);
}

void Tavd::setManners(Manners manners)
{
    std::lock_guard<std::mutex> lock(m_server->mutex);
    m_server->manners = std::move(manners);
}

Tavd::Manners Tavd::manners() const
{
    std::lock_guard<std::mutex> lock(m_server->mutex);
    return m_server->manners;
}

bool Tavd::start(const std::string& address, uint16_t port, std::string* error)
{
    return m_server->start(address, port, error);
}

uint16_t Tavd::port() const
{
    std::lock_guard<std::mutex> lock(m_server->mutex);
    return m_server->listening;
}

void Tavd::stop()
{
    m_server->stop();
}

void Tavd::hang(bool on)
{
    m_server->hang(on);
}

bool Tavd::setInput(const std::string& label, uint32_t status)
{
    return setInputs({{label, status}});
}

bool Tavd::setInputs(const std::vector<std::pair<std::string, uint32_t>>& changes)
{
    tavobj::Message message;
    std::vector<Port> news;
    {
        std::lock_guard<std::mutex> lock(m_server->mutex);
        if (m_server->manners.strange)
            addStrangeEvents(message);
        for (const auto& wanted : changes) {
            Port* port = m_server->find(wanted.first, false);
            if (port == nullptr)
                return false;
            port->status = wanted.second;
            addEvent(*port, message);
            news.push_back(*port);
        }
        m_server->broadcast(framed(message)); // in the order of the changes
    }
    for (const Port& port : news)
        m_server->changed(port);
    return true;
}

bool Tavd::setOutput(const std::string& label, uint32_t state, uint32_t toggled)
{
    Port now;
    {
        std::lock_guard<std::mutex> lock(m_server->mutex);
        Port* port = m_server->find(label, true);
        if (port == nullptr)
            return false;
        port->state = state;
        port->toggled = toggled;
        now = *port;
        tavobj::Message message;
        message.set_type(TYPE_SET);
        addPort(now, message);
        m_server->broadcast(framed(message));
    }
    m_server->changed(now);
    return true;
}

std::optional<Port> Tavd::input(const std::string& label) const
{
    std::lock_guard<std::mutex> lock(m_server->mutex);
    const Port* port = m_server->find(label, false);
    return port != nullptr ? std::optional<Port>(*port) : std::nullopt;
}

std::optional<Port> Tavd::output(const std::string& label) const
{
    std::lock_guard<std::mutex> lock(m_server->mutex);
    const Port* port = m_server->find(label, true);
    return port != nullptr ? std::optional<Port>(*port) : std::nullopt;
}

std::vector<Port> Tavd::ports() const
{
    std::lock_guard<std::mutex> lock(m_server->mutex);
    return m_server->ports;
}

std::vector<Tavd::Write> Tavd::writes() const
{
    std::lock_guard<std::mutex> lock(m_server->mutex);
    return m_server->writes;
}

size_t Tavd::gets() const
{
    std::lock_guard<std::mutex> lock(m_server->mutex);
    return m_server->gets;
}

size_t Tavd::clients() const
{
    std::lock_guard<std::mutex> lock(m_server->mutex);
    return m_server->clients;
}

size_t Tavd::connections() const
{
    std::lock_guard<std::mutex> lock(m_server->mutex);
    return m_server->connections;
}

void Tavd::sendRaw(const std::string& bytes)
{
    m_server->broadcast(bytes);
}

std::string Tavd::frame(const std::string& content)
{
    const auto length = static_cast<uint32_t>(content.size());
    std::string framed;
    for (int shift = 24; shift >= 0; shift -= 8)
        framed.push_back(static_cast<char>(length >> shift & 0xff));
    return framed + content;
}

void Tavd::answerGetsWith(const std::string& content)
{
    std::lock_guard<std::mutex> lock(m_server->mutex);
    m_server->forgedAnswer = content;
}

bool Tavd::waitUntil(const std::function<bool()>& holds, Clock::duration limit) const
{
    const auto end = Clock::now() + limit;
    while (!holds()) {
        std::unique_lock<std::mutex> lock(m_server->mutex);
        if (Clock::now() >= end)
            return false;
        m_server->change.wait_for(lock, std::chrono::milliseconds(20));
    }
    return true;
}

bool Tavd::waitForOutput(const std::string& label, uint32_t state, Clock::duration limit) const
{
    return waitUntil([&] { return output(label) && output(label)->state == state; }, limit);
}

void Tavd::onChange(std::function<void(const Port&)> listener)
{
    m_server->listener = std::move(listener);
}

} // namespace sim
