// Preloaded into the daemon. Interrupts system calls and cuts writes short, as the bench asks in a FaultPage, whose
// file FAULTSHIM_PAGE names. Without it, every call passes through.
//
// SIGUSR1 does nothing but interrupt the call in which a thread waits. Calls that would not wait, because a pipe has
// room or a byte is there, are interrupted by the library itself. In a daemon with the address sanitizer, a thread of
// the library looks for leaks when the bench asks.
//
// It allocates no memory, so that it works with sanitizers.
#undef _FORTIFY_SOURCE
#undef _FILE_OFFSET_BITS
#undef _TIME_BITS
#include "faultPage.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#define EXPORTED extern "C" __attribute__((visibility("default")))

extern "C" __attribute__((weak)) int __lsan_do_recoverable_leak_check();

namespace {

enum class Kind { Other, File, Pipe, Socket, Terminal, Device }; // Device: the simulated GPIO driver

FaultPage noFaults;
FaultPage* page = &noFaults;
std::atomic<std::uint32_t> calls{0};

/// The function of this name that would be called without this library; looked up once, when first needed.
template <typename Function> Function* next(std::atomic<Function*>& known, const char* name)
{
    Function* function = known.load(std::memory_order_relaxed);
    if (function == nullptr) {
        function = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
        known.store(function, std::memory_order_relaxed);
    }
    return function;
}

Kind kindOf(int fd)
{
    struct stat status {};
    fstat(fd, &status);
    if (S_ISFIFO(status.st_mode))
        return Kind::Pipe;
    if (S_ISSOCK(status.st_mode))
        return Kind::Socket;
    if (S_ISREG(status.st_mode))
        return Kind::File;
    if (!S_ISCHR(status.st_mode))
        return Kind::Other;
    return major(status.st_rdev) == 1 ? Kind::Device : Kind::Terminal;
}

bool interrupted(Kind kind)
{
    if (kind == Kind::Other || page->interrupts == 0 || calls++ % 3 != 0)
        return false;
    ++page->done;
    errno = EINTR;
    return true;
}

/// How much of a write is taken.
size_t taken(Kind kind, size_t length)
{
    if (length < 2)
        return length;
    bool cut = page->shortWrites != 0 && (kind == Kind::Pipe || kind == Kind::File);
    std::uint32_t left = page->shortSerial;
    while (kind == Kind::Terminal && left > 0 && !cut)
        cut = page->shortSerial.compare_exchange_weak(left, left - 1);
    if (cut)
        ++page->done;
    return cut ? length / 2 : length;
}

bool faultsInWrites()
{
    return page->interrupts != 0 || page->shortWrites != 0 || page->shortSerial != 0;
}

void nothing(int /*signal*/) {}

void* lookForLeaks(void* /*unused*/)
{
    for (;;) {
        const timespec pause = {0, 10000000};
        syscall(SYS_nanosleep, &pause, nullptr); // real time
        if (page->leakCheck == FaultPage::Asked)
            page->leakCheck = __lsan_do_recoverable_leak_check() != 0 ? FaultPage::Leaks : FaultPage::Clean;
    }
    return nullptr;
}

__attribute__((constructor)) void begin()
{
    const char* path = getenv("FAULTSHIM_PAGE");
    const long fd = path == nullptr ? -1 : syscall(SYS_openat, AT_FDCWD, path, O_RDWR | O_CLOEXEC);
    if (fd < 0)
        return;
    void* memory = mmap(nullptr, sizeof(FaultPage), PROT_READ | PROT_WRITE, MAP_SHARED, static_cast<int>(fd), 0);
    syscall(SYS_close, fd);
    if (memory == MAP_FAILED)
        return;
    page = static_cast<FaultPage*>(memory);
    struct sigaction action {};
    action.sa_handler = nothing; // without SA_RESTART
    sigaction(SIGUSR1, &action, nullptr);
    pthread_t thread;
    if (__lsan_do_recoverable_leak_check != nullptr)
        pthread_create(&thread, nullptr, lookForLeaks, nullptr);
    page->ready = getpid();
}

} // namespace

EXPORTED ssize_t write(int fd, const void* bytes, size_t length)
{
    static std::atomic<ssize_t (*)(int, const void*, size_t)> known;
    if (!faultsInWrites())
        return next(known, "write")(fd, bytes, length);
    const Kind kind = kindOf(fd);
    // A write to the modem is cut only on request: the daemon sends a command in one call.
    if (kind != Kind::Terminal && interrupted(kind))
        return -1;
    return next(known, "write")(fd, bytes, taken(kind, length));
}

// A send to a socket is never cut: the kernel cuts one only if the socket is full, and reports when it has room again.
EXPORTED ssize_t send(int fd, const void* bytes, size_t length, int flags)
{
    static std::atomic<ssize_t (*)(int, const void*, size_t, int)> known;
    return interrupted(Kind::Socket) ? -1 : next(known, "send")(fd, bytes, length, flags);
}

EXPORTED ssize_t sendmsg(int fd, const msghdr* message, int flags)
{
    static std::atomic<ssize_t (*)(int, const msghdr*, int)> known;
    return interrupted(Kind::Socket) ? -1 : next(known, "sendmsg")(fd, message, flags);
}

EXPORTED ssize_t read(int fd, void* bytes, size_t length)
{
    static std::atomic<ssize_t (*)(int, void*, size_t)> known;
    if (page->interrupts != 0 && interrupted(kindOf(fd)))
        return -1;
    return next(known, "read")(fd, bytes, length);
}
