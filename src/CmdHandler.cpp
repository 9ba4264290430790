// The AT command engine: one exchange at a time on the modem's serial port.
#include "CmdHandler.h"

#include "heartbeat.h"
#include "replyLine.h"
#include "scopedLock.h"
#include "sleepWhole.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <sys/select.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr milliseconds kDeadPause(100); // between two looks at a dead port

enum class Waited { Byte, Silence, Interrupted, Dead };

// The port's bytes, one select() and one read() each.
class Port {
public:
    explicit Port(int fd) : m_fd(fd) {}

    Waited awaitByte(microseconds limit, unsigned char& byte) const
    {
        if (m_fd < 0 || m_fd >= FD_SETSIZE) { // too large for an fd_set
            errno = EBADF;
            return Waited::Dead;
        }
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(m_fd, &readable);
        timeval time = {static_cast<time_t>(limit.count() / 1000000),
                        static_cast<suseconds_t>(limit.count() % 1000000)};
        const int ready = select(m_fd + 1, &readable, nullptr, nullptr, &time);
        if (ready == 0)
            return Waited::Silence;
        if (ready < 0)
            return errno == EINTR ? Waited::Interrupted : Waited::Dead;
        errno = 0;
        const ssize_t got = read(m_fd, &byte, 1);
        if (got == 1)
            return Waited::Byte;
        return got < 0 && errno == EINTR ? Waited::Interrupted : Waited::Dead;
    }

private:
    const int m_fd;
};

} // namespace

CmdHandler::CmdHandler(serialDriver* ser)
    : cWlog("CmdHandler"), serial(ser), buffMutex(), currCmd(nullptr), instance(nullptr), inHand(nullptr)
{
    pthread_mutex_init(&buffMutex, nullptr);
}

void CmdHandler::init(CmdHandler* handlrIns)
{
    pthread_t thread;
    const int result = pthread_create(&thread, nullptr, rx_thread, handlrIns);
    if (result == 0)
        instance = handlrIns;
    else
        error("The receive thread could not be started: %s\n", strerror(result));
}

void CmdHandler::execute(Command* cmd)
{
    Heartbeat::within(kLongestExchange);
    ScopedLock lock(buffMutex);
    cmd->setBusy(); // before it can receive a line, which clears it
    currCmd = cmd;
    char* text = cmd->getATstring();
    debug("Sending AT command:%s\n", text);
    (void)serial->send(text, static_cast<int>(strlen(text)));
    while (currCmd.load()->isBusy())
        sleepWhole(kBusyPoll);
}

Command* CmdHandler::getCurrCmd()
{
    return currCmd;
}

serialDriver* CmdHandler::getSerial()
{
    return serial;
}

bool CmdHandler::isInUse(const Command* cmd) const
{
    return currCmd == cmd || inHand == cmd;
}

// On the receive thread. Publishes the command in inHand first, and then checks that it is still the current one: a
// command that has been replaced, and is not in hand, may be destroyed.
Command* CmdHandler::takeCurrent()
{
    Command* cmd = currCmd;
    for (;;) {
        inHand = cmd;
        Command* now = currCmd;
        if (now == cmd)
            return cmd;
        cmd = now;
    }
}

void* CmdHandler::rx_thread(void* arg)
{
    static_cast<CmdHandler*>(arg)->receive();
    return nullptr;
}

void CmdHandler::receive()
{
    const Port port(serial->getFD());
    ReplyLine line;
    const Command* waitsFor = nullptr; // of a wait that continues after a signal or on a dead port
    Clock::time_point since;
    bool alive = true;
    for (;;) {
        Command* cmd = takeCurrent();
        if (cmd == nullptr) {
            usleep(1);
            continue;
        }
        if (cmd != waitsFor)
            since = Clock::now();
        waitsFor = cmd;
        const auto left = [&] {
            const auto past = std::chrono::duration_cast<microseconds>(Clock::now() - since);
            return std::max(microseconds(0), seconds(cmd->getTout()) - past);
        };
        unsigned char byte = 0;
        Waited waited = port.awaitByte(left(), byte);
        if (waited == Waited::Dead) {
            const int reason = errno;
            if (alive) { // logged once, not ten times a second
                debug("Listen thread error\n");
                error("The modem's port is dead: %s\n", reason == 0 ? "end of file" : strerror(reason));
            }
            alive = false;
            sleepWhole(std::min<microseconds>(kDeadPause, left()));
            waited = left() == microseconds(0) ? Waited::Silence : Waited::Interrupted;
        } else if (waited == Waited::Interrupted) {
            debug("Listen thread error\n");
        } else {
            alive = true;
        }

        if (waited == Waited::Interrupted)
            continue;
        waitsFor = nullptr;
        if (waited == Waited::Silence) {
            cmd->setTimeOut();
            cmd->setDone();
        } else {
            line.take(byte, *cmd);
        }
    }
}
