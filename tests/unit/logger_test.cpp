#include "cWlog.h"
#include "laterLog.h"
#include "scratchFolder.h"

#include <gmock/gmock.h>

#include <log4cpp/Category.hh>

#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstring>
#include <sstream>
#include <thread>
#include <vector>

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

/// A configuration that writes "PRIORITY CATEGORY: text" to @p file.
std::string fileAppender(const std::string& file, const std::string& root)
{
    return "log4cpp.rootCategory=" + root +
           ", A\nlog4cpp.appender.A=FileAppender\nlog4cpp.appender.A.fileName=" + file +
           "\nlog4cpp.appender.A.layout=PatternLayout\nlog4cpp.appender.A.layout.ConversionPattern=%p %c: %m%n\n";
}

class Logger : public testing::Test {
protected:
    ~Logger() override { cWlog::init(cWlog::INFO); } // closes the appenders on the folder

    void configure(const std::string& text) { cWlog::init(mFolder.write("conf", text).c_str()); }
    std::string log() const { return mFolder.read("log"); }

    ScratchFolder mFolder;
    cWlog mLogger{"Gsm"};
};

TEST_F(Logger, FollowsTheLogLinesAmongTheDaemonsOwn)
{
    configure("host=127.0.0.1\n=\nno equals sign ${\nlog4j.rootCategory=LOUD\nappender.B=None\n# log4cpp.x\n" +
              fileAppender(mFolder.path("log"), "INFO") + "log4cpp.category.Gsm=DEBUG\r\nsimPin=1357 # a comment\n");
    cWlog modem("Modem");
    mLogger.debug("a %d", 1);
    modem.debug("%s", reinterpret_cast<const char*>(1)); // is not formatted
    modem.info("c %s\n", "d");
    modem.error("e");
    EXPECT_EQ(log(), "DEBUG Gsm: a 1\nINFO Modem: c d\nERROR Modem: e\n");
    EXPECT_TRUE(mLogger.debugEnabled());
    EXPECT_FALSE(modem.debugEnabled());

    modem.setLogName("Gsm");
    EXPECT_TRUE(modem.debugEnabled());
    modem.getLog("Gsm").setPriority(log4cpp::Priority::INFO); // the category of both
    EXPECT_FALSE(mLogger.debugEnabled());
    EXPECT_EQ(&mLogger.getLog("Gsm"), &log4cpp::Category::getInstance("Gsm"));
}

TEST_F(Logger, ShowsControlCharactersAndBrokenTextOfArgumentsOnOneLine)
{
    const struct {
        const char* text;
        const char* line;
    } rows[] = {
        {"plain\n", "plain\\n"},
        {"C:\\n \\x1b", "C:\\\\n \\\\x1b"}, // no argument looks like an escape
        {"a\nERROR Gsm: forged\r\tb", "a\\nERROR Gsm: forged\\r\\tb"},
        {"\x1b[2J\x7f", "\\x1b[2J\\x7f"},
        {"gr\xc3\xbc\xc3\x9f \xe2\x82\xac \xf0\x9f\x98\x80", "gr\xc3\xbc\xc3\x9f \xe2\x82\xac \xf0\x9f\x98\x80"},
        {"\xc2\x9b"
         "31m",
         "\\xc2\\x9b"
         "31m"},
        {"\xe4 \xc0\x8a \xed\xa0\x80 \xe2\x82", "\\xe4 \\xc0\\x8a \\xed\\xa0\\x80 \\xe2\\x82"},
        // The first and the last character of each length and range, and what lies beside them.
        {"\xc2\xa0 \xdf\xbf \xe0\xa0\x80 \xed\x9f\xbf \xef\xbf\xbf \xf0\x90\x80\x80 \xf4\x8f\xbf\xbf ~",
         "\xc2\xa0 \xdf\xbf \xe0\xa0\x80 \xed\x9f\xbf \xef\xbf\xbf \xf0\x90\x80\x80 \xf4\x8f\xbf\xbf ~"},
        {"\xc1\xbf \xe0\x9f\xbf \xf0\x8f\xbf\xbf \xf4\x90\x80\x80 \xf5\x80\x80\x80 \xc2( \x1f",
         "\\xc1\\xbf \\xe0\\x9f\\xbf \\xf0\\x8f\\xbf\\xbf \\xf4\\x90\\x80\\x80 \\xf5\\x80\\x80\\x80 \\xc2( \\x1f"},
        {"%s%n%1000000d", "%s%n%1000000d"},
    };
    std::string expected;
    configure(fileAppender(mFolder.path("log"), "DEBUG"));
    for (const auto& row : rows) {
        mLogger.info("%s", row.text);
        expected += std::string("INFO Gsm: ") + row.line + "\n";
    }
    EXPECT_EQ(log(), expected);
}

#define TEN(text) text text text text text text text text text text

TEST_F(Logger, LeavesTheLineBreaksOfAFormatWhereTheyStandUnlessItDoesNotFit)
{
    configure(fileAppender(mFolder.path("log"), "DEBUG"));
    mLogger.info("\nProcess %s\n", "a\nb");
    mLogger.info("SENDING\n------\n\n");
    mLogger.info("RSSI:%fdBm\tBER:%s\n%s\n", -52.0, "1\t", "\n");
    mLogger.info("%c%%\\%c%s", '\n', ' ', "\\");
    mLogger.info("%s\nend\n", std::string(1021, 'x').c_str());
    mLogger.info("%s\n", std::string(5000, 'y').c_str());
    mLogger.info("%s" TEN(TEN(TEN("\n"))), "");
    // The second conversion begins where a copy of the format would be cut.
    mLogger.info("%." TEN(TEN(TEN("0"))) TEN("0") TEN("0") "s%s", "", "a\nERROR Gsm: forged");
    EXPECT_EQ(log(), "INFO Gsm: Process a\\nb\nINFO Gsm: SENDING\n------\n"
                     "INFO Gsm: RSSI:-52.000000dBm\tBER:1\\t\n\\n\nINFO Gsm: \\n%\\ \\\\\n"
                     "INFO Gsm: " +
                         std::string(1021, 'x') + "\ne\nINFO Gsm: " + std::string(1023, 'y') +
                         "\nINFO Gsm: \nINFO Gsm: a\\nERROR Gsm: forged\n");
}

__attribute__((format(printf, 3, 4))) void later(cWlog& log, cWlog::WlogPiority priority, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    LaterLog::add(log, priority, format, arguments);
    va_end(arguments);
}

TEST_F(Logger, LinesForLaterAreWrittenAsTheyWouldBeAtOnceWhenTheLockHasGone)
{
    configure(fileAppender(mFolder.path("log"), "DEBUG"));
    {
        LaterLog lines(mLogger);
        later(mLogger, cWlog::WARN, "\n\nno %d\n\n", 7);
        later(mLogger, cWlog::DEBUG, "%s\n", "a\n");
        later(mLogger, cWlog::INFO, "%s\n", "");
        later(mLogger, cWlog::INFO, "%s", std::string(1100, 'x').c_str());
        EXPECT_EQ(log(), "");
    }
    later(mLogger, cWlog::INFO, "at once\n");
    EXPECT_EQ(log(), "WARN Gsm: no 7\nDEBUG Gsm: a\\n\nINFO Gsm: \nINFO Gsm: " + std::string(1023, 'x') +
                         "\nINFO Gsm: at once\n");
}

TEST_F(Logger, SaysWhatIsWrongOnceAndLogsToStandardError)
{
    const std::string layout = "log4cpp.appender.A.layout=BasicLayout\n";
    const struct {
        const char* name;
        std::string text;
        const char* trouble;
    } rows[] = {
        {"priority", "host=x\nlog4cpp.rootCategory=LOUD\n", "conf:2: "},
        {"unset root", "log4cpp.rootCategory=\n", "conf:1: "},
        {"appender", "log4cpp.rootCategory=INFO, A\n\nlog4cpp.appender.A=Nonsense\n", "conf:3: "},
        {"no appender", "log4cpp.rootCategory=INFO, A\n", "conf:1: "},
        {"no layout", "log4cpp.rootCategory=INFO, A\nlog4cpp.appender.A=ConsoleAppender\n", "conf:2: "},
        {"folder",
         "log4cpp.rootCategory=INFO, A\nlog4cpp.appender.A=FileAppender\nlog4cpp.appender.A.fileName=/no/where\n" +
             layout,
         "conf:2: appender 'A': No such file or directory"},
        {"no value", "log4cpp.category.Gsm\n", "conf:1: "},
    };
    for (const auto& row : rows) {
        const std::string file = mFolder.write("conf", row.text);
        const std::string first = standardErrorOf([&] {
            cWlog::init(file.c_str());
            mLogger.info("still here");
            mLogger.debug("not shown");
        });
        EXPECT_THAT(first, HasSubstr(row.trouble)) << row.name;
        EXPECT_THAT(first, EndsWith("INFO Gsm: still here\n")) << row.name;
        EXPECT_EQ(std::count(first.begin(), first.end(), '\n'), 2) << first;
        EXPECT_THAT(standardErrorOf([&] { cWlog::init(file.c_str()); }), IsEmpty()) << row.name;
    }
    for (const char* unreadable : {"/no/where: No such file or directory\n", "/: not a regular file\n",
                                   "/proc/self/mem: Input/output error\n"}) {
        const std::string file(unreadable, strcspn(unreadable, ":"));
        EXPECT_THAT(standardErrorOf([&] { cWlog::init(file.c_str()); }),
                    HasSubstr(std::string(" ERROR cWlog: ") + unreadable));
    }
}

TEST_F(Logger, NeverWaitsForAPipe)
{
    const std::string pipe = mFolder.path("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_THAT(standardErrorOf([&] { cWlog::init(pipe.c_str()); }), HasSubstr("pipe: not a regular file"));
    EXPECT_THAT(standardErrorOf([&] { configure(fileAppender(pipe, "INFO")); }),
                HasSubstr("conf:3: nobody reads the pipe " + pipe));
}

TEST_F(Logger, NeedsNoLogLineAtAll)
{
    const std::string lines = standardErrorOf([&] {
        configure("host=127.0.0.1\n");
        mLogger.info("i");
        mLogger.debug("d");
        configure("log4cpp.category.Gsm=DEBUG\n");
        mLogger.debug("own priority");
        configure("");
        mLogger.debug("gone again");
    });
    EXPECT_THAT(lines, HasSubstr("INFO Gsm: i\n"));
    EXPECT_THAT(lines, EndsWith("DEBUG Gsm: own priority\n"));
    EXPECT_THAT(lines, Not(HasSubstr("cWlog")));
}

TEST_F(Logger, IsConfiguredAnewWhileThreadsLog)
{
    const auto openFiles = [] {
        const std::filesystem::directory_iterator files("/proc/self/fd");
        return std::distance(begin(files), end(files));
    };
    const std::string file = mFolder.write("conf", fileAppender(mFolder.path("log"), "INFO"));
    cWlog::init(file.c_str());
    const auto before = openFiles();
    std::atomic<bool> stop{false};
    std::atomic<int> written{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&] {
            while (!stop) {
                mLogger.info("one whole line %d of the log", written.fetch_add(1));
            }
        });
    }
    for (int i = 0; i < 50 || written < 500; ++i) {
        cWlog::init(file.c_str());
    }
    stop = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(openFiles(), before);

    std::istringstream lines(log());
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        ASSERT_THAT(line, testing::MatchesRegex("INFO Gsm: one whole line [0-9]+ of the log"));
    }
    EXPECT_EQ(count, written);
}

TEST(LoggerDeathTest, ThreadsMayLogUntilTheProcessIsGone)
{
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    EXPECT_EXIT(
        {
            std::atomic<int> written{0};
            (void)!std::freopen("/dev/null", "w", stderr);
            cWlog::init(cWlog::INFO);
            for (int i = 0; i < 4; ++i) {
                std::thread([&written] {
                    for (;;) {
                        cWlog("Gsm").info("line %d", ++written);
                    }
                }).detach();
            }
            while (written < 1000) {
                std::this_thread::yield();
            }
            std::exit(0);
        },
        testing::ExitedWithCode(0), "");
}

} // namespace
