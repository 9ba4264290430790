#include "VelIdentifier.h"
#include "cWlog.h"
#include "scratchFolder.h"

#include <gmock/gmock.h>

namespace {

int numberIn(const ScratchFolder& folder)
{
    cWlog logger("VelIdentifier");
    return VelIdentifier(&logger, folder.path("").c_str()).getHardwareNumber();
}

TEST(Hardware, ItsNumberStandsInTheFile)
{
    const struct {
        const char* content;
        int number;
    } rows[] = {{"1", 1}, {"1\n", 1}, {" \t7 \r\n", 7}, {"2147483647\n", 2147483647}, {"0\n", 0}};
    for (const auto& row : rows) {
        ScratchFolder folder;
        folder.write("etc/tav/hardware", row.content);
        folder.write("proc/device-tree/model", "TAVLite");
        EXPECT_EQ(numberIn(folder), row.number) << row.content;
    }
}

TEST(Hardware, AFileWithoutANumberIsReportedAndMeansNoCard)
{
    cWlog::init(cWlog::INFO);
    for (const char* content : {"", "\n", "TAVLite", "1x", "-1", "99999999999", "1 1"}) {
        ScratchFolder folder;
        folder.write("etc/tav/hardware", content);
        folder.write("proc/device-tree/model", "TAVLite");
        const std::string line = standardErrorOf([&] { EXPECT_EQ(numberIn(folder), 0) << content; });
        EXPECT_THAT(line, testing::HasSubstr("etc/tav/hardware:1: no hardware number\n")) << content;
    }
    ScratchFolder folder;
    folder.write("etc/tav/hardware/x", "");
    const std::string line = standardErrorOf([&] { EXPECT_EQ(numberIn(folder), 0); });
    EXPECT_THAT(line, testing::HasSubstr("etc/tav/hardware: Is a directory\n"));
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
