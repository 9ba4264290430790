// A listing of stored messages, against the same rules said once more.
#include "Modem.h"
#include "fuzz.h"

#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace {

struct Message {
    std::string id, number, text;
    bool read;
};

bool begins(const std::string& line, const std::string& prefix)
{
    return line.compare(0, prefix.size(), prefix) == 0;
}

std::vector<std::string> split(const std::string& text)
{
    std::vector<std::string> fields;
    std::istringstream stream(text);
    for (std::string field; std::getline(stream, field, ',');)
        fields.push_back(field);
    fields.resize(std::max<std::size_t>(fields.size(), 3));
    return fields;
}

// Oldest first. Each text is one line; an empty line and a final result are none.
std::vector<Message> messagesOf(const std::vector<std::string>& lines)
{
    std::vector<Message> found;
    Message next = {};
    bool textComes = false;
    for (const std::string& line : lines) {
        if (line.empty() || begins(line, "OK") || begins(line, "ERR"))
            continue;
        if (begins(line, "+CMGL: ")) {
            const std::vector<std::string> fields = split(line.substr(7));
            next.id = fields[0];
            next.number = fields[2];
            next.read = begins(fields[1], "\"REC READ\"");
            textComes = next.read || begins(fields[1], "\"REC UNREAD\"");
        } else if (textComes && !begins(line, "+CMTI: ")) {
            next.text = line;
            found.push_back(next);
            textComes = false;
        }
    }
    return found;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static Modem modem(nullptr); // takes the events and destroys them
    std::vector<std::string> lines = linesOf(data, size);
    CmdReadSms command(&modem);
    for (std::string& line : lines)
        command.parseData(reinterpret_cast<unsigned char*>(line.data()));
    const std::vector<Message> expected = messagesOf(lines);
    const std::unique_ptr<cEnumeratedList<Sms>> list(command.handOverSmsList());
    std::size_t left = std::min<std::size_t>(expected.size(), 1000);
    for (Sms* sms = list->first(); sms != nullptr; sms = list->getNext()) {
        require(left > 0);
        const Message& message = expected[--left];
        require(sms->getId() == message.id && sms->getNumber() == message.number && sms->getMessage() == message.text &&
                sms->getRead() == message.read);
        delete sms;
    }
    require(left == 0);

    for (std::string& line : lines) // the list is somebody else's now
        command.parseData(reinterpret_cast<unsigned char*>(line.data()));
    require(command.getSmsList() == nullptr);
    return 0;
}
