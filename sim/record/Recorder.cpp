#include "record/Recorder.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace record {

namespace {

// Bytes of a text, and of a name or number. Even escaped, both fit into the longest line of a reader.
constexpr size_t kMostText = 8192, kMostName = 1024;

// Unknown numbers of the protocol are recorded as the unknown state.
sim::Port known(sim::Port port)
{
    port.label.resize(std::min(port.label.size(), kMostName));
    port.status = port.status < 4 ? port.status : 0;
    port.defaultState = port.defaultState < 3 ? port.defaultState : 0;
    port.state = port.state < 3 ? port.state : 0;
    port.toggled = port.toggled < 5 ? port.toggled : 0;
    return port;
}

} // namespace

Recorder::~Recorder()
{
    end();
}

std::string Recorder::open(const std::string& file)
{
    struct stat kind {};
    const bool device = stat(file.c_str(), &kind) == 0 && !S_ISREG(kind.st_mode);
    m_file = ::open(file.c_str(), O_WRONLY | O_CLOEXEC | O_APPEND | (device ? 0 : O_CREAT | O_EXCL), 0600);
    return m_file < 0 ? file + ": " + strerror(errno) : "";
}

void Recorder::begin(const char* of, const std::vector<sim::Port>& ports)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_begun || m_file < 0)
            return;
        m_begun = true;
        m_begin = m_clock();
        Change first;
        first.kind = Change::Begin;
        first.text = of;
        write(first);
    }
    for (const sim::Port& each : ports)
        port(each);
}

void Recorder::port(const sim::Port& told)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    Change change;
    change.port = known(told);
    const sim::Port& port = change.port;
    const std::pair<uint32_t, uint32_t> now(port.output ? port.state : port.status, port.output ? port.toggled : 0);
    const auto before = m_ports.find({port.output, port.label});
    if (!m_begun || (before != m_ports.end() && before->second == now) ||
        (before == m_ports.end() && m_ports.size() == Reader::kMostPorts))
        return;
    change.kind = before == m_ports.end() ? Change::Port : port.output ? Change::Output : Change::Input;
    m_ports[{port.output, port.label}] = now;
    write(change);
}

void Recorder::tell(Change::Kind kind, const std::string& text, const std::string& who)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    Change change;
    change.kind = kind;
    change.text = text.substr(0, kMostText);
    change.who = who.substr(0, kMostName);
    write(change);
}

void Recorder::end()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    Change last;
    last.kind = Change::End;
    last.lines = m_lines;
    write(last);
    if (m_file >= 0)
        close(m_file);
    m_file = -1;
}

// Under the lock.
void Recorder::write(Change change)
{
    if (!m_begun || m_file < 0)
        return;
    change.time = m_clock() - m_begin;
    const std::string line = lineOf(change) + '\n';
    const ssize_t written = ::write(m_file, line.data(), line.size());
    if (written == static_cast<ssize_t>(line.size())) {
        ++m_lines;
        return;
    }
    fprintf(stderr, "the record cannot be written and ends after line %llu: %s\n",
            static_cast<unsigned long long>(m_lines), written < 0 ? strerror(errno) : "no space left");
    const off_t length = lseek(m_file, 0, SEEK_CUR);
    if (written > 0 && length >= written)
        (void)!ftruncate(m_file, length - written);
    close(m_file);
    m_file = -1;
    m_failed = true;
}

} // namespace record
