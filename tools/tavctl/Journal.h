// The lines that a service writes to the journal, as they come.
#ifndef TAVCTL_JOURNAL_H
#define TAVCTL_JOURNAL_H

#include <atomic>
#include <functional>
#include <string>
#include <sys/types.h>
#include <thread>

/// Runs journalctl as a child, without a shell.
/// Threads: one of its own reads the lines and calls back.
class Journal {
public:
    using Listener = std::function<void(const std::string&)>;

    /// @param line  called with each new line, which may hold any bytes
    /// @param lost  called once, when no more lines come
    Journal(const std::string& unit, Listener line, Listener lost);
    ~Journal();
    Journal(const Journal&) = delete;
    Journal& operator=(const Journal&) = delete;

    /// The message of one line of `journalctl -o json`; false where there is none.
    static bool message(const std::string& json, std::string& text);

private:
    void read(const Listener& line, const Listener& lost);

    pid_t m_child = -1;
    int m_end = -1;
    std::atomic<bool> m_closing{false};
    std::thread m_reader;
};

#endif
