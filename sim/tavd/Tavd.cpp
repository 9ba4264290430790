#include "tavd/Tavd.h"

#include "tavd/Server.h"

namespace sim {

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

void Tavd::forgetWrites()
{
    std::lock_guard<std::mutex> lock(m_server->mutex);
    m_server->writes.clear();
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
    return sim::frame(content);
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
