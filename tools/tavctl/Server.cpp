#include "Server.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <map>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kPatienceSeconds = 5;
constexpr uint32_t kMaxFrame = 1 << 20;
constexpr uint32_t kInput = 2, kOutput = 3, kEvent = 5;
constexpr uint32_t kGet = 0, kSet = 1, kEventMessage = 3;
const std::array<const char*, 4> kStatus = {"unknown", "set", "clear", "warn"};
const std::array<const char*, 5> kToggled = {"unknown", "none", "website", "ccd", "iodriver"};

Clock::time_point soon()
{
    return Clock::now() + std::chrono::seconds(kPatienceSeconds);
}

// The time-out for poll(); -1 means for ever.
int millisecondsUntil(Clock::time_point deadline)
{
    if (deadline == Clock::time_point::max())
        return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return left > 0 ? static_cast<int>(left) : 0;
}

// Breaks the connection to a silent, switched-off machine after half a minute.
void noticeDeath(int connection)
{
    const int on = 1, idle = 15, interval = 5, probes = 3; // seconds
    setsockopt(connection, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
    setsockopt(connection, IPPROTO_TCP, TCP_KEEPIDLE, &idle, sizeof idle);
    setsockopt(connection, IPPROTO_TCP, TCP_KEEPINTVL, &interval, sizeof interval);
    setsockopt(connection, IPPROTO_TCP, TCP_KEEPCNT, &probes, sizeof probes);
}

template <size_t count> const char* word(const std::array<const char*, count>& words, uint32_t value)
{
    return value < count ? words[value] : "?";
}

const char* stateWord(uint32_t state)
{
    return state < 3 ? kStatus[state] : "?";
}

uint32_t number(const std::string& status)
{
    for (uint32_t i = 0; i < kStatus.size(); ++i) {
        if (status == kStatus[i])
            return i;
    }
    return 0;
}

// A label from the network, without control characters for a terminal.
std::string printable(std::string label)
{
    for (char& c : label) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
            c = '?';
    }
    return label;
}

std::string line(const tavobj::Object& object)
{
    const tavobj::Port& port = object.port();
    char text[200];
    if (object.kind() == kOutput)
        snprintf(text, sizeof text, "output %s serial=0x%08X id=%u type=%u default=%s state=%s toggled=%s",
                 printable(port.label()).c_str(), port.serial(), port.id(), port.type(),
                 stateWord(port.default_state()), stateWord(port.output_state()), word(kToggled, port.toggled()));
    else
        snprintf(text, sizeof text, "input %s serial=0x%08X id=%u type=%u status=%s", printable(port.label()).c_str(),
                 port.serial(), port.id(), port.type(), word(kStatus, port.status()));
    return text;
}

void printWithTime(const std::string& what)
{
    timeval now;
    gettimeofday(&now, nullptr);
    tm local;
    localtime_r(&now.tv_sec, &local);
    char time[20];
    strftime(time, sizeof time, "%H:%M:%S", &local);
    printf("%s.%03ld %s\n", time, static_cast<long>(now.tv_usec / 1000), what.c_str());
}

} // namespace

Server::~Server()
{
    if (m_socket >= 0)
        close(m_socket);
}

bool Server::fail(const std::string& why)
{
    m_error = why;
    return false;
}

bool Server::connect()
{
    if (m_socket >= 0)
        return true;
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const int problem = getaddrinfo(m_host.c_str(), std::to_string(m_port).c_str(), &hints, &found);
    if (problem != 0)
        return fail(gai_strerror(problem));
    int reason = 0;
    for (addrinfo* candidate = found; candidate != nullptr && m_socket < 0; candidate = candidate->ai_next) {
        m_socket = socket(candidate->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
        timeval limit = {kPatienceSeconds, 0};
        setsockopt(m_socket, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
        noticeDeath(m_socket);
        if (m_socket >= 0 && ::connect(m_socket, candidate->ai_addr, candidate->ai_addrlen) != 0) {
            reason = errno;
            close(m_socket);
            m_socket = -1;
        }
    }
    freeaddrinfo(found);
    return m_socket >= 0 || fail(strerror(reason));
}

bool Server::send(const tavobj::Message& message)
{
    const std::string content = message.SerializeAsString();
    const auto length = static_cast<uint32_t>(content.size());
    std::string frame;
    for (int shift = 24; shift >= 0; shift -= 8)
        frame.push_back(static_cast<char>(length >> shift & 0xff));
    frame += content;
    for (size_t sent = 0; sent < frame.size();) {
        const ssize_t now = ::send(m_socket, frame.data() + sent, frame.size() - sent, MSG_NOSIGNAL);
        if (now < 0)
            return fail(strerror(errno));
        sent += static_cast<size_t>(now);
    }
    return true;
}

bool Server::readExactly(void* buffer, size_t length, Clock::time_point deadline)
{
    for (size_t have = 0; have < length;) {
        pollfd readable = {m_socket, POLLIN, 0};
        const int ready = poll(&readable, 1, millisecondsUntil(deadline));
        if (ready == 0)
            return fail("no answer within 5 s");
        if (ready < 0 && errno == EINTR)
            continue;
        const ssize_t now = read(m_socket, static_cast<char*>(buffer) + have, length - have);
        if (now < 0)
            return fail(strerror(errno));
        if (now == 0)
            return fail("the server closed the connection");
        have += static_cast<size_t>(now);
    }
    return true;
}

bool Server::receive(tavobj::Message& message, Clock::time_point deadline)
{
    unsigned char header[4];
    if (!readExactly(header, sizeof header, deadline))
        return false;
    const uint32_t length =
        uint32_t{header[0]} << 24 | uint32_t{header[1]} << 16 | uint32_t{header[2]} << 8 | header[3];
    if (length > kMaxFrame)
        return fail("not an object server: it announced a message of " + std::to_string(length) + " bytes");
    std::string content(length, '\0');
    if (!readExactly(content.data(), length, std::min(deadline, soon())))
        return false;
    return message.ParseFromString(content) || fail("not an object server: it sent a malformed message");
}

bool Server::request(tavobj::Message& message, tavobj::Message& answer)
{
    message.set_id(m_nextId++);
    if (!connect() || !send(message))
        return false;
    const Clock::time_point deadline = soon(); // for the answer, whatever else the server sends before it
    do {
        if (!receive(answer, deadline))
            return false;
    } while (answer.type() != message.type() || answer.id() != message.id());
    return true;
}

bool Server::fetchAll(tavobj::Message& answer)
{
    tavobj::Message message;
    message.set_type(kGet);
    message.set_all(true);
    return request(message, answer);
}

bool Server::list()
{
    tavobj::Message answer;
    if (!fetchAll(answer))
        return false;
    for (const tavobj::Object& object : answer.objects())
        printf("%s\n", line(object).c_str());
    return true;
}

bool Server::watch()
{
    const auto print = [](const tavobj::Object& object) { printWithTime(line(object)); };
    return follow(
        [&](const tavobj::Message& listing) {
            std::for_each(listing.objects().begin(), listing.objects().end(), print);
        },
        print);
}

// Events name a port by serial, id and type; the labels are those of a listing.
bool Server::follow(const std::function<void(const tavobj::Message&)>& listed,
                    const std::function<void(const tavobj::Object&)>& changed)
{
    tavobj::Message listing;
    if (!fetchAll(listing))
        return false;
    std::map<std::array<uint32_t, 3>, tavobj::Object> known;
    for (const tavobj::Object& object : listing.objects())
        known[{object.port().serial(), object.port().id(), object.port().type()}] = object;
    listed(listing);
    for (;;) {
        tavobj::Message news;
        if (!receive(news, Clock::time_point::max()))
            return false;
        for (const tavobj::Object& object : news.objects()) {
            if (news.type() == kEventMessage && object.kind() == kEvent) {
                const auto port =
                    known.find({object.event().serial(), object.event().id(), object.event().object_type()});
                if (port == known.end() || port->second.port().status() == object.event().status())
                    continue;
                port->second.mutable_port()->set_status(object.event().status());
                changed(port->second);
            } else if (news.type() == kSet) {
                changed(object);
            }
        }
    }
}

bool Server::alarm(const std::string& label, const std::string& status)
{
    return change(label, kInput, number(status));
}

bool Server::drive(const std::string& label, const std::string& state)
{
    return change(label, kOutput, number(state));
}

bool Server::change(const std::string& label, uint32_t kind, uint32_t value)
{
    tavobj::Message message, answer;
    message.set_type(kSet);
    message.set_simulate(kind == kInput);
    tavobj::Object* object = message.add_objects();
    object->set_kind(kind);
    object->mutable_port()->set_label(label);
    if (kind == kInput) {
        object->mutable_port()->set_status(value);
    } else {
        object->mutable_port()->set_output_state(value);
        object->mutable_port()->set_toggled(1);
    }
    if (!request(message, answer))
        return false;
    if (answer.objects_size() == 0)
        return fail(std::string("no ") + (kind == kInput ? "input" : "output") + " is labelled " + label);
    return true;
}
