// The modem's bytes, cut into lines, with each AT command as the current one.
#include "Modem.h"
#include "fuzz.h"
#include "replyLine.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace {

class Recorder : public Command {
public:
    using Command::Command;
    void handleData(unsigned char* data) override
    {
        lines.emplace_back(reinterpret_cast<char*>(data));
        Command::handleData(data);
    }
    std::vector<std::string> lines;
};

// What the lines of @p bytes are, said once more: split, cut to 255 bytes, and to the first NUL.
std::vector<std::string> repliesIn(const std::string& bytes)
{
    std::vector<std::string> lines;
    std::string line;
    for (const char byte : bytes) {
        if (byte != '\r' && byte != '\n') {
            line += byte;
            continue;
        }
        line = std::string(line.substr(0, 255).c_str());
        if (!line.empty() && line.compare(0, 2, "OK") != 0 && line.compare(0, 3, "ERR") != 0)
            lines.push_back(line);
        line.clear();
    }
    return lines;
}

void feed(Command& command, const std::string& bytes)
{
    ReplyLine line;
    command.setBusy();
    for (const char byte : bytes)
        line.take(static_cast<unsigned char>(byte), command);
    require(!command.getIsOk() || command.getErrStat() == ErrStat::OK);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static Modem modem(nullptr); // takes the events and destroys them
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    char argument[] = "1";

    Recorder recorder(&modem);
    feed(recorder, bytes);
    require(recorder.lines == repliesIn(bytes));

    CmdMdmID id(&modem);
    feed(id, bytes);
    require(strnlen(id.getID(), 16) < 16);
    CmdNetOperator net(&modem);
    feed(net, bytes);
    require(strnlen(net.getNetOperator(), 32) < 32);
    CmdPinStat pinStat(&modem);
    feed(pinStat, bytes);
    require(pinStat.getPinStat() >= Pinstat::READY && pinStat.getPinStat() <= Pinstat::UNKNOWN);
    CmdArbCmd text(&modem, argument);
    feed(text, bytes);
    require(strnlen(text.getLastLine(), 16) < 16);
    CmdUsdCmd ussd(&modem, argument);
    feed(ussd, bytes);
    require(ussd.getResponse()[0] == '\0');

    const std::vector<std::function<Command*()>> others = {
        [&] { return new Command(&modem); },
        [&] { return new CmdSIMin(&modem); },
        [&] { return new CmdEnterPin(&modem, argument); },
        [&] { return new CmdEnterPuk(&modem, 1, 2); },
        [&] { return new CmdSignalStr(&modem); },
        [&] { return new CmdSMSTextMode(&modem); },
        [&] { return new CmdSetBaudRate(&modem); },
        [&] { return new CmdCharacterSet(&modem, argument); },
        [&] { return new CmdSMSNumber(&modem, argument); },
        [&] { return new CmdDeleteSms(&modem, 1); },
    };
    for (const auto& make : others) {
        const std::unique_ptr<Command> command(make());
        feed(*command, bytes);
        require(command->isBusy() == (repliesIn(bytes).empty() && command->getErrStat() == ErrStat::UNKNOWN));
    }
    return 0;
}
