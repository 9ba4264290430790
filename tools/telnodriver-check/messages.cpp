// The GSM message file: what its reader tolerates silently.
#include "Site.h"

#include "xmlFile.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <memory>
#include <sys/stat.h>

namespace {

constexpr size_t kLongestLabel = 31, kLongestMessage = 159, kLongestNumber = 10, kMostNumbers = 10;

std::string attribute(xmlNode* node, const char* name)
{
    std::string value;
    xmlFile::forEachAttribute(node, name, [&](char* text) { value = text; });
    return value;
}

void checkAttributes(xmlNode* node, const std::string& known, const Site& site, Report& report)
{
    for (xmlAttr* attribute = node->properties; attribute != nullptr; attribute = attribute->next) {
        const std::string name(reinterpret_cast<const char*>(attribute->name));
        if (name != known)
            report.warning(site.messages, xmlGetLineNo(node),
                           "the attribute " + name + " of " + xmlFile::nameOf(node) + " is not read: " + known +
                               " may be meant");
    }
}

void checkNumber(const std::string& number, long line, Record& record, const Site& site, Report& report)
{
    if (number.size() > kLongestNumber)
        report.error(site.messages, line,
                     "the number " + number +
                         " has more than ten characters and is refused: write it as the network shows it");
    else if (number.empty() ||
             !std::all_of(number.begin(), number.end(), [](unsigned char c) { return isdigit(c) != 0; }))
        report.error(site.messages, line,
                     "the number \"" + number + "\" holds other than digits: no sender will match it");
    else if (record.numbers.size() == kMostNumbers)
        report.error(site.messages, line, "an eleventh number of one Label is ignored: use a second Label");
    if (number.size() <= kLongestNumber && record.numbers.size() < kMostNumbers)
        record.numbers.push_back(number);
}

Record readRecord(xmlNode* label, const Site& site, Report& report)
{
    checkAttributes(label, "name", site, report);
    Record record{attribute(label, "name"), "", {}, xmlGetLineNo(label)};
    for (xmlNode* node = label->children; node != nullptr; node = node->next) {
        if (node->type != XML_ELEMENT_NODE)
            continue;
        const long line = xmlGetLineNo(node);
        const std::string name = xmlFile::nameOf(node), value = attribute(node, "value");
        if (name == "message" || name == "number")
            checkAttributes(node, "value", site, report);
        if (name == "message") {
            if (!record.message.empty())
                report.warning(site.messages, line, "a second message: only the last one counts");
            record.message = value;
        } else if (name == "number") {
            checkNumber(value, line, record, site, report);
        } else {
            const std::string meant = likely(name, {"message", "number"});
            report.warning(site.messages, line,
                           "the element " + name + " is skipped" +
                               (meant.empty() ? "" : ": " + meant + " may be meant"));
        }
    }
    return record;
}

void checkRecord(const Record& record, const Site& site, Report& report)
{
    if (record.label.empty())
        report.error(site.messages, record.line, "no name: the record commands no input of its own; name the label");
    if (record.label.size() > kLongestLabel)
        report.error(site.messages, record.line,
                     "the name is cut to 31 characters and matches no port: use a shorter one");
    if (record.message.empty())
        report.error(site.messages, record.line,
                     "no message: every SMS of these numbers is a command for it; give it one");
    if (record.message.size() > kLongestMessage)
        report.error(site.messages, record.line, "the message is cut to 159 characters: use a shorter one");
    if (std::any_of(record.message.begin(), record.message.end(), [](unsigned char c) { return c < 32; }))
        report.error(site.messages, record.line, "the message has control characters, and the modem is not sent them");
    if (record.numbers.empty())
        report.warning(site.messages, record.line, "no number: nobody can command it, and its alarm reaches nobody");
}

} // namespace

void checkMessages(Site& site, Report& report)
{
    std::string trouble;
    const std::unique_ptr<xmlDoc, void (*)(xmlDoc*)> document(xmlFile::open(site.messages.c_str(), trouble),
                                                              xmlFreeDoc);
    if (!document) {
        struct stat file {};
        if (!site.namesMessages && site.alarms.empty() && stat(site.messages.c_str(), &file) != 0 && errno == ENOENT)
            report.warning(site.messages, 0,
                           "there is no such file: on a TAVLite card no SMS is obeyed, a TAV card needs none");
        else
            reportUnusable(site.messages, trouble, "no SMS is obeyed", report);
        return;
    }
    xmlNode* root = xmlDocGetRootElement(document.get());
    if (!xmlFile::isElement(root, "gsm_connections")) {
        report.error(site.messages, root != nullptr ? xmlGetLineNo(root) : 0,
                     "the document element is not gsm_connections, and no SMS is obeyed");
        return;
    }
    for (xmlNode* node = root->children; node != nullptr; node = node->next) {
        if (node->type != XML_ELEMENT_NODE)
            continue;
        if (!xmlFile::isElement(node, "Label")) {
            report.warning(site.messages, xmlGetLineNo(node),
                           std::string("the element ") + xmlFile::nameOf(node) + " is skipped: Label may be meant");
            continue;
        }
        site.records.push_back(readRecord(node, site, report));
        checkRecord(site.records.back(), site, report);
    }
}
