#include "IOpairs.h"
#include "cWlog.h"
#include "scratchFolder.h"
#include "shortMemory.h"

#include <gmock/gmock.h>

#include <sys/stat.h>

#include <memory>

namespace {

using testing::HasSubstr;
using testing::Not;

const char* const kOperations[] = {"INV", "OR", "AND"};

/// A leaf as "[!]LABEL:TYPE", a composite as "OPERATION(CHILD CHILD)".
std::string text(const tavTrigger& trigger)
{
    WList* const children = trigger.getTriggerLst();
    if (children == nullptr) {
        return (trigger.getInvert() ? "!" : "") + std::string(trigger.getLabel()) + ":" +
               std::to_string(trigger.getType());
    }
    EXPECT_STREQ(trigger.getLabel(), "");
    EXPECT_EQ(trigger.getType(), 255);
    std::string line = std::string(kOperations[trigger.getOperation()]) + "(";
    children->reset();
    for (int left = children->size(); left > 0; --left, children->step()) {
        line += text(*static_cast<tavTrigger*>(children->get())) + (left > 1 ? " " : "");
    }
    return line + ")";
}

/// Each connection as "TRIGGER -> OPERATION ACTION;", "null" for no list. Frees all.
std::string text(WList* connections)
{
    if (connections == nullptr) {
        return "null";
    }
    std::string line;
    while (void* const entry = connections->pull()) {
        const std::unique_ptr<tavConnection> connection(static_cast<tavConnection*>(entry));
        line += text(*connection->getTrigger()) + " -> " + kOperations[connection->getAction()->getOperation()] + " " +
                text(*connection->getAction()) + ";";
    }
    delete connections;
    return line;
}

class IoPairs : public testing::Test {
protected:
    IoPairs() { cWlog::init(cWlog::INFO); }

    std::string read(const std::string& xml)
    {
        const std::string file = mFolder.write("pairs.xml", xml);
        cIOpairs reader(file.c_str());
        std::string line, again;
        mErrors = standardErrorOf([&] { line = text(reader.getConnectionLst()); });
        EXPECT_EQ(standardErrorOf([&] { again = text(reader.getConnectionLst()); }).empty(), mErrors.empty());
        EXPECT_EQ(again, line) << "each list has objects of its own";
        return line;
    }
    /// The connection of @p trigger and @p action.
    std::string readPair(const std::string& trigger, const std::string& action)
    {
        return read("<io_connections><connection>" + trigger + action + "</connection></io_connections>");
    }

    ScratchFolder mFolder;
    std::string mErrors; ///< what the latest read logged
};

const char* const kIn = "<trigger><detail io_label='IN'/></trigger>";
const char* const kOut = "<action><detail io_label='OUT' dev_type='IO'/></action>";

TEST_F(IoPairs, ReadsTreesAndActionsInTheirOrder)
{
    EXPECT_EQ(read(R"(<?xml version="1.0"?>
<!-- the pump house -->
<io_connections>
  <connection>
    <trigger operation="AND">
      <detail dev_type="IO" io_label="IN1" io_invert="true"/>
      <trigger operation="OR"><detail dev_type="IO" io_label="IN2"/><detail dev_type="IO" io_label="IN3"/></trigger>
    </trigger>
    <action operation="INV"><detail dev_type="IO" io_label="OUT1"/></action>
  </connection>
  <connection>
    <action><detail dev_type="GSM" io_label="IN4"/></action>
    <trigger><detail io_label="IN4"/></trigger>
  </connection>
</io_connections>)"),
              "AND(!IN1:0 OR(IN2:0 IN3:0)) -> INV OUT1:0;OR(IN4:255) -> OR IN4:9;");
    EXPECT_EQ(mErrors, "");
}

TEST_F(IoPairs, TakesAttributesExactlyAndAnActionFromAllItsDetails)
{
    const struct {
        std::string trigger, action;
        const char* text;
    } rows[] = {
        {"<trigger operation='OR '><detail io_label='A' dev_type='AC'/></trigger>", kOut, "OR(A:1) -> OR OUT:0;"},
        {"<trigger operation='and'><detail io_label='A' dev_type='io'/></trigger>", kOut, "OR(A:255) -> OR OUT:0;"},
        {"<trigger operation='INV'><detail io_label='A' dev_type='ANALOG'/></trigger>", kOut, "INV(A:2) -> OR OUT:0;"},
        {"<trigger operation='INVERSE'><detail io_label='A' dev_type='ANALOG_IO'/></trigger>", kOut,
         "INV(A:3) -> OR OUT:0;"},
        {"<trigger operation='NOT'><detail io_label='A' dev_type='GSM' operation='AND'/></trigger>", kOut,
         "OR(A:9) -> OR OUT:0;"},
        {"<trigger><detail io_label='A' io_invert='TRUE'/><detail io_label='B' io_invert='1'/></trigger>", kOut,
         "OR(A:255 B:255) -> OR OUT:0;"},
        {"<trigger><detail io_label=''/><detail dev_type='IO'/><detail io_label=' '/></trigger>", kOut,
         "OR( :255) -> OR OUT:0;"},
        {"<trigger><trigger><trigger><detail io_label='A'/></trigger></trigger><trigger/></trigger>", kOut,
         "OR(OR(OR(A:255))) -> OR OUT:0;"},
        {"<trigger><!--c--><?detail x?><![CDATA[detail]]>text<Detail io_label='B'/><detail io_label='A'/></trigger>",
         kOut, "OR(A:255) -> OR OUT:0;"},
        {"<trigger>&amp;<detail io_label='A&amp;B&#67;'/></trigger>", kOut, "OR(A&BC:255) -> OR OUT:0;"},
        {"<trigger><detail io_label='A'/></trigger>", kIn + std::string(kOut), "OR(IN:255) -> OR OUT:0;"},
        {kIn, std::string("<trigger><detail/></trigger>") + kOut, "OR(IN:255) -> OR OUT:0;"},
        {kIn, "<action><detail io_label='O1' dev_type='GSM'/><detail io_label='O2'/></action>",
         "OR(IN:255) -> OR O2:9;"},
        {kIn, "<action><detail io_label='O1'/><detail io_label='O2' dev_type='IO' io_invert='true'/></action>",
         "OR(IN:255) -> OR O2:0;"},
        {kIn, "<action><detail io_label='O1'/></action><action/>", "OR(IN:255) -> OR O1:255;"},
        {kIn, "<action><detail io_label='O1'/></action><action><detail io_label='O2'/></action>",
         "OR(IN:255) -> OR O2:255;"},
        {kIn, "<action><detail io_label='O1'/><detail io_label=''/></action>", "null"},
        {kIn, "<action><detail dev_type='IO'/></action>", "null"},
        {kIn, "<action><trigger><detail io_label='O1'/></trigger></action>", "null"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(readPair(row.trigger, row.action), row.text) << row.trigger << row.action;
}

TEST_F(IoPairs, RefusesTheConnectionOfALabelThatIsTooLong)
{
    const std::string longest(31, 'x');
    const std::string tooLong(32, 'y');
    const std::string other =
        "<connection><trigger><detail io_label='" + longest + "'/></trigger>" + kOut + "</connection>";
    const std::string details = "\n<detail io_label='DOOR'/><trigger>\n<detail io_label='" + tooLong + "'/></trigger>";
    for (const std::string& refused :
         {"<trigger operation='AND'>" + details + "</trigger>" + kOut,
          "<trigger operation='AND'>" + details + "</trigger>" + kIn + kOut, // a later trigger does not mend it
          kIn + std::string("\n<action>\n<detail io_label='OUT'/><detail io_label='" + tooLong + "'/></action>")}) {
        EXPECT_EQ(read("<io_connections><connection>" + refused + "</connection>" + other + "</io_connections>"),
                  "OR(" + longest + ":255) -> OR OUT:0;");
        EXPECT_THAT(mErrors, HasSubstr("pairs.xml:3: this io_label has more than 31 characters: " + tooLong));
        EXPECT_THAT(mErrors, HasSubstr("pairs.xml:1: the connection is refused"));
    }
}

TEST_F(IoPairs, IsReadWholeOrNotAtAllWhenMemoryRunsOut)
{
    const std::string whole = "AND(IN:0 OR(!IN2:255)) -> INV OUT:9;OR(IN:255) -> OR OUT:0;";
    const std::string file = mFolder.write(
        "pairs.xml", "<io_connections><connection><trigger operation='AND'><detail dev_type='IO' io_label='IN'/>"
                     "<trigger><detail io_label='IN2' io_invert='true'/></trigger></trigger><action "
                     "operation='INV'><detail io_label='OUT' dev_type='GSM'/></action></connection><connection>" +
                         std::string(kIn) + kOut + "</connection></io_connections>");
    bool ranOut = true;
    for (long requests = 1; ranOut; ++requests) {
        const ShortMemory memory(requests);
        std::string line;
        mErrors = standardErrorOf([&] { line = text(cIOpairs(file.c_str()).getConnectionLst()); });
        ranOut = ShortMemory::ranOut();
        EXPECT_EQ(line, ranOut && line == "null" ? "null" : whole) << requests;
        EXPECT_EQ(line == "null", mErrors.find("ERROR") != std::string::npos) << mErrors;
    }
}

TEST_F(IoPairs, WithoutAConnectionThereIsNoList)
{
    const std::string pair = std::string("<connection>") + kIn + kOut + "</connection>";
    for (const std::string& xml :
         {std::string("<io_connections/>"), "<gsm_connections>" + pair + "</gsm_connections>",
          std::string("<io_connections><connection>") + kIn + "</connection></io_connections>",
          std::string("<io_connections><?connection a?><Connection/></io_connections>"),
          std::string("<!DOCTYPE io_connections [<!ENTITY connection 'x'><!ENTITY trigger 'y'>]>"
                      "<io_connections>&connection;<connection>&trigger;</connection>"
                      "</io_connections>")}) {
        EXPECT_EQ(read(xml), "null") << xml;
        EXPECT_THAT(mErrors, HasSubstr("ERROR cIOpairs: No Connections Returning NULL\n"));
        EXPECT_THAT(mErrors, Not(HasSubstr("Fail open")));
    }
}

TEST_F(IoPairs, SaysWhereABrokenFileIsBroken)
{
    const auto wrapped = [](const std::string& dtd, const std::string& label) {
        return "<!DOCTYPE io_connections [\n" + dtd + "]>\n<io_connections><connection><trigger><detail io_label='" +
               label + "'/></trigger>" + kOut + "</connection></io_connections>";
    };
    std::string deep;
    for (int i = 0; i < 300; ++i) {
        deep += "<trigger>\n";
    }
    std::string laughs = "<!ENTITY a0 'ha'>\n";
    for (int i = 1; i < 12; ++i) {
        const std::string inner = "&a" + std::to_string(i - 1) + ";";
        laughs += "<!ENTITY a" + std::to_string(i) + " '" + inner + inner + inner + inner + "'>\n";
    }
    std::string many;
    for (int i = 0; i < 65; ++i) {
        many += "<!ENTITY e" + std::to_string(i) + " ''>\n";
    }
    const struct {
        std::string xml;
        const char* trouble;
    } rows[] = {
        {"", "pairs.xml:"},
        {"<io_connections>\n<connection>\n</io_connections>", "pairs.xml:3: "},
        {"<io_connections>\n<connection a=1/></io_connections>", "pairs.xml:2: "},
        {"<io_connections>\n<connection a='\xff'/></io_connections>", "pairs.xml:2: "},
        {"<io_connections>" + deep, "pairs.xml:257: "},
        {wrapped("<!ENTITY a 'x'>\n<!ENTITY b '&a;&a;'>\n", "&b;"), "pairs.xml:3: entity \"b\" refers to another"},
        {wrapped(laughs, "&a11;"), "refers to another"},
        {wrapped("<!ENTITY e '" + std::string(161, 'x') + "'>\n", "&e;"), "pairs.xml:2: entity \"e\" is too long"},
        {wrapped(many, "x"), "pairs.xml:66: entity \"e64\" is one too many"},
        {wrapped("<!ATTLIST detail dev_type CDATA 'IO'>\n", "x"), "pairs.xml:2: default of attribute \"dev_type\""},
        {wrapped("<!ENTITY e SYSTEM 'file:///etc/hostname'>\n", "&e;"), "pairs.xml:4: "},
        {std::string((4 << 20) + 1, ' '), "pairs.xml: longer than 4194304 bytes"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(read(row.xml), "null");
        EXPECT_THAT(mErrors, HasSubstr("ERROR cIOpairs: Fail open\n"));
        EXPECT_THAT(mErrors, HasSubstr(row.trouble));
        EXPECT_EQ(std::count(mErrors.begin(), mErrors.end(), '\n'), 3) << mErrors;
    }
    EXPECT_EQ(read(wrapped("<!ENTITY e 'IN7'>\n<!ENTITY far SYSTEM 'file:///etc/hostname'>\n", "&e;")),
              "OR(IN7:255) -> OR OUT:0;")
        << "short entities are fine, and a foreign file that nobody names is not looked at";
    EXPECT_EQ(read(wrapped("<!ENTITY lt \"&#38;#60;\">\n", "A&lt;B")), "OR(A<B:255) -> OR OUT:0;");
}

TEST_F(IoPairs, NeverWaitsForAFileThatIsNone)
{
    const std::string pipe = mFolder.path("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string& file : {pipe, mFolder.path(""), mFolder.path("missing")}) {
        const std::string errors =
            standardErrorOf([&] { EXPECT_EQ(cIOpairs(file.c_str()).getConnectionLst(), nullptr); });
        EXPECT_THAT(errors, HasSubstr("ERROR cIOpairs: Fail open\n"));
        EXPECT_THAT(errors, HasSubstr("ERROR cIOpairs: " + file + ": "));
    }
}

TEST_F(IoPairs, RefusesTheConnectionWhoseChildrenCannotBeCounted)
{
    std::string details;
    for (int i = 0; i < 65540; ++i) {
        details += "<detail io_label='A'/>\n";
    }
    EXPECT_EQ(read("<io_connections><connection><trigger>\n" + details + "</trigger>" + kOut +
                   "</connection><connection>" + kIn + kOut + "</connection></io_connections>"),
              "OR(IN:255) -> OR OUT:0;");
    EXPECT_THAT(mErrors, testing::ContainsRegex("pairs.xml:6553[78]: a trigger has more than 65535 children\n"));
    EXPECT_THAT(mErrors, HasSubstr("pairs.xml:1: the connection is refused\n"));
}

TEST_F(IoPairs, ShowsAConnectionOnStandardOutput)
{
    const std::string file =
        mFolder.write("pairs.xml", "<io_connections><connection><trigger operation='AND'><detail io_label='IN1' "
                                   "dev_type='IO'/></trigger><action operation='INV'><detail io_label='OUT1' "
                                   "dev_type='GSM'/></action></connection></io_connections>");
    const std::unique_ptr<WList> list(cIOpairs(file.c_str()).getConnectionLst());
    ASSERT_NE(list, nullptr);
    const std::unique_ptr<tavConnection> connection(static_cast<tavConnection*>(list->pull()));
    testing::internal::CaptureStdout();
    connection->show();
    tavConnection().show();
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "<CONNECTION>\n<TRIG>\n<TRIGGER>\n\tTrigger operation: AND\n\tLabel: \n\tType: 255\n"
              "<TRIGGER>\n\tTrigger operation: OR\n\tLabel: IN1\n\tType: 0\n</TRIGGER>\n</TRIGGER>\n</TRIG>\n"
              "<ACTION>\n<TRIGGER>\n\tTrigger operation: INV\n\tLabel: OUT1\n\tType: 9\n</TRIGGER>\n</ACTION>\n"
              "</CONNECTION>\n<CONNECTION>\n</CONNECTION>\n");
}

} // namespace
