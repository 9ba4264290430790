// Any file as a record: it is read or refused with its line, and what was read is written and read again as it was. Any
// text of a change comes out of its line whole.
#include "fuzz.h"
#include "record/Record.h"

namespace {

void readAll(const std::string& path)
{
    record::Reader reader(path);
    uint64_t lines = 0;
    int64_t time = 0;
    for (record::Change change; reader.next(change);) {
        require(reader.line() == ++lines && change.time >= time);
        time = change.time;
        const std::string line = record::lineOf(change);
        for (const char c : line)
            require(static_cast<unsigned char>(c) >= 0x20); // one line, whatever is in it
    }
    require(reader.error().empty() ? lines > 0 : reader.error().compare(0, path.size(), path) == 0);
}

void writeAndRead(const std::string& bytes)
{
    record::Change begin, sms;
    begin.kind = record::Change::Begin;
    begin.text = "bench";
    sms.kind = record::Change::SmsIn;
    sms.text = bytes.substr(0, 8000);
    sms.who = bytes.substr(0, 1000);
    const std::string content = record::lineOf(begin) + '\n' + record::lineOf(sms) + '\n';
    const InputFile file(content);
    record::Reader reader(file.path());
    record::Change again;
    require(reader.next(again) && reader.next(again));
    require(again.kind == sms.kind && again.text == sms.text && again.who == sms.who);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const InputFile file(data, size);
    readAll(file.path());
    writeAndRead(textOf(data, size));
    return 0;
}
