#include "modem/Pty.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <system_error>
#include <termios.h>
#include <unistd.h>
#include <utility>

namespace modemsim {

namespace {

[[noreturn]] void fail(int error, const std::string& what)
{
    throw std::system_error(error, std::generic_category(), what);
}

/// The device that a link names; empty: it is no link.
std::string target(const std::string& link)
{
    char name[PATH_MAX];
    const ssize_t length = readlink(link.c_str(), name, sizeof name);
    return length > 0 ? std::string(name, static_cast<std::size_t>(length)) : std::string();
}

} // namespace

Pty::Pty(std::string link) : m_link(std::move(link))
{
    open();
}

Pty::~Pty()
{
    removeLink();
    hangUp();
}

void Pty::open()
{
    const int fd = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
    char name[64];
    if (fd == -1 || grantpt(fd) != 0 || unlockpt(fd) != 0 || ptsname_r(fd, name, sizeof name) != 0) {
        const int error = errno;
        if (fd != -1) {
            close(fd);
        }
        fail(error, "pseudo terminal");
    }
    m_fd = fd;
    m_device = name;
    try {
        makeRaw();
        watchUsers();
        replaceLink();
    } catch (...) {
        hangUp();
        throw;
    }
}

void Pty::hangUp()
{
    if (m_fd != -1) {
        close(m_fd);
        close(m_users);
        m_fd = m_users = -1;
    }
}

void Pty::watchUsers()
{
    m_users = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (m_users == -1 || inotify_add_watch(m_users, m_device.c_str(), IN_OPEN | IN_CLOSE) == -1) {
        fail(errno, m_device);
    }
}

void Pty::forgetUsers() const
{
    char events[4096];
    while (m_users != -1 && ::read(m_users, events, sizeof events) > 0) {
    }
}

void Pty::makeRaw() const
{
    const int user = ::open(m_device.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    termios settings{};
    if (user == -1 || tcgetattr(user, &settings) != 0) {
        const int error = errno;
        if (user != -1) {
            close(user);
        }
        fail(error, m_device);
    }
    cfmakeraw(&settings);
    cfsetspeed(&settings, B115200);
    const bool set = tcsetattr(user, TCSANOW, &settings) == 0;
    const int error = errno;
    close(user);
    if (!set) {
        fail(error, m_device);
    }
}

void Pty::replaceLink() const
{
    if (m_link.empty()) {
        return;
    }
    struct stat info {};
    if (lstat(m_link.c_str(), &info) == 0 && !S_ISLNK(info.st_mode)) {
        fail(EEXIST, m_link + ": not a symbolic link, left as it is");
    }
    const std::string fresh = m_link + "." + std::to_string(getpid()) + ".new";
    unlink(fresh.c_str());
    if (symlink(m_device.c_str(), fresh.c_str()) != 0) {
        fail(errno, fresh);
    }
    if (rename(fresh.c_str(), m_link.c_str()) != 0) {
        const int error = errno;
        unlink(fresh.c_str());
        fail(error, m_link);
    }
}

void Pty::removeLink() const
{
    if (!m_link.empty() && target(m_link) == m_device) {
        unlink(m_link.c_str());
    }
}

bool Pty::hasUser() const
{
    pollfd state{m_fd, POLLOUT, 0};
    return m_fd != -1 && poll(&state, 1, 0) >= 0 && (state.revents & POLLHUP) == 0;
}

// A thread of the kernel takes a terminal's bytes to the other end. Polling that end waits for it.
void Pty::flush() const
{
    const int user = hasUser() ? ioctl(m_fd, TIOCGPTPEER, O_RDWR | O_NOCTTY | O_CLOEXEC) : -1;
    pollfd ends[] = {{m_fd, POLLIN, 0}, {user, POLLIN, 0}};
    (void)!poll(ends, 2, 0);
    if (user != -1) {
        close(user);
        forgetUsers(); // that was us
    }
}

void Pty::forgetUnread()
{
    const int user = ::open(m_device.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (user != -1) {
        tcflush(user, TCIFLUSH);
        close(user);
    }
}

std::string Pty::read()
{
    char bytes[4096];
    const ssize_t got = m_fd == -1 ? -1 : ::read(m_fd, bytes, sizeof bytes);
    return {bytes, got > 0 ? static_cast<std::size_t>(got) : 0};
}

std::size_t Pty::write(const std::string& bytes)
{
    const ssize_t taken = m_fd == -1 ? -1 : ::write(m_fd, bytes.data(), bytes.size());
    return taken > 0 ? static_cast<std::size_t>(taken) : 0;
}

} // namespace modemsim
