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

/// Starts, feeds, measures and ends the daemon; keeps every line that it prints.
/// Threads: a reader of its own; operations are the bench's thread's, lines() and others with a lock are any thread's.
class Daemon {
public:
    struct Settings {
        std::string program;
        std::vector<std::string> arguments;
        std::vector<std::string> environment; ///< NAME=VALUE, added to the bench's own
        long descriptors = 0;                 ///< most that it may have open; 0: as many as the bench
    };

    ~Daemon() { kill(); }

    /// @param line called on the reader's thread for each line; stdout says where it was printed
    void onLine(std::function<void(bool standardOutput, const std::string& line)> line) { m_onLine = std::move(line); }
    /// @return what went wrong, or nothing
    std::string start(const Settings& settings);
    /// SIGKILL, and waits for the end. Lines stay.
    void kill();
    /// SIGKILL from any thread, without waiting for the end.
    void strike() const;
    /// The descriptors that it may have from now on; those it has it keeps.
    void limitDescriptors(long most) const;
    bool running();
    pid_t process() const { return m_pid; }
    /// How it ended by itself, for people.
    std::string ending() const { return m_ending; }
    void type(const std::string& text) const; ///< to its standard input
    void closeInput();

    /// Lines since the bench began, of standard output or of the log (standard error).
    std::vector<std::string> lines(bool standardOutput, size_t from) const;
    size_t count(bool standardOutput) const;
    /// Forgets them, for who listens with onLine() and runs for long; counts begin anew.
    void forgetLines();
    /// What a sanitizer has reported so far, on standard error: from its first line on. Empty: nothing.
    std::string sanitizerReport() const;

    double cpuSeconds() const; ///< used so far; real
    long residentKiB() const;
    long threads() const;
    long descriptors() const;

private:
    void read(int out, int log);
    void add(bool standardOutput, std::string& partial, const char* bytes, size_t length);

    mutable std::mutex m_pidMutex; // guards that a process which was waited for is never struck
    std::atomic<pid_t> m_pid{-1};
    int m_input = -1;
    std::string m_ending;
    std::function<void(bool, const std::string&)> m_onLine;
    mutable std::mutex m_mutex; // guards the lines
    std::vector<std::string> m_out, m_log;
    std::thread m_reader;
};

} // namespace bench

#endif
