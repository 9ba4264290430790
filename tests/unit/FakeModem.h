// A modem that plays a script on a pseudo terminal. It shares nothing with what it tests.
#ifndef FAKEMODEM_H
#define FAKEMODEM_H

#include "engineOrder.h"
#include "listener.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <mutex>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <termios.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

/// What the modem must be sent next, to the last byte, and what it says then, as it stands.
struct Step {
    std::string expect;
    std::string reply;
};

/// From here on the signals of the process go to other threads than the caller.
inline void takeNoSignals()
{
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

class FakeModem {
public:
    /// @param chunk  bytes of one write of a reply; 0: whole replies
    explicit FakeModem(std::vector<Step> script = {}, std::size_t chunk = 0)
        : m_script(std::move(script)), m_chunk(chunk), m_master(posix_openpt(O_RDWR | O_NOCTTY))
    {
        if (m_master < 0 || grantpt(m_master) != 0 || unlockpt(m_master) != 0)
            throw std::runtime_error("no pseudo terminal");
        char name[64];
        ptsname_r(m_master, name, sizeof name);
        m_path = name;
        m_slave = open(name, O_RDWR | O_NOCTTY); // or the terminal hangs up as long as nobody else has it open
        termios attributes = {};
        tcgetattr(m_slave, &attributes);
        cfmakeraw(&attributes);
        tcsetattr(m_slave, TCSANOW, &attributes);
        m_thread = std::thread([this] { serve(); });
    }
    ~FakeModem() { hangUp(); }
    FakeModem(const FakeModem&) = delete;
    FakeModem& operator=(const FakeModem&) = delete;

    /// The terminal to open; the text is the modem's.
    char* path() { return m_path.data(); }
    /// Says something unasked.
    void say(const std::string& bytes)
    {
        const engineOrder::Talk talk(m_master);
        const std::size_t chunk = m_chunk == 0 ? 4096 : m_chunk;
        for (std::size_t at = 0; at < bytes.size(); at += chunk)
            put(bytes.substr(at, chunk));
    }
    /// Whether its user has handled all that was said. Only in a program with engineCalls.h.
    bool isHandled() const
    {
        std::lock_guard<std::mutex> lock(engineOrder::lines().mutex);
        return engineOrder::lines().all[engineOrder::masterOf(m_master)].quiet();
    }
    /// Goes away, as an unplugged modem does.
    void hangUp()
    {
        m_stop = true;
        if (!m_thread.joinable())
            return;
        m_thread.join();
        close(m_slave);
        close(m_master);
    }
    /// Everything that was received since the start.
    std::string received()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_received;
    }
    bool waitForReceived(const std::string& bytes)
    {
        return eventually([&] { return received().find(bytes) != std::string::npos; });
    }

private:
    void put(const std::string& bytes)
    {
        for (std::size_t done = 0; done < bytes.size() && !m_stop;) {
            const ssize_t written = write(m_master, bytes.data() + done, bytes.size() - done);
            if (written > 0)
                done += static_cast<std::size_t>(written);
            else if (errno != EINTR && errno != EAGAIN)
                return;
        }
    }
    void serve()
    {
        takeNoSignals();
        while (!m_stop) {
            pollfd ready = {m_master, POLLIN, 0};
            if (poll(&ready, 1, 20) != 1)
                continue;
            const engineOrder::Talk talk(m_master);
            char bytes[512];
            const ssize_t got = read(m_master, bytes, sizeof bytes);
            if (got <= 0)
                continue;
            take(std::string(bytes, static_cast<std::size_t>(got)));
        }
    }
    void take(const std::string& input)
    {
        std::string reply;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_received += input;
            m_pending += input;
            while (m_next < m_script.size() &&
                   m_pending.compare(0, m_script[m_next].expect.size(), m_script[m_next].expect) == 0) {
                m_pending.erase(0, m_script[m_next].expect.size());
                reply += m_script[m_next++].reply;
            }
        }
        say(reply);
    }

    std::vector<Step> m_script;
    const std::size_t m_chunk;
    const int m_master;
    int m_slave = -1;
    std::string m_path;
    std::mutex m_mutex; // guards the script, its place and what was received
    std::size_t m_next = 0;
    std::string m_pending;
    std::string m_received;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

#endif
