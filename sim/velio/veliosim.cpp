// Preloaded into the daemon. Simulates the card's GPIO driver, "/dev/velio0"; every other call passes through.
//
// VELIOSIM_TABLE names a text file with the driver's pins and manners. It is read at each open of the device. Its
// lines:
//   pin ID DIRECTION DEFAULT NAME   a pin, numbers decimal; a NAME of 16 bytes fills its field without a terminator
//   count N                         what the request for the number of pins returns, instead of the number of pins
//   table N                         what the request for the pin table returns, instead of 1
//   write N                         what writing a level returns, instead of 4
//   fail open|count|table|write N   fails with the error number N
//   # anything                      a remark
// Without the variable there is one pin: 7, output, low, "GSM_PWR".
//
// VELIOSIM_REPORT names a file, FIFO or datagram socket that gets a line for each call:
//   KIND A B REAL SEEN              REAL is the monotonic clock in nanoseconds, SEEN the same as the daemon sees it
// KIND is open (A its flags), count (A the result), table (A the result), write (A the pin, B the level), odd-write (A
// its bytes), refused-open, refused-count, refused-table, refused-write (A the error number), ioctl (A an unknown
// request) or close.
//
// Nothing here allocates memory or runs before the first call, so that it works with sanitizers.
#undef _FORTIFY_SOURCE
#undef _FILE_OFFSET_BITS
#undef _TIME_BITS
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

#define EXPORTED extern "C" __attribute__((visibility("default")))

namespace {

constexpr char kDevice[] = "/dev/velio0";
constexpr unsigned long kCountRequest = 0x6701;
constexpr unsigned long kTableRequest = 0x80046702;
constexpr int kMostPins = 256;
constexpr long kSettling = 3000000; // nanoseconds that the write of a level takes: the reader of the report is faster

struct PinRecord { // one entry of the driver's table, native byte order
    std::uint16_t id;
    std::uint8_t direction;
    std::uint8_t level;
    char name[16];
};

struct LevelRecord { // what is written to set a level
    std::uint16_t id;
    std::uint16_t level;
};

struct Driver {
    PinRecord pins[kMostPins];
    int pinCount;
    long count, table, written;                    // results
    int failOpen, failCount, failTable, failWrite; // error numbers, 0: none
};

pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER; // guards `driver`
Driver driver;
std::atomic<int> devices[8] = {{-1}, {-1}, {-1}, {-1}, {-1}, {-1}, {-1}, {-1}}; // descriptors of the device

/// The function of this name that would be called without this library; looked up once, when first needed.
template <typename Function> Function next(std::atomic<Function>& known, const char* name)
{
    Function function = known.load(std::memory_order_relaxed);
    if (function == nullptr) {
        function = reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
        known.store(function, std::memory_order_relaxed);
    }
    return function;
}

std::int64_t nanoseconds(const timespec& time)
{
    return std::int64_t(time.tv_sec) * 1000000000 + time.tv_nsec;
}

void deliver(const char* path, const char* line, std::size_t length)
{
    const long fd = syscall(SYS_openat, AT_FDCWD, path, O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK | O_CLOEXEC, 0644);
    if (fd >= 0) {
        (void)!syscall(SYS_write, fd, line, length);
        syscall(SYS_close, fd);
        return;
    }
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (strlen(path) >= sizeof address.sun_path) {
        return;
    }
    strcpy(address.sun_path, path);
    const int mail = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (mail >= 0) {
        sendto(mail, line, length, 0, reinterpret_cast<const sockaddr*>(&address), sizeof address);
        syscall(SYS_close, mail);
    }
}

void report(const char* kind, long a, long b = 0)
{
    const char* path = getenv("VELIOSIM_REPORT");
    if (path == nullptr) {
        return;
    }
    const int error = errno;
    timespec real{};
    timespec seen{};
    syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &real); // past the bench's clock
    clock_gettime(CLOCK_MONOTONIC, &seen);
    char line[160];
    const int length = snprintf(line, sizeof line, "%s %ld %ld %lld %lld\n", kind, a, b,
                                static_cast<long long>(nanoseconds(real)), static_cast<long long>(nanoseconds(seen)));
    deliver(path, line, static_cast<std::size_t>(length));
    errno = error;
}

/// Reports a call that is to fail, and fails it.
int refuse(const char* kind, int error)
{
    report(kind, error);
    errno = error;
    return -1;
}

void addPin(unsigned id, unsigned direction, unsigned level, const char* name)
{
    if (driver.pinCount == kMostPins) {
        return;
    }
    PinRecord& pin = driver.pins[driver.pinCount++];
    pin.id = static_cast<std::uint16_t>(id);
    pin.direction = static_cast<std::uint8_t>(direction);
    pin.level = static_cast<std::uint8_t>(level);
    memset(pin.name, 0, sizeof pin.name);
    memcpy(pin.name, name, strnlen(name, sizeof pin.name));
}

void obeyLine(const char* line)
{
    unsigned id = 0;
    unsigned direction = 0;
    unsigned level = 0;
    int nameAt = 0;
    int error = 0;
    char what[8];
    if (sscanf(line, "pin %u %u %u %n", &id, &direction, &level, &nameAt) == 3 && nameAt > 0) {
        addPin(id, direction, level, line + nameAt);
    } else if (sscanf(line, "fail %7s %d", what, &error) == 2) {
        (strcmp(what, "open") == 0    ? driver.failOpen
         : strcmp(what, "count") == 0 ? driver.failCount
         : strcmp(what, "table") == 0 ? driver.failTable
                                      : driver.failWrite) = error;
    } else {
        sscanf(line, "count %ld", &driver.count);
        sscanf(line, "table %ld", &driver.table);
        sscanf(line, "write %ld", &driver.written);
    }
}

/// Reads the table file; called with the lock held.
void readTable()
{
    static char text[65536];
    memset(&driver, 0, sizeof driver);
    driver.count = -1000000; // not given
    driver.table = 1;
    driver.written = sizeof(LevelRecord);
    const char* path = getenv("VELIOSIM_TABLE");
    if (path == nullptr) {
        addPin(7, 1, 0, "GSM_PWR");
    } else {
        const long fd = syscall(SYS_openat, AT_FDCWD, path, O_RDONLY | O_CLOEXEC);
        const long got = fd < 0 ? 0 : syscall(SYS_read, fd, text, sizeof text - 1);
        if (fd >= 0) {
            syscall(SYS_close, fd);
        }
        text[got > 0 ? got : 0] = '\0';
        char* rest = nullptr;
        for (char* line = strtok_r(text, "\n", &rest); line != nullptr; line = strtok_r(nullptr, "\n", &rest)) {
            obeyLine(line);
        }
    }
    if (driver.count == -1000000) {
        driver.count = driver.pinCount;
    }
}

bool isDevice(int fd)
{
    for (const auto& device : devices) {
        if (fd >= 0 && device.load(std::memory_order_relaxed) == fd) {
            return true;
        }
    }
    return false;
}

int openDevice(int flags)
{
    pthread_mutex_lock(&lock);
    readTable();
    const int error = driver.failOpen;
    pthread_mutex_unlock(&lock);
    if (error != 0) {
        return refuse("refused-open", error);
    }
    const auto fd = static_cast<int>(syscall(SYS_openat, AT_FDCWD, "/dev/null", O_RDWR | (flags & O_CLOEXEC)));
    for (auto& device : devices) {
        int unused = -1;
        if (fd >= 0 && device.compare_exchange_strong(unused, fd)) {
            report("open", flags);
            return fd;
        }
    }
    if (fd >= 0) {
        syscall(SYS_close, fd);
    }
    return refuse("refused-open", EMFILE);
}

int request(unsigned long code, void* argument)
{
    pthread_mutex_lock(&lock);
    const int countError = driver.failCount;
    const int tableError = driver.failTable;
    const long count = driver.count;
    const long table = driver.table;
    if (code == kTableRequest && tableError == 0) { // no more than the caller was told to make room for
        const long pins = count < driver.pinCount ? count : driver.pinCount;
        if (pins > 0) {
            memcpy(argument, driver.pins, static_cast<std::size_t>(pins) * sizeof(PinRecord));
        }
    }
    pthread_mutex_unlock(&lock);
    if (code == kCountRequest) {
        if (countError != 0) {
            return refuse("refused-count", countError);
        }
        report("count", count);
        return static_cast<int>(count);
    }
    if (code == kTableRequest) {
        if (tableError != 0) {
            return refuse("refused-table", tableError);
        }
        report("table", table);
        return static_cast<int>(table);
    }
    report("ioctl", static_cast<long>(code));
    errno = ENOTTY;
    return -1;
}

ssize_t setLevel(const void* bytes, std::size_t length)
{
    pthread_mutex_lock(&lock);
    const int error = driver.failWrite;
    const long written = driver.written;
    pthread_mutex_unlock(&lock);
    if (error != 0) {
        return refuse("refused-write", error);
    }
    LevelRecord record{};
    if (length != sizeof record) {
        report("odd-write", static_cast<long>(length));
        errno = EINVAL;
        return -1;
    }
    memcpy(&record, bytes, sizeof record);
    report("write", record.id, record.level);
    const timespec settling = {0, kSettling};
    nanosleep(&settling, nullptr);
    return written;
}

using OpenFunction = int (*)(const char*, int, ...);
using OpenAtFunction = int (*)(int, const char*, int, ...);

/// There is a mode argument only if the call may create a file.
mode_t modeOf(int flags, va_list arguments)
{
    const bool given = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
    return given ? static_cast<mode_t>(va_arg(arguments, int)) : 0;
}

int openNamed(std::atomic<OpenFunction>& known, const char* name, const char* path, int flags, mode_t mode)
{
    if (path != nullptr && strcmp(path, kDevice) == 0) {
        return openDevice(flags);
    }
    return next(known, name)(path, flags, mode);
}

int openNamedAt(std::atomic<OpenAtFunction>& known, const char* name, int folder, const char* path, int flags,
                mode_t mode)
{
    if (path != nullptr && strcmp(path, kDevice) == 0) {
        return openDevice(flags);
    }
    return next(known, name)(folder, path, flags, mode);
}

} // namespace

// The C library's other names of these calls: large files, checked flags, 64-bit times.
#define DEFINE_OPEN(NAME)                                                                                              \
    EXPORTED int NAME(const char* path, int flags, ...)                                                                \
    {                                                                                                                  \
        static std::atomic<OpenFunction> known;                                                                        \
        va_list arguments;                                                                                             \
        va_start(arguments, flags);                                                                                    \
        const mode_t mode = modeOf(flags, arguments);                                                                  \
        va_end(arguments);                                                                                             \
        return openNamed(known, #NAME, path, flags, mode);                                                             \
    }
#define DEFINE_OPENAT(NAME)                                                                                            \
    EXPORTED int NAME(int folder, const char* path, int flags, ...)                                                    \
    {                                                                                                                  \
        static std::atomic<OpenAtFunction> known;                                                                      \
        va_list arguments;                                                                                             \
        va_start(arguments, flags);                                                                                    \
        const mode_t mode = modeOf(flags, arguments);                                                                  \
        va_end(arguments);                                                                                             \
        return openNamedAt(known, #NAME, folder, path, flags, mode);                                                   \
    }
#define DEFINE_CHECKED_OPEN(NAME)                                                                                      \
    EXPORTED int NAME(const char* path, int flags)                                                                     \
    {                                                                                                                  \
        static std::atomic<OpenFunction> known;                                                                        \
        return openNamed(known, #NAME, path, flags, 0);                                                                \
    }
#define DEFINE_IOCTL(NAME, NOEXCEPT)                                                                                   \
    EXPORTED int NAME(int fd, unsigned long code, ...) NOEXCEPT                                                        \
    {                                                                                                                  \
        static std::atomic<int (*)(int, unsigned long, ...)> known;                                                    \
        va_list arguments;                                                                                             \
        va_start(arguments, code);                                                                                     \
        void* argument = va_arg(arguments, void*);                                                                     \
        va_end(arguments);                                                                                             \
        return isDevice(fd) ? request(code, argument) : next(known, #NAME)(fd, code, argument);                        \
    }

DEFINE_OPEN(open)
DEFINE_OPEN(open64)
DEFINE_OPENAT(openat)
DEFINE_OPENAT(openat64)
DEFINE_CHECKED_OPEN(__open_2)
DEFINE_CHECKED_OPEN(__open64_2)
DEFINE_IOCTL(ioctl, noexcept)
DEFINE_IOCTL(__ioctl_time64, )

EXPORTED ssize_t write(int fd, const void* bytes, size_t length)
{
    static std::atomic<ssize_t (*)(int, const void*, size_t)> known;
    return isDevice(fd) ? setLevel(bytes, length) : next(known, "write")(fd, bytes, length);
}

EXPORTED int close(int fd)
{
    static std::atomic<int (*)(int)> known;
    for (auto& device : devices) {
        int mine = fd;
        if (fd >= 0 && device.compare_exchange_strong(mine, -1)) {
            report("close", 0);
        }
    }
    return next(known, "close")(fd);
}
