// The AT command engine: one exchange at a time on the modem's serial port.
#ifndef CMDHANDLER_H
#define CMDHANDLER_H

#include "Command.h"
#include "cWlog.h"
#include "serialDriver.h"

#include <atomic>
#include <chrono>
#include <pthread.h>

/// Writes a command, waits until it is done, and hands every line that the modem sends to the current command.
/// Threads: execute() may be called by any thread and blocks it; rx_thread is the port's only reader. Handler and
///          thread live as long as the process: a handler that isRunning() is never destroyed.
/// Lock:    buffMutex, held by execute() for the whole of an exchange.
/// Units:   a reply timeout is whole seconds of silence; every byte received starts it afresh.
/// Errors:  execute() returns nothing; read getErrStat() and getIsOk() of the command afterwards. A port that hangs up
///          or returns errors counts as silent: each exchange on it ends as TIMEOUT.
class CmdHandler : private cWlog {
public:
    static constexpr std::chrono::seconds kBusyPoll{1}; ///< between two looks at whether the exchange is over
    /// After which a thread in an exchange counts as hung. A silent exchange takes the table's longest silence and a
    /// look; each byte prolongs it, and a modem that dribbles its bytes has twenty times as long: 140 s.
    static constexpr std::chrono::seconds kLongestExchange =
        20 * (std::chrono::seconds(at::kLongestSilence) + kBusyPoll);

    /// @param ser  the open port; borrowed, must live as long as the process
    explicit CmdHandler(serialDriver* ser);
    CmdHandler(const CmdHandler&) = delete;
    CmdHandler& operator=(const CmdHandler&) = delete;
    virtual ~CmdHandler() = default;

    /// Starts the receive thread for @p handlrIns, which is the handler itself. To be called once. isRunning() says
    /// whether it could.
    void init(CmdHandler* handlrIns);
    /// Whether the receive thread was started. Without it no command may be executed: nothing would end the exchange.
    bool isRunning() const { return instance != nullptr; }
    /// Runs one exchange: at least a second unless a line was handled at once, at most the command's reply timeout
    /// plus a second after the last byte of a modem that falls silent (after any wait still under way).
    /// @param cmd  borrowed; it goes on receiving lines and timeouts after the return: destroy it only when isInUse()
    ///             says false
    void execute(Command* cmd);
    /// The command of the running exchange, or of the last one; null before the first.
    Command* getCurrCmd();
    serialDriver* getSerial();
    /// Whether the engine may still touch @p cmd: it is the current one, or the receive thread waits or works for it.
    /// A command that was replaced and of which this has once said false is never touched again. Any thread.
    bool isInUse(const Command* cmd) const;

    /// Body of the receive thread; @p arg is the handler. Never returns.
    static void* rx_thread(void* arg);

private:
    serialDriver* serial;
    pthread_mutex_t buffMutex;
    std::atomic<Command*> currCmd;
    CmdHandler* instance; ///< the handler itself once the receive thread runs; null before

    std::atomic<Command*> inHand; ///< what rx_thread waits or works for; written by it alone

    Command* takeCurrent();
    void receive();
};

#endif
