// The order of an exchange between engine and modem, kept however slow the machine is.
#ifndef ENGINECALLS_H
#define ENGINECALLS_H

#include "engineOrder.h"

#include <cerrno>
#include <chrono>
#include <ctime>
#include <sys/select.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/uio.h>
#include <unistd.h>

// The engine looks once a second whether its command is done, and any line makes it done. So that a test knows which of
// the modem's lines the engine has seen when it looks, this takes the places of four system calls, where they concern
// the pseudo terminals of modems:
//  - the modem answers once the engine has begun to wait for it;
//  - the engine's second ends when all that the modem has said is handled, not before, or in silence after a second;
//  - no silence passes while the modem has not taken what it was sent.
// Included in the one source of a program whose modems all answer on their own.
namespace engineOrder {

constexpr std::chrono::seconds kPatience{20};

inline thread_local int t_exchange = -1; // the line on which this thread has written a command
inline thread_local bool t_byte = false; // this thread was told of a byte and has not come back for the next

inline int slaveOf(int fd)
{
    constexpr unsigned kSlaves = 136;
    struct stat info {};
    const bool is =
        fd > STDERR_FILENO && fstat(fd, &info) == 0 && S_ISCHR(info.st_mode) && major(info.st_rdev) == kSlaves;
    return is ? static_cast<int>(minor(info.st_rdev)) : -1;
}

} // namespace engineOrder

// Under names of their own, since a hardened build has bodies for some of the four in its headers.
extern "C" {

ssize_t engineWrite(int fd, const void* bytes, size_t count) __asm__("write");
ssize_t engineRead(int fd, void* bytes, size_t count) __asm__("read");
int engineSelect(int count, fd_set* readable, fd_set* writable, fd_set* odd, timeval* limit) __asm__("select");
int engineNanosleep(const timespec* time, timespec* left) __asm__("nanosleep");

ssize_t engineWrite(int fd, const void* bytes, size_t count)
{
    using namespace engineOrder;
    const iovec piece = {const_cast<void*>(bytes), count};
    const int slave = slaveOf(fd);
    const int master = slave < 0 ? masterOf(fd) : -1;
    if (slave < 0 && master < 0)
        return writev(fd, &piece, 1);
    {
        std::unique_lock<std::mutex> lock(lines().mutex);
        Line& line = lines().all[slave < 0 ? master : slave];
        if (slave >= 0) {
            t_exchange = slave;
            line.early = true;
            line.written += count;
        } else {
            lines().changed.wait_for(lock, kPatience, [&] { return !line.early; });
            line.said += count;
        }
    }
    const ssize_t done = writev(fd, &piece, 1);
    const uint64_t missing = count - static_cast<size_t>(done < 0 ? 0 : done);
    std::lock_guard<std::mutex> lock(lines().mutex);
    Line& line = lines().all[slave < 0 ? master : slave];
    (slave >= 0 ? line.written : line.said) -= missing;
    lines().changed.notify_all();
    return done;
}

ssize_t engineRead(int fd, void* bytes, size_t count)
{
    using namespace engineOrder;
    const iovec piece = {bytes, count};
    const ssize_t got = readv(fd, &piece, 1);
    const int master = got > 0 ? masterOf(fd) : -1;
    if (master >= 0) {
        std::lock_guard<std::mutex> lock(lines().mutex);
        lines().all[master].taken += static_cast<uint64_t>(got);
        lines().changed.notify_all();
    }
    return got;
}

int engineSelect(int count, fd_set* readable, fd_set* writable, fd_set* odd, timeval* limit)
{
    using namespace engineOrder;
    const int slave = slaveOf(count - 1);
    const timespec time = limit == nullptr ? timespec{} : timespec{limit->tv_sec, limit->tv_usec * 1000};
    if (slave < 0)
        return pselect(count, readable, writable, odd, limit == nullptr ? nullptr : &time, nullptr);
    const fd_set asked = *readable;
    const auto patient = std::chrono::steady_clock::now() + kPatience;
    for (;;) {
        {
            std::lock_guard<std::mutex> lock(lines().mutex);
            lines().all[slave].handled += t_byte ? 1 : 0;
            t_byte = false;
            lines().changed.notify_all();
        }
        *readable = asked;
        const int ready = pselect(count, readable, writable, odd, limit == nullptr ? nullptr : &time, nullptr);
        std::lock_guard<std::mutex> lock(lines().mutex);
        t_byte = ready > 0;
        if (ready != 0 || lines().all[slave].quiet() || std::chrono::steady_clock::now() > patient)
            return ready;
    }
}

int engineNanosleep(const timespec* time, timespec* left)
{
    using namespace engineOrder;
    if (t_exchange < 0 || time->tv_sec != 1 || time->tv_nsec != 0) {
        const int result = clock_nanosleep(CLOCK_MONOTONIC, 0, time, left);
        errno = result;
        return result == 0 ? 0 : -1;
    }
    std::unique_lock<std::mutex> lock(lines().mutex);
    Line& line = lines().all[t_exchange];
    line.early = false;
    lines().changed.notify_all();
    const uint64_t before = line.handled;
    lines().changed.wait_for(lock, std::chrono::seconds(1), [&] { return line.quiet() && line.handled != before; });
    lines().changed.wait_for(lock, kPatience, [&] { return line.quiet(); });
    return 0;
}

} // extern "C"

#endif
