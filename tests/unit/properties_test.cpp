#include "properties.h"
#include "scratchFolder.h"

#include <sys/stat.h>

namespace {

class Properties : public testing::Test {
protected:
    bool load(const std::string& content) { return mProperties.load(mFolder.write("conf", content).c_str()); }
    /// "-" where there is no such key.
    std::string value(const char* key) { return mProperties.getString(key, "-"); }

    ScratchFolder mFolder;
    cProperties mProperties;
};

TEST_F(Properties, LinesBecomeKeysAndValues)
{
    const struct {
        const char* content;
        const char* key;
        const char* value;
    } rows[] = {
        {"", "host", "-"},
        {"host=10.0.0.1\n", "host", "10.0.0.1"},
        {"host=10.0.0.1", "host", "10.0.0.1"},
        {"host=a\nhost=b\n", "host", "a"},
        {"Host=a\n", "host", "-"},
        {"host=\n", "host", ""},
        {"=x\n", "", "x"},
        {"a=b=c\n", "a", "b=c"},
        {" host=a\n", "host", "-"},
        {"host = a\n", "host ", " a"},
        {"host=a\r\n", "host", "a\r"},
        {"host=/dev/x#comment\n", "host", "/dev/x"},
        {"host=/dev/x # comment\n", "host", "/dev/x "},
        {"#host=a\n", "host", "-"},
        {"ho#st=a\n", "ho", "-"},
        {"\n  \nno equals\nhost=a", "host", "a"},
    };
    for (const auto& row : rows) {
        EXPECT_TRUE(load(row.content));
        EXPECT_EQ(value(row.key), row.value) << row.content;
    }
}

TEST_F(Properties, ReadingEndsAtTheFirstLineOver255Bytes)
{
    EXPECT_TRUE(load("a=1\nb=" + std::string(253, 'x') + "\nc=3\nd=" + std::string(254, 'x') + "\ne=5\n"));
    EXPECT_EQ(value("b").size(), 253U);
    EXPECT_EQ(value("c"), "3");
    EXPECT_EQ(value("d"), "-");
    EXPECT_EQ(value("e"), "-");
    EXPECT_TRUE(load("b=" + std::string(253, 'x'))) << "without a line feed";
    EXPECT_EQ(value("b").size(), 253U);
    EXPECT_TRUE(load("a=1\n# " + std::string(254, 'x') + "\nc=3\n")) << "a comment is no exception";
    EXPECT_EQ(value("c"), "-");
}

TEST_F(Properties, NumbersAreReadAsFarAsTheyGo)
{
    load("a=12abc\nb=abc\nc= -7\nd=\n");
    EXPECT_EQ(mProperties.getInt("a", 5), 12);
    EXPECT_EQ(mProperties.getInt("b", 5), 0);
    EXPECT_EQ(mProperties.getInt("c", 5), -7);
    EXPECT_EQ(mProperties.getInt("d", 5), 0);
    EXPECT_EQ(mProperties.getInt("e", 5), 5);
}

TEST_F(Properties, WhatIsMissingOrNoRegularFileIsToldAndChangesNothing)
{
    load("a=1\n");
    const std::string pipe = mFolder.path("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string& file : {pipe, mFolder.path(""), std::string("/proc/self/mem"), mFolder.path("missing")}) {
        testing::internal::CaptureStdout();
        EXPECT_FALSE(mProperties.load(file.c_str()));
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "Failed to load input file " + file + "\n");
        EXPECT_EQ(value("a"), "1");
    }
    const char* const defval = "d";
    EXPECT_EQ(mProperties.getString("b", defval), defval);
    load("b=2\n");
    EXPECT_EQ(value("a"), "-") << "a new file replaces all of the old one";
}

} // namespace
