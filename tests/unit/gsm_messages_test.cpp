#include "cWlog.h"
#include "gsmIOpairs.h"
#include "scratchFolder.h"
#include "shortMemory.h"

#include <gmock/gmock.h>

#include <memory>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class GsmMessages : public testing::Test {
protected:
    GsmMessages() { cWlog::init(cWlog::INFO); }

    using Records = std::vector<std::unique_ptr<cgsmMessageInfo>>;

    /// The records of @p xml in the order of the list.
    Records read(const std::string& xml) { return readFile(mFolder.write("gsm.xml", xml)); }
    Records readFile(const std::string& file)
    {
        Records records;
        mErrors = standardErrorOf([&] {
            const std::unique_ptr<cEnumeratedList<cgsmMessageInfo>> list(cgsmIOpairs().getGsmInfoList(file.c_str()));
            ASSERT_NE(list, nullptr);
            for (cgsmMessageInfo* record = list->first(); record != nullptr; record = list->getNext()) {
                records.emplace_back(record);
            }
        });
        return records;
    }
    static std::vector<std::string> numbers(cgsmMessageInfo& record)
    {
        std::vector<std::string> all;
        for (int i = 0; i < record.get_numCount(); ++i) {
            all.emplace_back(record.get_numList(i));
        }
        return all;
    }

    ScratchFolder mFolder;
    std::string mErrors; ///< what the latest read logged
};

std::string labels(const std::string& content)
{
    return "<gsm_connections>" + content + "</gsm_connections>";
}

TEST_F(GsmMessages, EachLabelIsARecordTheLastFirst)
{
    const Records records = read(labels("<Label name='OUT1'><message value='OLD'/><number value='0151'/>text"
                                        "<![CDATA[x]]><number value='0152'/><message value='PUMP'/></Label>\n"
                                        "<label name='small'/><Label/><?Label name='p'?>"
                                        "<Label name='OUT1'><message>element text</message><number/></Label>"));
    ASSERT_EQ(records.size(), 3U);
    EXPECT_STREQ(records[0]->get_label(), "OUT1");
    EXPECT_STREQ(records[0]->get_message(), "");
    EXPECT_THAT(numbers(*records[0]), IsEmpty());
    EXPECT_STREQ(records[1]->get_label(), "");
    EXPECT_STREQ(records[2]->get_label(), "OUT1");
    EXPECT_STREQ(records[2]->get_message(), "PUMP");
    EXPECT_THAT(numbers(*records[2]), ElementsAre("0151", "0152"));
    EXPECT_EQ(records[2]->get_state(), 255) << "no command has come yet";
    EXPECT_EQ(mErrors, "");
}

TEST_F(GsmMessages, CutsTextsAtTheirWidth)
{
    for (const size_t length : {159U, 160U, 200U}) {
        const Records records = read(labels("<Label name='" + std::string(40, 'n') + "'><message value='" +
                                            std::string(length, 'm') + "'/></Label>"));
        ASSERT_EQ(records.size(), 1U);
        EXPECT_EQ(records[0]->get_label(), std::string(31, 'n'));
        EXPECT_EQ(records[0]->get_message(), std::string(159, 'm'));
        records[0]->set_label(std::string(40, 'o').c_str());
        EXPECT_EQ(records[0]->get_message(), std::string(159, 'm'));
    }
}

TEST_F(GsmMessages, KeepsTenNumbersAndRefusesLongOnes)
{
    std::string content;
    for (int i = 0; i < 12; ++i) {
        content += "<number value='" + std::to_string(i) + "'/>\n";
    }
    content += "<number value='+4915112345'/>\n"; // behind the tenth nothing is looked at
    Records records = read(labels("<Label name='L'>\n<number value='+4915112345'/>\n" + content + "</Label>"));
    EXPECT_THAT(numbers(*records[0]), ElementsAre("0", "1", "2", "3", "4", "5", "6", "7", "8", "9"));
    EXPECT_EQ(records[0]->get_numCount(), 10);
    EXPECT_THAT(mErrors, HasSubstr("ERROR cgsmIOpairs: "));
    EXPECT_THAT(mErrors,
                HasSubstr("gsm.xml:2: Label \"L\": number refused, it has more than 10 characters: +491511****\n"));
    EXPECT_EQ(std::count(mErrors.begin(), mErrors.end(), '\n'), 1) << mErrors;

    records = read(labels("<Label name='L'><number value='0151123456'/></Label>"));
    EXPECT_THAT(numbers(*records[0]), ElementsAre("0151123456"));
    records[0]->add_number("01511234567");
    EXPECT_EQ(records[0]->get_numCount(), 1);
}

TEST_F(GsmMessages, AnUnusableFileIsAnEmptyList)
{
    EXPECT_THAT(read("<io_connections><Label name='x'/></io_connections>"), IsEmpty());
    EXPECT_EQ(mErrors, "");
    EXPECT_THAT(read("<gsm_connections>\n<Label>"), IsEmpty());
    EXPECT_THAT(mErrors, HasSubstr("ERROR cgsmIOpairs: "));
    EXPECT_THAT(mErrors, HasSubstr("gsm.xml:2: "));
    EXPECT_THAT(readFile(mFolder.path("missing")), IsEmpty());
    EXPECT_THAT(mErrors, HasSubstr("WARN cgsmIOpairs: "));
    EXPECT_THAT(mErrors, HasSubstr("missing: No such file or directory: no SMS is obeyed or sent without it\n"));
}

TEST_F(GsmMessages, AreReadWholeOrNotAtAllWhenMemoryRunsOut)
{
    const std::string file = mFolder.write(
        "gsm.xml", labels("<Label name='A'><message value='PUMP'/><number value='0151'/><number value='0152'/></Label>"
                          "<Label name='B'><message value='FAN'/><number value='0153'/></Label>"));
    bool ranOut = true;
    for (long requests = 1; ranOut; ++requests) {
        const ShortMemory memory(requests);
        const Records records = readFile(file);
        ranOut = ShortMemory::ranOut();
        std::string all;
        for (const auto& record : records) {
            all += std::string(record->get_label()) + record->get_message();
            for (const std::string& number : numbers(*record)) {
                all += number;
            }
        }
        EXPECT_EQ(all, ranOut && records.empty() ? "" : "BFAN0153APUMP01510152") << requests;
        EXPECT_EQ(records.empty(), mErrors.find("ERROR") != std::string::npos) << mErrors;
    }
}

TEST_F(GsmMessages, RecordsAreBounded)
{
    std::string content;
    for (int i = 0; i < 65540; ++i) {
        content += "<Label/>\n";
    }
    EXPECT_EQ(read(labels("\n" + content)).size(), 65535U);
    EXPECT_THAT(mErrors,
                testing::ContainsRegex("gsm.xml:6553[78]: more than 65535 Label elements; the rest is ignored\n"));
}

} // namespace
