// The lines that a service writes to the journal, as they come.
#ifndef TAVCTL_JOURNAL_H
#define TAVCTL_JOURNAL_H

#include <atomic>
#include <functional>
#include <string>
#include <sys/types.h>
#include <thread>

/// journalctl as a child, without a shell. Threads: its own reads, and calls back.
class Journal {
public:
    using Listener = std::function<void(const std::string&)>;

    /// @param line called with each line from now on; any bytes @param lost called once, when there are no more
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
