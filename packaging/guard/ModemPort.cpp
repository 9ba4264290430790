#include "ModemPort.h"

#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kMostBytes = 16384; ///< of one answer; the rest is ignored

bool isFinal(const std::string& line)
{
    return line == "OK" || line == "ERROR" || line.rfind("+CME ERROR:", 0) == 0 || line.rfind("+CMS ERROR:", 0) == 0;
}

} // namespace

ModemPort::ModemPort(const std::string& path) : m_fd(open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC))
{
    termios settings = {};
    if (m_fd < 0 || tcgetattr(m_fd, &settings) != 0) {
        return;
    }
    cfmakeraw(&settings);
    settings.c_cflag |= CLOCAL | CREAD;
    cfsetispeed(&settings, B115200);
    cfsetospeed(&settings, B115200);
    tcsetattr(m_fd, TCSANOW, &settings);
}

ModemPort::~ModemPort()
{
    if (m_fd >= 0) {
        close(m_fd);
    }
}

bool ModemPort::write(const std::string& bytes)
{
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t sent = ::write(m_fd, bytes.data() + done, bytes.size() - done);
        if (sent > 0) {
            done += static_cast<std::size_t>(sent);
            continue;
        }
        pollfd room = {m_fd, POLLOUT, 0};
        if ((errno != EAGAIN && errno != EINTR) || poll(&room, 1, 1000) <= 0) {
            return false;
        }
    }
    return true;
}

std::vector<std::string> ModemPort::ask(const std::string& command, int seconds)
{
    std::vector<std::string> lines;
    tcflush(m_fd, TCIFLUSH);
    if (!write(command + "\r")) {
        return lines;
    }
    const auto end = Clock::now() + std::chrono::seconds(seconds);
    std::string line;
    for (std::size_t seen = 0; seen < kMostBytes;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
        pollfd answer = {m_fd, POLLIN, 0};
        if (left <= 0 || (poll(&answer, 1, static_cast<int>(left)) <= 0 && errno != EINTR)) {
            break;
        }
        char byte = 0;
        const ssize_t got = read(m_fd, &byte, 1);
        if (got == 0 || (got < 0 && errno != EAGAIN && errno != EINTR)) {
            break; // the port is gone
        }
        if (got < 0) {
            continue;
        }
        ++seen;
        if (byte != '\r' && byte != '\n') {
            line += byte;
        } else if (!line.empty()) {
            lines.push_back(line);
            line.clear();
            if (isFinal(lines.back())) {
                break;
            }
        }
    }
    return lines;
}
