// The GPIO stand-in that is preloaded into the daemon. The tests run this program again with the library preloaded;
// that run does what the daemon does and prints what it saw.
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iostream>
#include <spawn.h>
#include <sstream>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

struct Pin {
    std::uint16_t id;
    std::uint8_t direction;
    std::uint8_t level;
    char name[16];
};

std::string errorOr(long result)
{
    return result < 0 ? "errno " + std::to_string(errno) : std::to_string(result);
}

/// One power pulse, as the daemon gives it; a line for each step.
int probeDevice()
{
    const int fd = open("/dev/velio0", O_RDWR | O_NONBLOCK);
    std::cout << "open " << (fd < 0 ? errorOr(fd) : "good") << '\n';
    if (fd < 0) {
        return 0;
    }
    std::cout << "count " << errorOr(ioctl(fd, 0x6701)) << '\n';
    std::array<Pin, 64> pins{};
    std::cout << "table " << errorOr(ioctl(fd, 0x80046702, pins.data())) << '\n';
    for (std::size_t i = 0; i < 3; ++i) {
        const Pin& pin = pins[i];
        std::cout << "pin " << pin.id << ' ' << int(pin.direction) << ' ' << int(pin.level) << ' '
                  << std::string(pin.name, strnlen(pin.name, sizeof pin.name)) << '\n';
    }
    const std::uint16_t high[2] = {7, 1};
    const std::uint16_t low[2] = {7, 0};
    std::cout << "high " << errorOr(write(fd, high, sizeof high)) << '\n';
    usleep(50000);
    std::cout << "low " << errorOr(write(fd, low, sizeof low)) << '\n';
    std::cout << "odd " << errorOr(write(fd, low, 3)) << '\n';
    std::cout << "unknown " << errorOr(ioctl(fd, 0x6703)) << '\n';
    std::cout << "close " << close(fd) << '\n';

    // What is not the device passes through, also on the number that the device had.
    const int other = open("/dev/null", O_RDWR);
    std::cout << "other " << write(other, low, 3) << ' ' << ioctl(other, 0x6701) << ' ' << close(other) << '\n';
    return 0;
}

/// The folder of this program's libraries, beside its own.
std::string libraries()
{
    char self[4096];
    const ssize_t length = readlink("/proc/self/exe", self, sizeof self);
    const std::string path(self, length > 0 ? static_cast<std::size_t>(length) : 0);
    return path.substr(0, path.rfind('/')) + "/../lib";
}

/// Runs this program again as @p probe with more environment; returns its output, lines as given.
std::string run(const char* probe, const std::vector<std::string>& environment)
{
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    std::vector<std::string> texts = environment;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        texts.emplace_back(*entry);
    }
    const char* options = getenv("ASAN_OPTIONS");
    texts.insert(texts.begin(),
                 std::string("ASAN_OPTIONS=verify_asan_link_order=0:detect_leaks=0:") + (options ? options : ""));
    std::vector<char*> pointers;
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    std::string self = "/proc/self/exe";
    std::string argument = probe;
    char* arguments[] = {self.data(), argument.data(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    pid_t child = 0;
    EXPECT_EQ(posix_spawn(&child, self.c_str(), &actions, nullptr, arguments, pointers.data()), 0);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    std::string output;
    char bytes[4096];
    for (ssize_t got = 0; (got = read(ends[0], bytes, sizeof bytes)) > 0;) {
        output.append(bytes, static_cast<std::size_t>(got));
    }
    close(ends[0]);
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0) << output;
    return output;
}

struct Call {
    std::string kind;
    long a = 0;
    long b = 0;
    long long real = 0;
    long long seen = 0;
};

class VelioSim : public testing::Test {
protected:
    void SetUp() override
    {
        std::string pattern = testing::TempDir() + "velio_sim_XXXXXX";
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        m_folder = pattern;
        // A list of preloaded libraries is split at blanks, which the checkout's name may have.
        ASSERT_EQ(symlink(libraries().c_str(), (m_folder + "/lib").c_str()), 0);
    }
    void TearDown() override
    {
        unlink((m_folder + "/lib").c_str());
        unlink((m_folder + "/table").c_str());
        unlink((m_folder + "/report").c_str());
        rmdir(m_folder.c_str());
    }

    std::string play(const std::string& table)
    {
        std::ofstream(m_folder + "/table") << table;
        return run("--probe-device",
                   {"LD_PRELOAD=" + m_folder + "/lib/libveliosim.so", "VELIOSIM_TABLE=" + m_folder + "/table",
                    "VELIOSIM_REPORT=" + m_folder + "/report"});
    }
    std::vector<Call> calls() const
    {
        std::vector<Call> list;
        std::ifstream file(m_folder + "/report");
        for (Call call; file >> call.kind >> call.a >> call.b >> call.real >> call.seen;) {
            list.push_back(call);
        }
        return list;
    }
    std::vector<std::string> kinds() const
    {
        std::vector<std::string> list;
        for (const Call& call : calls()) {
            list.push_back(call.kind);
        }
        return list;
    }

    std::string m_folder;
};

TEST_F(VelioSim, GivesItsTableAndReportsThePulse)
{
    EXPECT_EQ(play("# two pins\npin 3 0 1 LED 1\npin 7 1 0 GSM_PWR\n"),
              "open good\ncount 2\ntable 1\npin 3 0 1 LED 1\n"
              "pin 7 1 0 GSM_PWR\npin 0 0 0 \nhigh 4\nlow 4\n"
              "odd errno 22\nunknown errno 25\nclose 0\nother 3 -1 0\n");
    EXPECT_THAT(kinds(), ElementsAre("open", "count", "table", "write", "write", "odd-write", "ioctl", "close"));
    const auto list = calls();
    ASSERT_EQ(list.size(), 8U);
    EXPECT_EQ(list[0].a, O_RDWR | O_NONBLOCK);
    EXPECT_EQ(list[3].a, 7);
    EXPECT_EQ(list[3].b, 1);
    EXPECT_EQ(list[4].b, 0);
    EXPECT_GE(list[4].real - list[3].real, 50000000);
    EXPECT_GE(list[4].seen - list[3].seen, 50000000);
}

TEST_F(VelioSim, FailsAsItIsTold)
{
    EXPECT_EQ(play("fail open 2\n"), "open errno 2\n");
    EXPECT_THAT(
        play("pin 7 1 0 GSM_PWR\nfail count 5\nfail table 22\nfail write 28\n"),
        HasSubstr("count errno 5\ntable errno 22\npin 0 0 0 \npin 0 0 0 \npin 0 0 0 \nhigh errno 28\nlow errno 28\n"));
    EXPECT_THAT(kinds(), ElementsAre("refused-open", "open", "refused-count", "refused-table", "refused-write",
                                     "refused-write", "refused-write", "ioctl", "close"));
    // Counts that are not the table's, a result of no success, short writes, a name without a terminator.
    EXPECT_THAT(play("pin 1 1 0 ABCDEFGHIJKLMNOPQRST\npin 7 1 0 GSM_PWR\ncount 1\ntable 0\nwrite 2\n"),
                HasSubstr("count 1\ntable 0\npin 1 1 0 ABCDEFGHIJKLMNOP\npin 0 0 0 \npin 0 0 0 \nhigh 2\n"));
    EXPECT_THAT(play("pin 7 1 0 GSM_PWR\ncount 40\n"), HasSubstr("count 40\ntable 1\npin 7 1 0 GSM_PWR\npin 0 0 0 \n"));
    EXPECT_THAT(play("count -3\n"), HasSubstr("count errno")); // a negative result
    EXPECT_THAT(play(""), HasSubstr("count 0\ntable 1\npin 0 0 0 \n"));
}

} // namespace

int main(int argc, char** argv)
{
    if (argc > 1 && std::string(argv[1]) == "--probe-device") {
        return probeDevice();
    }
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
