// The commands of the scenario language.
#include "bench/Player.h"

#include "bench/Config.h"

#include <unistd.h>

namespace bench {

const std::vector<Verb>& Player::verbs()
{
    static const std::vector<Verb> table = {
        {"card", &Player::card, false, "card TAVLite|TAV"},
        {"config", &Player::config, true,
         "config FOLDER | config file NAME from FILE | config remove NAME | config set KEY VALUE | config log "
         "debug|info"},
        {"ports", &Player::ports, false, "ports FILE"},
        {"gpio", &Player::gpio, false, "gpio \"LINE\"... | gpio absent"},
        {"server", &Player::server, true,
         "server absent | start | stop | restart [LABEL=STATUS...] | hang | resume | send \"BYTES\" | kind | answers "
         "after "
         "TIME | omits [LABEL...]"},
        {"start", &Player::start, true, "start [ARGUMENT]"},
        {"kill", &Player::kill, true, "kill [at PREFIX]"},
        {"alarm", &Player::alarm, true, "alarm LABEL set|clear|warn|unknown [LABEL STATUS...]"},
        {"drive", &Player::drive, true, "drive LABEL set|clear"},
        {"modem", &Player::modem, true, "modem ..."},
        {"sms", &Player::sms, true, "sms NUMBER TEXT"},
        {"ussd", &Player::ussd, true, "ussd TEXT"},
        {"console", &Player::console, true, "console TEXT | console close"},
        {"signals", &Player::signals, false, "signals on|off"},
        {"limit", &Player::limit, true, "limit descriptors N"},
        {"clock", &Player::clock, true, "clock YEAR-MONTH-DAY"},
        {"short-writes", &Player::shortWrites, true, "short-writes on|off | short-writes modem COUNT"},
        {"flood", &Player::flood, true, "flood LABEL COUNT | flood sms NUMBER COUNT TEXT"},
        {"note", &Player::note, false, "note TEXT"},
        {"wait", &Player::wait, false, "wait TIME"},
        {"expect", &Player::expect, false,
         "expect [no] "
         "output|log|stdout|reply|places|pulses|writes|written|pin|puk|commands|pass|cpu|nothing|daemon|server "
         "..."},
    };
    return table;
}

namespace {

const Verb& findVerb(const std::string& name)
{
    for (const Verb& verb : Player::verbs()) {
        if (name == verb.name)
            return verb;
    }
    throw Failure("no command is called " + name);
}

} // namespace

void Player::checkVerb(const std::string& line)
{
    Words words(line);
    if (!words.empty())
        findVerb(words.next("a command"));
}

bool Player::makesFaults(const std::string& line)
{
    Words words(line);
    return words.take("signals") || words.take("clock") || words.take("short-writes");
}

void Player::obey(const std::string& line)
{
    Words words(line);
    if (words.empty())
        return;
    const Verb& verb = findVerb(words.next("a command"));
    m_card.time().settle();
    if (verb.acts && m_lastExpected)
        mark();
    if (verb.acts)
        m_lastExpected = false;
    (this->*verb.obey)(words);
    words.end();
}

void Player::mark()
{
    m_markOut = m_card.daemon().count(true);
    m_markLog = m_card.daemon().count(false);
    m_markWrites = m_card.server().writes().size();
    m_markPulses = m_card.pulses().size();
    m_markSent = m_card.sentCount();
    m_markCommands = m_card.commandCount();
    m_markTime = Time::Clock::now();
    m_markReal = Time::real();
}

std::string Player::file(const std::string& name) const
{
    return !name.empty() && name[0] == '/' ? name : m_folder + '/' + name;
}

void Player::card(Words& words)
{
    m_card.setModel(words.oneOf("a card", {"TAVLite", "TAV"}) == 0);
}

void Player::config(Words& words)
{
    if (words.take("file")) {
        const std::string name = words.next("a name");
        if (!words.take("from"))
            throw Failure("config file NAME from FILE");
        writeConfigFile(name, readFile(file(words.next("a file"))));
    } else if (words.take("remove")) {
        unlink(configPath(words.next("a name")).c_str());
    } else if (words.take("set")) {
        const std::string key = words.next("a key");
        m_card.setProperty(key, words.rest("a value"));
    } else if (words.take("log")) {
        const bool debug = words.oneOf("a priority", {"debug", "info"}) == 0;
        m_card.setProperty("log4cpp.rootCategory", debug ? "DEBUG, bench" : "INFO, bench");
        m_card.setProperty("log4cpp.appender.bench", "ConsoleAppender");
        m_card.setProperty("log4cpp.appender.bench.layout", "BasicLayout");
    } else {
        m_card.useConfig(file(words.next("a folder")));
    }
}

void Player::gpio(Words& words)
{
    if (words.take("absent")) {
        m_card.setGpio("fail open 2\n");
        return;
    }
    std::string table;
    do
        table += words.next("a line of the pin table") + '\n';
    while (!words.empty());
    m_card.setGpio(table);
}

void Player::start(Words& words)
{
    if (!words.empty())
        m_card.setArgument(words.next("an argument"));
    m_card.start();
}

// kill; kill at PREFIX: when the modem gets the next command that begins so
void Player::kill(Words& words)
{
    if (words.take("at"))
        m_card.killAt(words.next("a command's beginning"));
    else
        m_card.killDaemon();
}

void Player::console(Words& words)
{
    if (words.take("close"))
        m_card.daemon().closeInput();
    else
        m_card.daemon().type(words.rest("a text") + "\n");
}

void Player::signals(Words& words)
{
    m_card.faults().setSignals(words.oneOf("signals", {"on", "off"}) == 0);
}

void Player::limit(Words& words)
{
    words.oneOf("a limit", {"descriptors"});
    m_card.setDescriptors(words.number("descriptors", 3, 100000));
}

void Player::clock(Words& words)
{
    m_card.time().setDay(words.next("a date"));
}

void Player::shortWrites(Words& words)
{
    if (words.take("modem"))
        m_card.faults().cutSerialWrites(words.number("writes", 0, 1000));
    else
        m_card.faults().setShortWrites(words.oneOf("short writes", {"on", "off"}) == 0);
}

void Player::flood(Words& words)
{
    const bool texts = words.take("sms");
    const std::string label = words.next(texts ? "a number" : "a label");
    const long count = words.number("a count", 1, 10000000);
    if (texts) {
        const std::string text = words.rest("a text");
        for (long i = 0; i < count; ++i)
            m_card.sms(label, text);
        return;
    }
    if (!m_card.server().input(label))
        throw Failure("no input is labelled " + label);
    for (long i = 0; i < count; ++i)
        m_card.server().setInput(label, i % 2 == 0 ? 1 : 2);
}

void Player::note(Words& words)
{
    const std::string text = words.rest("a text");
    if (m_note)
        m_note(text);
}

void Player::wait(Words& words)
{
    throughout(
        words.time("a time"), [] { return true; }, nullptr);
}

} // namespace bench
