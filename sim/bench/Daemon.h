// The daemon under test as a child process.
#ifndef SIM_BENCH_DAEMON_H
#define SIM_BENCH_DAEMON_H

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <sys/types.h>
#include <thread>
#include <vector>

namespace bench {

/// Starts the daemon, types for it, measures it, ends it, and keeps every line that it prints.
/// Threads: one of its own reads the output. Any thread may call lines(), count(), forgetLines(), sanitizerReport() and
///          strike(); the bench's thread alone calls the rest.
class Daemon {
public:
    struct Settings {
        std::string program;
        std::vector<std::string> arguments;
        std::vector<std::string> environment; ///< NAME=VALUE, added to the bench's own
        long descriptors = 0;                 ///< limit of open descriptors; 0: as for the bench
    };

    ~Daemon() { kill(); }

    /// @param line  called on the reader's thread for each line
    void onLine(std::function<void(bool standardOutput, const std::string& line)> line) { m_onLine = std::move(line); }
    /// @return what went wrong, or nothing
    std::string start(const Settings& settings);
    /// Sends SIGKILL and waits for the end. Keeps the lines.
    void kill();
    /// Sends SIGKILL without waiting for the end. Any thread.
    void strike() const;
    /// Limits the descriptors that it may open from now on. Open ones stay.
    void limitDescriptors(long most) const;
    bool running();
    pid_t process() const { return m_pid; }
    /// How it ended by itself, as a phrase for a message.
    std::string ending() const { return m_ending; }
    void type(const std::string& text) const; ///< to its standard input
    void closeInput();

    /// Lines of standard output or of the log (standard error), from a count() on. The oldest are dropped when there
    /// are 200,000.
    std::vector<std::string> lines(bool standardOutput, size_t from) const;
    /// Of the lines since the bench began.
    size_t count(bool standardOutput) const;
    /// Drops the lines; counts restart at 0.
    void forgetLines();
    /// The report of a sanitizer on standard error, from its first line on; empty if there is none.
    std::string sanitizerReport() const;

    double cpuSeconds() const; ///< processor time used so far
    long residentKiB() const;
    long threads() const;
    long descriptors() const;

private:
    void read(int out, int log);
    struct Lines {
        void add(std::string line);

        std::vector<std::string> kept;
        size_t dropped = 0; // before them
    };

    void add(bool standardOutput, std::string& partial, const char* bytes, size_t length);

    mutable std::mutex m_pidMutex; // keeps strike() from a process that has been waited for
    std::atomic<pid_t> m_pid{-1};
    int m_input = -1;
    std::string m_ending;
    std::function<void(bool, const std::string&)> m_onLine;
    mutable std::mutex m_mutex; // guards the lines
    Lines m_out, m_log;
    std::thread m_reader;
};

} // namespace bench

#endif
