// What engine and modem have said to each other so far.
#ifndef ENGINEORDER_H
#define ENGINEORDER_H

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <sys/ioctl.h>

/// Kept by engineCalls.h, where a program includes it. Threads: any.
namespace engineOrder {

/// A modem's line, known by the number of its pseudo terminal.
struct Line {
    uint64_t written = 0; ///< bytes that the engine wrote
    uint64_t taken = 0;   ///< and those that the modem has read
    uint64_t said = 0;    ///< bytes that the modem wrote
    uint64_t handled = 0; ///< and those after which the engine waits for the next
    int talking = 0;      ///< see Talk
    bool early = false;   ///< the engine has written and does not wait yet

    bool quiet() const { return talking == 0 && taken >= written && handled >= said; }
};

struct Lines {
    std::mutex mutex; // guards the lines
    std::condition_variable changed;
    std::map<int, Line> all;
};

inline Lines& lines()
{
    static auto* made = new Lines; // for threads that outlive main()
    return *made;
}

inline int masterOf(int fd)
{
    int number = -1;
    return ioctl(fd, TIOCGPTN, &number) == 0 ? number : -1;
}

/// While it lives, the modem at this master is in the midst of an answer.
class Talk {
public:
    explicit Talk(int master) : m_number(masterOf(master)) { add(1); }
    ~Talk() { add(-1); }
    Talk(const Talk&) = delete;
    Talk& operator=(const Talk&) = delete;

private:
    void add(int more)
    {
        std::lock_guard<std::mutex> lock(lines().mutex);
        lines().all[m_number].talking += more;
        lines().changed.notify_all();
    }
    const int m_number;
};

} // namespace engineOrder

#endif
