#include "bench/GpioReport.h"

#include <cerrno>
#include <fcntl.h>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace bench {

void GpioReport::listen(Listener level)
{
    if (m_reader.joinable())
        return;
    m_onLevel = std::move(level);
    mkfifo(kPath, 0600);
    m_end = open(kPath, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    m_hold = open(kPath, O_WRONLY | O_CLOEXEC);
    fcntl(m_end, F_SETFL, 0);
    m_reader = std::thread([this] { read(); });
}

void GpioReport::stop()
{
    if (!m_reader.joinable())
        return;
    close(m_hold); // the last writer: the reader sees the end
    m_reader.join();
    close(m_end);
}

void GpioReport::read()
{
    std::string partial;
    char bytes[4096];
    ssize_t length;
    while ((length = ::read(m_end, bytes, sizeof bytes)) > 0 || (length < 0 && errno == EINTR)) {
        partial.append(bytes, length > 0 ? static_cast<size_t>(length) : 0);
        for (size_t end; (end = partial.find('\n')) != std::string::npos; partial.erase(0, end + 1))
            readLine(partial.substr(0, end));
    }
}

// "write PIN LEVEL REAL SEEN" is a level that was set.
void GpioReport::readLine(const std::string& line)
{
    std::istringstream words(line);
    std::string kind;
    long long pin = 0, level = 0, realTime = 0, seen = 0;
    if (!(words >> kind >> pin >> level >> realTime >> seen) || kind != "write")
        return;
    if (level != 0) {
        m_roseAt = seen;
    } else if (m_high) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_pulses.push_back({Milliseconds((seen - m_roseAt) / 1000000), static_cast<int>(pin)});
    }
    m_high = level != 0;
    m_onLevel(static_cast<int>(pin), m_high);
}

std::vector<Pulse> GpioReport::pulses() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_pulses;
}

} // namespace bench
