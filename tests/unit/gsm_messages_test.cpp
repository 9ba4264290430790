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

    /// "label:message number number" of each record of @p xml, in the order of the list.
    std::vector<std::string> read(const std::string& xml) { return readFile(mFolder.write("gsm.xml", xml)); }
    std::vector<std::string> readFile(const std::string& file)
    {
        std::vector<std::string> records;
        mErrors = standardErrorOf([&] {
            const std::unique_ptr<cEnumeratedList<cgsmMessageInfo>> list(cgsmIOpairs().getGsmInfoList(file.c_str()));
            ASSERT_NE(list, nullptr);
            for (cgsmMessageInfo* record = list->first(); record != nullptr; record = list->getNext()) {
                records.push_back(std::string(record->get_label()) + ':' + record->get_message());
                for (int i = 0; i < record->get_numCount(); ++i) {
                    records.back().append(" ").append(record->get_numList(i));
                }
                delete record;
            }
        });
        return records;
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
    EXPECT_THAT(read(labels("<Label name='OUT1'><message value='OLD'/><number value='0151'/>text"
                            "<![CDATA[x]]><number value='0152'/><message value='PUMP'/></Label>\n"
                            "<label name='small'/><Label/><?Label name='p'?>"
                            "<Label name='OUT1'><message>element text</message><number/></Label>")),
                ElementsAre("OUT1:", ":", "OUT1:PUMP 0151 0152"));
    EXPECT_EQ(mErrors, "");
}

TEST_F(GsmMessages, CutsTextsAtTheirWidth)
{
    for (const size_t length : {159U, 160U, 200U}) {
        EXPECT_THAT(read(labels("<Label name='" + std::string(length, 'n') + "'><message value='" +
                                std::string(length, 'm') + "'/></Label>")),
                    ElementsAre(std::string(31, 'n') + ':' + std::string(159, 'm')));
    }
}

TEST_F(GsmMessages, KeepsTenNumbersAndRefusesLongOnes)
{
    std::string content = "<number value='+4915112345'/>\n";
    for (int i = 0; i < 12; ++i) {
        content += "<number value='" + std::to_string(i) + "'/>\n";
    }
    content += "<number value='+4915112345'/>\n"; // behind the tenth nothing is looked at
    EXPECT_THAT(read(labels("<Label name='L'>\n" + content + "</Label>")), ElementsAre("L: 0 1 2 3 4 5 6 7 8 9"));
    EXPECT_THAT(mErrors, HasSubstr("ERROR cgsmIOpairs: "));
    EXPECT_THAT(mErrors,
                HasSubstr("gsm.xml:2: Label \"L\": number refused, it has more than 10 characters: +491511****\n"));
    EXPECT_EQ(std::count(mErrors.begin(), mErrors.end(), '\n'), 1) << mErrors;
    EXPECT_THAT(read(labels("<Label name='L'><number value='0151123456'/></Label>")), ElementsAre("L: 0151123456"));
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
        const std::vector<std::string> records = readFile(file);
        ranOut = ShortMemory::ranOut();
        if (!ranOut || !records.empty()) {
            EXPECT_THAT(records, ElementsAre("B:FAN 0153", "A:PUMP 0151 0152")) << requests;
        }
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
