// The AT command engine: one exchange at a time on the modem's serial port.
#ifndef CMDHANDLER_H
#define CMDHANDLER_H

#include "Command.h"
#include "cWlog.h"
#include "serialDriver.h"

#include <atomic>
#include <chrono>
#include <pthread.h>

/// Writes a command and waits until it is done. Every line from the modem goes to the current command.
/// Threads: execute() may be called by any thread and blocks it; rx_thread is the port's only reader. Handler and
///          thread live as long as the process: never destroy a handler that isRunning().
/// Lock:    buffMutex, held by execute() for the whole of an exchange.
/// Units:   a reply timeout is in whole seconds of silence; every received byte restarts it.
/// Errors:  execute() returns nothing; read getErrStat() and getIsOk() of the command afterwards. A port that hangs up
///          or returns errors is treated as silent: each exchange on it ends as TIMEOUT.
class CmdHandler : private cWlog {
public:
    static constexpr std::chrono::seconds kBusyPoll{1}; ///< between two looks at whether the exchange is over
    /// Limit for an exchange, after which its thread counts as hung: 140 s. An exchange without a reply takes the
    /// table's longest silence and one look. Each byte prolongs it, so that a very slow modem may take twenty times as
    /// long.
    static constexpr std::chrono::seconds kLongestExchange =
        20 * (std::chrono::seconds(at::kLongestSilence) + kBusyPoll);

    /// @param ser  the open port; borrowed for the life of the process
    explicit CmdHandler(serialDriver* ser);
    CmdHandler(const CmdHandler&) = delete;
    CmdHandler& operator=(const CmdHandler&) = delete;
    virtual ~CmdHandler() = default;

    /// Starts the receive thread; isRunning() tells whether it runs. Call it once. @param handlrIns  this handler
    void init(CmdHandler* handlrIns);
    /// Whether the receive thread runs. Without it, do not call execute(): nothing would end the exchange.
    bool isRunning() const { return instance != nullptr; }
    /// Runs one exchange. It takes at least a second, unless a line is handled at once. With a silent modem it takes
    /// the command's reply timeout and up to a second after the last byte, plus the rest of any wait that had begun.
    /// @param cmd  borrowed. It still receives lines and time-outs after the return: destroy it only once isInUse()
    ///             returns false
    void execute(Command* cmd);
    /// The command of the current or the last exchange; null before the first.
    Command* getCurrCmd();
    serialDriver* getSerial();
    /// Whether the engine may still use @p cmd: it is the current command, or the receive thread is busy with it. Once
    /// false for a command that has been replaced, it stays false. Any thread.
    bool isInUse(const Command* cmd) const;

    /// Body of the receive thread; @p arg is the handler. Never returns.
    static void* rx_thread(void* arg);

private:
    serialDriver* serial;
    pthread_mutex_t buffMutex;
    std::atomic<Command*> currCmd;
    CmdHandler* instance; ///< this handler once the receive thread runs; null before

    std::atomic<Command*> inHand; ///< the command that rx_thread is busy with; only rx_thread writes it

    Command* takeCurrent();
    void receive();
};

#endif
