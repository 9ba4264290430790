// The commands of the scenario language.
#include "bench/Player.h"

#include <algorithm>

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

uint32_t status(const std::string& word)
{
    uint32_t value = 0;
    if (!sim::parseStatus(word, value))
        throw Failure("a status is set, clear, warn or unknown, not " + word);
    return value;
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
        m_card.writeConfigFile(name, readFile(file(words.next("a file"))));
    } else if (words.take("remove")) {
        m_card.removeConfigFile(words.next("a name"));
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

void Player::ports(Words& words)
{
    std::vector<sim::Port> read;
    std::string error;
    if (!sim::readPorts(file(words.next("a file")), read, error))
        throw Failure(error);
    m_card.usePorts(std::move(read));
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

void Player::server(Words& words)
{
    switch (words.oneOf("what the server does",
                        {"absent", "start", "stop", "restart", "hang", "resume", "send", "kind", "answers", "omits"})) {
    case 0:
        m_card.setServerAtStart(false);
        break;
    case 1:
        m_card.startServer();
        break;
    case 2:
        m_card.stopServer();
        break;
    case 3:
        m_card.stopServer();
        while (!words.empty()) {
            const std::string change = words.next("LABEL=STATUS");
            const size_t equals = change.find('=');
            if (equals == std::string::npos)
                throw Failure("a state is LABEL=STATUS, not " + change);
            const std::string label = change.substr(0, equals);
            const uint32_t value = status(change.substr(equals + 1));
            if (!m_card.server().setInput(label, value) && !m_card.server().setOutput(label, value, 1))
                throw Failure("no port is labelled " + label);
        }
        m_card.startServer();
        break;
    case 4:
        m_card.server().hang(true);
        break;
    case 5:
        m_card.server().hang(false);
        break;
    case 6:
        m_card.server().sendRaw(words.next("bytes"));
        break;
    case 7:
        m_card.server().setManners({});
        break;
    case 8:
        serverAnswers(words);
        break;
    default:
        serverOmits(words);
    }
}

// server answers after TIME
void Player::serverAnswers(Words& words)
{
    if (!words.take("after"))
        throw Failure("server answers after TIME");
    sim::Tavd::Manners manners = m_card.server().manners();
    manners.answerDelay = words.time("a time");
    m_card.server().setManners(manners);
}

// server omits [LABEL...]: these alone
void Player::serverOmits(Words& words)
{
    sim::Tavd::Manners manners = m_card.server().manners();
    manners.omitted.clear();
    while (!words.empty())
        manners.omitted.push_back(words.next("a label"));
    m_card.server().setManners(manners);
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

void Player::alarm(Words& words)
{
    std::vector<std::pair<std::string, uint32_t>> changes;
    do {
        const std::string label = words.next("a label");
        changes.emplace_back(label, status(words.next("a status")));
        if (!m_card.server().input(label))
            throw Failure("no input is labelled " + label);
    } while (!words.empty());
    m_card.server().setInputs(changes);
}

void Player::drive(Words& words)
{
    const std::string label = words.next("a label");
    const uint32_t state = words.oneOf("a state", {"set", "clear"}) == 0 ? 1 : 2;
    if (!m_card.server().setOutput(label, state, 2))
        throw Failure("no output is labelled " + label);
}

void Player::modem(Words& words)
{
    const std::string what = words.next("what the modem does");
    if (m_card.started())
        modemNow(words, what);
    else
        modemBefore(words, what);
}

// The modem as it is bought, before the card is started.
void Player::modemBefore(Words& words, const std::string& what)
{
    modemsim::Options& options = m_card.modemOptions();
    if (what == "absent")
        m_card.setModemPresent(false);
    else if (what == "pin")
        options.pin = words.next("a PIN");
    else if (what == "nopin")
        options.pin.clear();
    else if (what == "puk")
        options.puk = words.next("a PUK");
    else if (what == "locked") // the PIN's tries are used up already
        options.pinTries = 0;
    else if (what == "tries")
        options.pinTries = static_cast<int>(words.number("tries", 0, 10));
    else if (what == "nosim")
        options.simInserted = false;
    else if (what == "places")
        options.places = static_cast<int>(words.number("places", 1, 1000));
    else if (what == "echo")
        options.echo = words.oneOf("echo", {"on", "off"}) == 0;
    else if (what == "operator")
        options.operatorName = words.next("a name");
    else if (what == "signal") {
        options.signal = static_cast<int>(words.number("a signal", 0, 99));
        options.errorRate = static_cast<int>(words.number("an error rate", 0, 99));
    } else if (what == "off") {
        options.powered = false;
        if (!words.empty())
            options.pulsesToStart = static_cast<int>(words.number("pulses", 1, 100));
    } else if (what == "chunk")
        options.chunk = static_cast<size_t>(words.number("bytes", 0, 1000));
    else if (what == "delay")
        options.delay = words.time("a delay");
    else if (what == "store")
        m_card.storeBeforeStart(storedSms(words));
    else
        throw Failure("before the start the modem knows no " + what);
}

// A line of `modem store PLACE unread|read|sent NUMBER TEXT`.
modemsim::StoredSms Player::storedSms(Words& words)
{
    modemsim::StoredSms message;
    message.place = static_cast<int>(words.number("a place", 1, 1000));
    const modemsim::SmsStatus kinds[] = {modemsim::SmsStatus::RecUnread, modemsim::SmsStatus::RecRead,
                                         modemsim::SmsStatus::StoSent};
    message.status = kinds[words.oneOf("a status", {"unread", "read", "sent"})];
    message.number = words.next("a number");
    message.text = words.rest("a text");
    message.timeStamp = "26/11/23,09:00:00+04";
    return message;
}

void Player::modemNow(Words& words, const std::string& what)
{
    ModemSim& modem = m_card.modem();
    if (what == "silent")
        modem.setSilent(words.oneOf("silent", {"on", "off"}) == 0);
    else if (what == "delay")
        modem.setDelay(words.time("a delay"));
    else if (what == "echo")
        modem.setEcho(words.oneOf("echo", {"on", "off"}) == 0);
    else if (what == "chunk")
        modem.setChunk(static_cast<size_t>(words.number("bytes", 0, 1000)));
    else if (what == "lineend")
        modem.setLineEnd(words.oneOf("a line end", {"crlf", "crcrlf"}) == 0 ? "\r\n" : "\r\r\n");
    else if (what == "prompt")
        modem.setPrompt(words.next("a prompt"));
    else if (what == "hangup")
        modem.hangUp();
    else if (what == "plugin")
        modem.plugIn();
    else if (what == "power")
        modem.setPower(words.oneOf("power", {"on", "off"}) == 0);
    else if (what == "line")
        modem.sendLine(words.next("a line"));
    else if (what == "raw")
        modem.sendRaw(words.next("bytes"));
    else if (what == "store")
        modem.store(storedSms(words));
    else if (what == "operator")
        modem.setOperator(words.next("a name"));
    else if (what == "signal") {
        const long strength = words.number("a signal", 0, 99);
        modem.setSignal(static_cast<int>(strength), static_cast<int>(words.number("an error rate", 0, 99)));
    } else if (what == "sim")
        modemSim(words);
    else if (what == "key")
        modem.pulsePower();
    else if (what == "react")
        modemReact(words);
    else
        throw Failure("the running modem knows no " + what);
}

// sim out | in | nopin | pin PIN: another SIM in the slot, locked until its PIN is given
void Player::modemSim(Words& words)
{
    ModemSim& modem = m_card.modem();
    switch (words.oneOf("what the SIM does", {"out", "in", "nopin", "pin"})) {
    case 0:
        modem.setSimInserted(false);
        break;
    case 1:
        modem.setSimInserted(true);
        break;
    case 2:
        modem.exchangeSim("");
        break;
    default:
        modem.exchangeSim(words.next("a PIN"));
    }
}

// react PREFIX silence | unheard | error | late TIME | "LINE" [TIMES|always]
void Player::modemReact(Words& words)
{
    const std::string prefix = words.next("a command's beginning");
    modemsim::Reaction reaction;
    if (words.take("silence"))
        reaction = modemsim::Reaction::silence();
    else if (words.take("unheard"))
        reaction = modemsim::Reaction::unheard();
    else if (words.take("error"))
        reaction = modemsim::Reaction::line("ERROR");
    else if (words.take("late"))
        reaction = modemsim::Reaction::late(words.time("a time"));
    else
        reaction = modemsim::Reaction::line(words.next("a line"));
    const int times = words.take("always") ? modemsim::kForEver
                      : words.empty()      ? 1
                                           : static_cast<int>(words.number("times", 1, 1000));
    if (!prefix.empty() && prefix[0] == '>')
        m_card.modem().reactToText(prefix.substr(1), reaction, times);
    else
        m_card.modem().react(prefix, reaction, times);
}

void Player::sms(Words& words)
{
    const std::string number = words.next("a number");
    m_card.sms(number, words.rest("a text"));
}

void Player::ussd(Words& words)
{
    m_card.modem().ussd(words.rest("a text"));
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
