// Records: what is written is read again, what is wrong is named, and a comparison tells a race from a difference.
#include "record/Compare.h"
#include "record/Recorder.h"
#include "scratchFolder.h"

#include <gmock/gmock.h>

namespace {

using record::Change;
using testing::HasSubstr;
using testing::StartsWith;

sim::Port output(uint32_t state, uint32_t toggled)
{
    sim::Port port;
    port.output = true;
    port.label = "HORN \xe4\n";
    port.state = state;
    port.toggled = toggled;
    return port;
}

TEST(Record, KeepsEveryByteAndLeavesRepetitionsOut)
{
    const ScratchFolder folder;
    const std::string file = folder.path("record"),
                      bytes("broken \xff\xc3( \xed\xa0\x80 \\x00 \0\x1b[2J \xe2\x80\xae \xc3\xa4", 33);
    {
        int64_t now = 1000;
        record::Recorder recorder([&now] { return now++; });
        ASSERT_EQ(recorder.open(file), "");
        recorder.tell(Change::Log, "before it begins");
        recorder.begin("card", {output(2, 9)});
        recorder.port(output(2, 7)); // drivers that nobody knows are one
        recorder.port(output(1, 4));
        recorder.tell(Change::SmsIn, bytes, "0151");
    }
    for (const char c : folder.read("record"))
        EXPECT_TRUE(c == '\n' || static_cast<unsigned char>(c) >= 0x20);
    record::Reader reader(file);
    std::vector<Change> changes;
    for (Change change; reader.next(change);)
        changes.push_back(change);
    ASSERT_EQ(reader.error(), "");
    ASSERT_EQ(changes.size(), 5U);
    EXPECT_EQ(changes[2].port.label, "HORN \xe4\n");
    EXPECT_EQ(changes[2].port.state, 1U);
    EXPECT_EQ(changes[3].text, bytes);
    EXPECT_TRUE(reader.ended());
    EXPECT_THAT(record::Recorder([] { return 0; }).open(file), HasSubstr("exists"));
}

TEST(Record, NamesTheLineThatIsWrong)
{
    const ScratchFolder folder;
    const std::string begin = "{\"time\":0,\"record\":1,\"of\":\"card\"}\n";
    const std::vector<std::pair<std::string, std::string>> wrong = {
        {"", "record: it is empty"},
        {"ELF\n", "record:1: not a record"},
        {begin + "{\"time\":1,\"lo", "record:2: the line is cut off"},
        {begin + "{\"time\":5,\"log\":\"\"}\n{\"time\":4,\"log\":\"\"}\n", "record:3: its time"},
        {begin + "{\"time\":5,\"log\":\"\\\\q\"}\n", "record:2: a backslash"},
        {begin + "{\"time\":5,\"log\":\"\xff\"}\n", "record:2: it is no JSON"},
        {begin + "{\"time\":5,\"input\":\"A\",\"status\":\"set\"}\n", "record:2: input A is not among"},
        {begin + "{\"time\":5,\"end\":1}\n{\"time\":6,\"log\":\"\"}\n", "record:3: it stands behind"},
        {begin + "{\"time\":5,\"end\":7}\n", "record:2: the end tells of 7 lines"},
        {begin + "{\"time\":5,\"log\":\"" + std::string(70000, 'x') + "\"}\n", "record:2: the line has more than"},
        {begin + std::string(60000, '[') + '\n', "record:2: it is no JSON"},
    };
    for (const auto& [content, what] : wrong) {
        record::Reader reader(folder.write("record", content));
        for (Change change; reader.next(change);)
            EXPECT_EQ(reader.error(), "");
        EXPECT_THAT(reader.error(), StartsWith(folder.path(what)));
        Change more;
        EXPECT_FALSE(reader.next(more));
    }
    EXPECT_THAT(record::Reader(folder.path("none")).error(), HasSubstr("No such file"));
}

TEST(Record, EndsWithAWholeLineWhenTheDiskIsFull)
{
    record::Recorder recorder([] { return 0; });
    ASSERT_EQ(recorder.open("/dev/full"), "");
    EXPECT_THAT(standardErrorOf([&] { recorder.begin("card", {}); }), HasSubstr("No space"));
    EXPECT_TRUE(recorder.failed());
    EXPECT_EQ(standardErrorOf([&] { recorder.tell(Change::Log, "more"); }), "");
}

// A stream of each: what was recorded and what happened, "TIME VALUE".
std::string compared(const std::vector<std::pair<int64_t, std::string>>& recorded,
                     const std::vector<std::pair<int64_t, std::string>>& happened)
{
    constexpr int64_t kEnd = 100000;
    record::Compare compare;
    compare.setValue("A", "clear");
    uint64_t line = 0;
    const auto streamOf = [](const std::string& value) { return value == "set" || value == "clear" ? "A" : "B"; };
    auto now = happened.begin();
    const auto happen = [&](int64_t until) {
        for (; now != happened.end() && now->first < until; ++now) {
            compare.waits(now->first);
            compare.happened(streamOf(now->second), now->second, now->first, 5000, line);
        }
    };
    for (const auto& each : recorded) {
        happen(each.first);
        compare.waits(each.first);
        compare.recorded(streamOf(each.second), each.second, each.first, 5000, ++line);
    }
    happen(kEnd);
    compare.recordEnds(kEnd);
    compare.waits(2 * kEnd);
    const auto difference = compare.first();
    return difference ? std::to_string(difference->line) + ": " + difference->text : "";
}

TEST(Record, ComparesInOrderWithinAStreamOnly)
{
    EXPECT_EQ(compared({{10, "set"}, {11, "b"}, {900, "clear"}}, {{9, "b"}, {12, "set"}, {4000, "clear"}}), "");
    EXPECT_EQ(compared({{10, "set"}}, {{5011, "set"}}),
              "1: A set was recorded, and did not come here within 5.000 s; A set came here, and was not recorded");
    EXPECT_EQ(compared({{10, "b1"}, {12, "b2"}}, {{10, "b2"}, {11, "b1"}}), "1: B b1 was recorded; here it was b2");
    EXPECT_EQ(compared({{10, "b1"}, {11, "set"}}, {{9, "set"}}),
              "1: B b1 was recorded, and did not come here within 5.000 s");
    EXPECT_EQ(compared({}, {{10, "b"}}), "0: B b came here, and was not recorded");
    EXPECT_EQ(compared({}, {{97000, "b"}}), ""); // the record may have ended before it
}

TEST(Record, LeavesOutAPulseOfARaceAndNoOther)
{
    EXPECT_EQ(compared({{10, "set"}, {25, "clear"}, {30, "set"}}, {{30, "set"}}), "");
    EXPECT_EQ(compared({{30, "set"}}, {{10, "set"}, {25, "clear"}, {30, "set"}}), "");
    EXPECT_NE(compared({{10, "set"}, {45, "clear"}}, {}), "");
    EXPECT_NE(compared({}, {{10, "set"}, {45, "clear"}}), "");
    EXPECT_THAT(compared({{10, "clear"}, {25, "clear"}}, {{10, "set"}, {25, "clear"}}),
                StartsWith("1: A clear")); // by hand
}

} // namespace
