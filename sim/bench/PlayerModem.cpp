// The commands about the modem.
#include "bench/Player.h"

namespace bench {

void Player::modem(Words& words)
{
    const std::string what = words.next("what the modem does");
    if (m_card.started())
        modemNow(words, what);
    else
        modemBefore(words, what);
}

// The modem's properties, before the card is started.
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

} // namespace bench
