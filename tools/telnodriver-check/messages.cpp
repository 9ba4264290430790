// Checks the GSM message file for mistakes that its reader ignores.
#include "Elements.h"
#include "GsmAlphabet.h"
#include "Site.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <memory>
#include <sys/stat.h>

namespace {

constexpr size_t kLongestLabel = 31, kLongestMessage = 159, kLongestNumber = 10, kMostNumbers = 10;
constexpr size_t kServiceNumber = 3;         // digits of an emergency call
const std::string kReply = " STATE:Default"; // the longest end of an answer to QUERY
const std::vector<std::string> kExampleNumbers = {"0151000001", "0151000002"};

bool endsIn(const std::string& text, const std::string& end)
{
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// The command word at the end of a message, also in small letters if it is a whole word. ON as the end of a longer word
// does not count: any other ending is ON, too.
std::string commandWord(const std::string& message)
{
    std::string capitals = message;
    std::transform(message.begin(), message.end(), capitals.begin(), [](unsigned char c) { return toupper(c); });
    for (const std::string word : {"OFF", "QUERY", "ON"}) {
        if (!endsIn(capitals, word))
            continue;
        const size_t start = message.size() - word.size();
        const bool whole = start == 0 || isalpha(static_cast<unsigned char>(message[start - 1])) == 0;
        if (whole || (word != "ON" && endsIn(message, word)))
            return word;
    }
    return "";
}

class MessageFile : private Elements {
public:
    MessageFile(Site& site, Report& report) : Elements(site.messages, report), m_site(site) {}

    void check(xmlNode* root)
    {
        checkNamespace(root);
        forEachElement(root, {"Label"}, [&](xmlNode* label) {
            Record record = read(label);
            checkRecord(label, record);
            checkText(label, record.message);
            m_site.records.push_back(std::move(record));
        });
    }

private:
    Record read(xmlNode* label)
    {
        checkAttributes(label, {"name"});
        Record record{attribute(label, "name").value_or(""), "", {}, xmlGetLineNo(label)};
        forEachElement(label, {"message", "number"}, [&](xmlNode* node) {
            checkAttributes(node, {"value"});
            const std::string value = attribute(node, "value").value_or("");
            if (xmlFile::isElement(node, "number")) {
                checkNumber(node, value, record);
                return;
            }
            if (!record.message.empty())
                warning(node, "a second message: only the last one counts");
            record.message = value;
        });
        return record;
    }

    void checkNumber(xmlNode* node, const std::string& number, Record& record)
    {
        const bool digits = !number.empty() &&
                            std::all_of(number.begin(), number.end(), [](unsigned char c) { return isdigit(c) != 0; });
        if (number.size() > kLongestNumber)
            error(node, "the number " + number +
                            " has more than ten characters and is refused: write it as the network shows it");
        else if (!digits)
            error(node, "the number \"" + number + "\" has characters other than digits: no sender will match it");
        else if (std::find(record.numbers.begin(), record.numbers.end(), number) != record.numbers.end())
            warning(node,
                    "the number " + number + " is repeated in this Label, so it gets each alarm twice: remove one");
        else if (record.numbers.size() == kMostNumbers)
            error(node, "an eleventh number of one Label is ignored: use a second Label");
        if (digits && number.size() <= kServiceNumber)
            warning(node, "the number " + number + " is as short as an emergency number: write the whole number");
        if (std::find(kExampleNumbers.begin(), kExampleNumbers.end(), number) != kExampleNumbers.end())
            warning(node, "the number " + number + " is from the example, and nobody has it: write yours");
        if (number.size() <= kLongestNumber && record.numbers.size() < kMostNumbers)
            record.numbers.push_back(number);
    }

    void checkRecord(xmlNode* label, const Record& record)
    {
        if (record.label.empty())
            error(label, "the record has no name, so it has no label to command: give it one");
        if (record.label.size() > kLongestLabel)
            error(label, "the name is cut to 31 characters and matches no port: use a shorter one");
        checkLabel(label, "name", record.label);
        if (record.numbers.empty())
            warning(label, "no number: nobody can command it, and its alarm reaches nobody");
        // Somebody with more than ten numbers needs two records with the same text.
        for (const Record& other : m_site.records) {
            if (!record.label.empty() && other.label == record.label &&
                (other.message != record.message || other.numbers.size() < kMostNumbers))
                warning(label, "the Label of line " + std::to_string(other.line) + " is named " + record.label +
                                   ", too, and each has its own state: merge them, or correct a name");
        }
    }

    void checkText(xmlNode* label, const std::string& message)
    {
        if (message.empty()) {
            error(label,
                  "the record has no message, so every SMS from its numbers is a command for it: give it a message");
            return;
        }
        const std::string quoted = "the message \"" + message + '"', word = commandWord(message);
        if (message.size() > kLongestMessage)
            error(label, "the message is cut to 159 characters: use a shorter one");
        else if (message.size() + kReply.size() > kLongestMessage)
            warning(label, "the answer to a QUERY is cut to 159 characters, so its state is missing: use a message of "
                           "at most 145");
        if (std::any_of(message.begin(), message.end(), [](unsigned char c) { return c < 32; }))
            error(label, "the message has control characters, which are not sent to the modem: remove them");
        if (message.front() == ' ' || message.back() == ' ')
            warning(label, quoted + " begins or ends with a blank, which every SMS would need: remove it");
        if (!word.empty())
            warning(label, quoted + " ends in " + word + ", which is a command: remove it here, and write " + word +
                               " in the SMS");
        const GsmVerdict verdict = gsmVerdict(message);
        if (!verdict.lacking.empty())
            error(label, "the GSM alphabet lacks " + verdict.lacking + " of the message: use another character");
        if (!verdict.otherCode.empty())
            warning(label, "the character " + verdict.otherCode +
                               " of the message becomes another one in an SMS, since the GSM alphabet has it under "
                               "another code: use a letter, a digit or a hyphen");
    }

    Site& m_site;
};

} // namespace

void checkMessages(Site& site, Report& report)
{
    std::string trouble;
    const std::unique_ptr<xmlDoc, void (*)(xmlDoc*)> document(xmlFile::open(site.messages.c_str(), trouble),
                                                              xmlFreeDoc);
    if (!document) {
        struct stat file {};
        if (!site.namesMessages && site.alarms.empty() && stat(site.messages.c_str(), &file) != 0 && errno == ENOENT)
            report.warning(
                site.messages, 0,
                "there is no such file: a TAVLite card obeys no SMS without it; a TAV card does not need it");
        else
            reportUnusable(site.messages, trouble, "no SMS is obeyed", report);
        return;
    }
    xmlNode* root = xmlDocGetRootElement(document.get());
    if (!xmlFile::isElement(root, "gsm_connections")) {
        report.error(site.messages, root != nullptr ? xmlGetLineNo(root) : 0,
                     "the root element is not gsm_connections, so no SMS is obeyed");
        return;
    }
    MessageFile(site, report).check(root);
}
