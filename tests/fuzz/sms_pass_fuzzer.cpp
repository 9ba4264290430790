// A listing of stored messages and the obeying of each: whoever is not listed for a record changes nothing of it, moves
// no output that belongs to it, and has nothing sent.
#include "ManagerBench.h"
#include "Modem.h"
#include "fuzz.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace {

struct Row {
    const char* message;
    const char* label;
    const char* output;
    std::vector<std::string> numbers;
};

const Row kRows[] = {{"PUMP", "PL", "OUT1", {"+491511234", "0151123456"}},
                     {"PUMP2", "P2", "OUT2", {"0222"}},
                     {"", "EL", "OUT3", {"0333", ""}},
                     {"F\xC3\x9C", "FL", "OUT4", {"0222", "\"", "0444,\""}}};

std::string pairs()
{
    std::string xml = "<io_connections>";
    for (const Row& row : kRows) {
        const std::string trigger =
            std::string("<connection><trigger><detail dev_type='IO' io_label='") + row.label + "'/></trigger><action>";
        xml += trigger + "<detail dev_type='IO' io_label='" + row.output + "'/></action></connection>";
        xml += trigger + "<detail dev_type='GSM' io_label='" + row.label + "'/></action></connection>";
    }
    return xml + "</io_connections>";
}

// Built once; record i and output i belong to row i.
struct Card {
    Card() : connections(path.c_str())
    {
        for (const Row& row : kRows) {
            auto* record = new cgsmMessageInfo();
            record->set_message(row.message);
            record->set_label(row.label);
            for (const std::string& number : row.numbers)
                record->add_number(number.c_str());
            records.push_back(record);
            list.insertBack(record);
            outputs.push_back(manager.addOutput(row.output, cObject::OBJ_IO_STATE_CLEAR, cObject::OBJ_IO_STATE_CLEAR));
        }
    }
    void reset()
    {
        for (cgsmMessageInfo* record : records)
            record->set_state(77);
        for (cObjectDOutput* output : outputs) {
            output->setOutputState(cObject::OBJ_IO_STATE_UNKNOWN);
            output->setPortToggled(cObjectPort::PORT_TOGGLED_WEBSITE);
        }
    }
    bool untouched(size_t i) const
    {
        return records[i]->get_state() == 77 && outputs[i]->getPortToggled() == cObjectPort::PORT_TOGGLED_WEBSITE;
    }

    const InputFile file{pairs()};
    const std::string path = file.path();
    ManagerBench manager;
    cIOpairs connections;
    cEnumeratedList<cgsmMessageInfo> list;
    std::vector<cgsmMessageInfo*> records;
    std::vector<cObjectDOutput*> outputs;
    cWlog logger{"gsm_handler_tread"};
};

bool listed(const Row& row, const std::string& quoted)
{
    return std::any_of(row.numbers.begin(), row.numbers.end(),
                       [&](const std::string& number) { return '"' + number + '"' == quoted; });
}

// There is no modem behind this call, so that a text which is sent ends the fuzzer.
void obeyOne(Card& card, Sms* sms)
{
    const std::string text = sms->getMessage() != nullptr ? sms->getMessage() : "";
    const std::string number = sms->getNumber() != nullptr ? sms->getNumber() : "";
    const auto obeys = [&](const Row& row) {
        return listed(row, number) && text.compare(0, strlen(row.message), row.message) == 0;
    };
    if (get_onoff(text.c_str()) == Query && std::any_of(std::begin(kRows), std::end(kRows), obeys))
        return; // an answer is sent to this one
    card.reset();
    card.manager.obey(sms, nullptr, &card.list, &card.connections, &card.logger);
    for (size_t i = 0; i < card.records.size(); ++i) {
        const bool may = obeys(kRows[i]);
        require(card.untouched(i) != may);
        require(!may || card.records[i]->get_state() == (get_onoff(text.c_str()) == ON ? 1 : 0));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static auto& card = *new Card();
    static Modem modem(nullptr); // takes the events and destroys them
    CmdReadSms listing(&modem);
    std::vector<std::string> lines = linesOf(data, size);
    for (std::string& line : lines)
        listing.parseData(reinterpret_cast<unsigned char*>(line.data()));
    cEnumeratedList<Sms>* messages = listing.handOverSmsList();
    int obeyed = 0;
    for (Sms* sms = messages->first(); sms != nullptr; sms = messages->getNext()) {
        if (!sms->getRead() && ++obeyed <= 8) // each command reads the pair file again
            obeyOne(card, sms);
        delete sms;
    }
    delete messages;
    return 0;
}
