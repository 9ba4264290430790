// The lines of the scenario language: words, quotes, numbers, times.
#include "bench/Scenario.h"

#include <gtest/gtest.h>

namespace {

using bench::Failure;
using bench::Milliseconds;
using bench::Words;

std::vector<std::string> all(const std::string& line)
{
    std::vector<std::string> list;
    for (Words words(line); !words.empty();)
        list.push_back(words.next("a word"));
    return list;
}

/// What the failure says; empty without one.
template <typename Action> std::string failure(Action action)
{
    try {
        action();
    } catch (const Failure& failure) {
        return failure.what();
    }
    return {};
}

TEST(ScenarioLanguage, CutsALineIntoWords)
{
    using List = std::vector<std::string>;
    EXPECT_EQ(all("alarm\tIN1  set\r"), (List{"alarm", "IN1", "set"}));
    EXPECT_EQ(all("sms 1 \"PUMP ON\" # a comment"), (List{"sms", "1", "PUMP ON"}));
    EXPECT_EQ(all("\"# no comment\" \"\""), (List{"# no comment", ""}));
    EXPECT_EQ(all(R"("\r\n\t\"\\\x41\xff")"), (List{"\r\n\t\"\\A\xff"}));
    EXPECT_TRUE(all(" # nothing").empty());
    EXPECT_TRUE(all("").empty());
}

TEST(ScenarioLanguage, RefusesQuotesWithoutEndAndUnknownEscapes)
{
    for (const char* line : {"\"", "a \"b", R"("\)", R"("\")", R"("\q")", R"("\x4")", R"("\xg0")", R"("\x)"})
        EXPECT_NE(failure([&] { Words words(line); }), "") << line;
}

TEST(ScenarioLanguage, AQuotedWordIsNeverAKeyword)
{
    Words words("\"within\" within");
    EXPECT_FALSE(words.take("within"));
    EXPECT_EQ(words.next("a text"), "within");
    EXPECT_TRUE(words.take("within"));
    Words quoted("\"within\" 5s");
    EXPECT_FALSE(quoted.takeTime("within"));
    Words plain("text within 5s");
    EXPECT_EQ(plain.takeTime("within"), Milliseconds(5000));
    EXPECT_EQ(plain.rest("a text"), "text");
}

TEST(ScenarioLanguage, KnowsItsTimes)
{
    EXPECT_EQ(bench::parseTime("500ms"), Milliseconds(500));
    EXPECT_EQ(bench::parseTime("1.5s"), Milliseconds(1500));
    EXPECT_EQ(bench::parseTime("2m"), Milliseconds(120000));
    EXPECT_EQ(bench::parseTime("1h"), Milliseconds(3600000));
    for (const char* text : {"", "5", "s", "-1s", "nans", "infs", "1e300s", "5 s", "5sec", "five"})
        EXPECT_NE(failure([&] { bench::parseTime(text); }), "") << text;
}

TEST(ScenarioLanguage, SaysWhatIsWrong)
{
    EXPECT_EQ(failure([] { Words("").next("a label"); }), "a label is missing");
    EXPECT_EQ(failure([] { Words("a b").end(); }), "\"a\" is one word too many");
    EXPECT_EQ(failure([] {
                  Words("dim").oneOf("a status", {"set", "clear", "warn"});
              }),
              "a status is set, clear or warn, not dim");
    for (const char* number : {"0", "11", "1x", "99999999999999999999", "\"\""})
        EXPECT_NE(failure([&] { Words(number).number("a count", 1, 10); }), "") << number;
    EXPECT_EQ(Words("10").number("a count", 1, 10), 10);
}

} // namespace
