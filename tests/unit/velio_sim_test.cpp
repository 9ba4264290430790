// The GPIO stand-in that is preloaded into the daemon. The tests run this program again with the library preloaded;
// that run does what the daemon does and prints what it saw.
#include "scratchFolder.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <iostream>
#include <sstream>
#include <sys/ioctl.h>
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

void say(const char* step, long result)
{
    std::cout << step << ' ' << (result < 0 ? "errno " + std::to_string(errno) : std::to_string(result)) << '\n';
}

/// One power pulse, as the daemon gives it; a line for each step.
int probeDevice()
{
    const int fd = open("/dev/velio0", O_RDWR | O_NONBLOCK);
    if (fd < 0) {
        say("open", fd);
        return 0;
    }
    say("count", ioctl(fd, 0x6701));
    std::array<Pin, 64> pins{};
    say("table", ioctl(fd, 0x80046702, pins.data()));
    for (std::size_t i = 0; i < 3; ++i) {
        const Pin& pin = pins[i];
        std::cout << "pin " << pin.id << ' ' << int(pin.direction) << ' ' << int(pin.level) << ' '
                  << std::string(pin.name, strnlen(pin.name, sizeof pin.name)) << '\n';
    }
    const std::uint16_t high[2] = {7, 1};
    const std::uint16_t low[2] = {7, 0};
    say("high", write(fd, high, sizeof high));
    usleep(50000);
    say("low", write(fd, low, sizeof low));
    say("odd", write(fd, low, 3));
    say("unknown", ioctl(fd, 0x6703));
    say("close", close(fd));

    // What is not the device passes through, also on the number that the device had.
    const int other = open("/dev/null", O_RDWR);
    say("other write", write(other, low, 3));
    say("other request", ioctl(other, 0x6701));
    say("other close", close(other));
    return 0;
}

class VelioSim : public testing::Test {
protected:
    VelioSim()
    {
        const char* const sanitizer = getenv("ASAN_OPTIONS");
        setenv("ASAN_OPTIONS",
               ("verify_asan_link_order=0:detect_leaks=0:" + std::string(sanitizer ? sanitizer : "")).c_str(), 1);
        setenv("VELIOSIM_REPORT", m_folder.path("report").c_str(), 1);
    }

    /// Runs this program again with the library and this table. @return what it printed
    std::string play(const std::string& table)
    {
        setenv("VELIOSIM_TABLE", m_folder.write("table", table).c_str(), 1);
        const std::string self = std::filesystem::read_symlink("/proc/self/exe");
        // A list of preloaded libraries is split at blanks, which the checkout's name may have.
        std::error_code thereAlready;
        std::filesystem::create_symlink(self.substr(0, self.rfind('/')) + "/../lib", m_folder.path("lib"),
                                        thereAlready);
        const std::string library = m_folder.path("lib/libveliosim.so");
        FILE* const probe = popen(("LD_PRELOAD=" + library + " '" + self + "' --probe-device").c_str(), "r");
        std::string output;
        for (int byte = getc(probe); byte != EOF; byte = getc(probe)) {
            output += static_cast<char>(byte);
        }
        EXPECT_EQ(pclose(probe), 0) << output;
        return output;
    }
    /// The lines of the report since the last call, without their times.
    std::vector<std::string> calls()
    {
        std::vector<std::string> list;
        std::istringstream report(m_folder.read("report"));
        std::string kind, a, b;
        for (long long real = 0, seen = 0; report >> kind >> a >> b >> real >> seen;) {
            list.push_back(kind + ' ' + a + ' ' + b);
            m_real.push_back(real);
            m_seen.push_back(seen);
        }
        return list;
    }

    ScratchFolder m_folder;
    std::vector<long long> m_real, m_seen; ///< the times of the calls
};

TEST_F(VelioSim, GivesItsTableAndReportsThePulse)
{
    EXPECT_EQ(play("# two pins\npin 3 0 1 LED 1\npin 7 1 0 GSM_PWR\n"),
              "count 2\ntable 1\npin 3 0 1 LED 1\npin 7 1 0 GSM_PWR\npin 0 0 0 \nhigh 4\nlow 4\nodd errno 22\n"
              "unknown errno 25\nclose 0\nother write 3\nother request errno 25\nother close 0\n");
    ASSERT_THAT(calls(), ElementsAre("open " + std::to_string(O_RDWR | O_NONBLOCK) + " 0", "count 2 0", "table 1 0",
                                     "write 7 1", "write 7 0", "odd-write 3 0", "ioctl 26371 0", "close 0 0"));
    EXPECT_GE(m_real[4] - m_real[3], 50000000);
    EXPECT_GE(m_seen[4] - m_seen[3], 50000000);
}

TEST_F(VelioSim, FailsAsItIsTold)
{
    const std::string power = "pin 7 1 0 GSM_PWR\n";
    EXPECT_EQ(play("fail open 2\n"), "open errno 2\n");
    EXPECT_THAT(
        play(power + "fail count 5\nfail table 22\nfail write 28\n"),
        HasSubstr("count errno 5\ntable errno 22\npin 0 0 0 \npin 0 0 0 \npin 0 0 0 \nhigh errno 28\nlow errno 28\n"));
    EXPECT_THAT(calls(), ElementsAre("refused-open 2 0", testing::StartsWith("open"), "refused-count 5 0",
                                     "refused-table 22 0", "refused-write 28 0", "refused-write 28 0",
                                     "refused-write 28 0", "ioctl 26371 0", "close 0 0"));
    // Counts that are not the table's, a result of no success, short writes, a name without a terminator.
    EXPECT_THAT(play("pin 1 1 0 ABCDEFGHIJKLMNOPQRST\n" + power + "count 1\ntable 0\nwrite 2\n"),
                HasSubstr("count 1\ntable 0\npin 1 1 0 ABCDEFGHIJKLMNOP\npin 0 0 0 \npin 0 0 0 \nhigh 2\n"));
    EXPECT_THAT(play(power + "count 40\n"), HasSubstr("count 40\ntable 1\npin 7 1 0 GSM_PWR\npin 0 0 0 \n"));
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
