#include "VelIdentifier.h"
#include "cWlog.h"
#include "scratchFolder.h"

namespace {

int numberIn(const ScratchFolder& folder)
{
    cWlog logger("VelIdentifier");
    return VelIdentifier(&logger, folder.path("").c_str()).getHardwareNumber();
}

TEST(Hardware, ItsNumberStandsInTheFileAndAFileWithoutOneIsReportedAndMeansNoCard)
{
    const struct {
        const char* content;
        int number;
    } rows[] = {{"1", 1},   {"1\n", 1}, {" \t7 \r\n", 7},    {"2147483647\n", 2147483647},
                {"0\n", 0}, {"", -1},   {"\n", -1},          {"TAVLite", -1},
                {"1x", -1}, {"-1", -1}, {"99999999999", -1}, {"1 1", -1}};
    cWlog::init(cWlog::INFO);
    for (const auto& row : rows) {
        ScratchFolder folder;
        folder.write("etc/tav/hardware", row.content);
        folder.write("proc/device-tree/model", "TAVLite");
        const bool good = row.number >= 0;
        const std::string log =
            standardErrorOf([&] { EXPECT_EQ(numberIn(folder), good ? row.number : 0) << row.content; });
        EXPECT_EQ(timesIn(log, "etc/tav/hardware:1: no hardware number\n"), good ? 0u : 1u) << row.content;
    }
    ScratchFolder folder;
    folder.write("etc/tav/hardware/x", "");
    const std::string line = standardErrorOf([&] { EXPECT_EQ(numberIn(folder), 0); });
    EXPECT_EQ(timesIn(line, "etc/tav/hardware: Is a directory\n"), 1u);
}

TEST(Hardware, WithoutTheFileTheDeviceTreeTells)
{
    ScratchFolder folder;
    EXPECT_EQ(numberIn(folder), 0);
    folder.write("proc/device-tree/model", std::string("Some Board\0", 11));
    EXPECT_EQ(numberIn(folder), 0);
    folder.write("proc/device-tree/model", std::string("Maker TAVLite rev 2\0", 20));
    EXPECT_EQ(numberIn(folder), 1);
}

} // namespace
