// Commands for the modem itself and for the network: ITU-T V.250, 3GPP TS 27.007.
#include "modem/Equipment.h"

#include <algorithm>

namespace modemsim {

namespace {

const char* const kCharacterSets[] = {"GSM", "IRA", "UCS2", "HEX", "8859-1", "PCCP437"};
const int kSpeeds[] = {0, 1200, 2400, 4800, 9600, 19200, 38400, 57600, 115200};

std::string quoted(const std::string& text)
{
    return '"' + text + '"';
}

} // namespace

Reply acknowledge(Equipment& /*me*/, const AtCall& /*call*/)
{
    return Reply::ok();
}

Reply resetSettings(Equipment& me, const AtCall& /*call*/)
{
    me.settings = Settings();
    me.settings.echo = me.options.echo;
    me.settings.errorMode = me.options.errorMode;
    me.settings.reports = me.reportsWanted;
    return Reply::ok();
}

Reply setEcho(Equipment& me, const AtCall& call)
{
    me.settings.echo = call.number(0).value_or(0) != 0;
    return Reply::ok();
}

Reply setResultWords(Equipment& me, const AtCall& call)
{
    me.settings.words = call.number(0).value_or(0) != 0;
    return Reply::ok();
}

Reply identify(Equipment& me, const AtCall& /*call*/)
{
    return Reply::ok(me.options.identity);
}

Reply setErrorMode(Equipment& me, const AtCall& call)
{
    const int mode = call.number(0).value_or(0);
    if (mode > static_cast<int>(ErrorMode::Verbose)) {
        return Reply::cme(kBadParameters);
    }
    me.settings.errorMode = static_cast<ErrorMode>(mode);
    return Reply::ok();
}

Reply readErrorMode(Equipment& me, const AtCall& /*call*/)
{
    return Reply::ok({"+CMEE: " + std::to_string(static_cast<int>(me.settings.errorMode))});
}

Reply setSpeed(Equipment& /*me*/, const AtCall& call)
{
    const auto speed = call.number(0);
    return speed && std::count(std::begin(kSpeeds), std::end(kSpeeds), *speed) > 0 ? Reply::ok() : Reply::error();
}

Reply readSpeed(Equipment& /*me*/, const AtCall& /*call*/)
{
    return Reply::ok({"+IPR: 115200"});
}

Reply readSignal(Equipment& me, const AtCall& /*call*/)
{
    return Reply::ok({"+CSQ: " + std::to_string(me.options.signal) + "," + std::to_string(me.options.errorRate)});
}

Reply readOperator(Equipment& me, const AtCall& /*call*/)
{
    return Reply::ok({me.registered() ? "+COPS: 0,0," + quoted(me.options.operatorName) : "+COPS: 0"});
}

Reply listOperators(Equipment& me, const AtCall& /*call*/)
{
    const std::string& name = me.options.operatorName;
    return Reply::ok({name.empty()
                          ? "+COPS: ,,(0,1,4),(0,1,2)"
                          : "+COPS: (2," + quoted(name) + "," + quoted(name) + ",\"00101\"),,(0,1,4),(0,1,2)"});
}

Reply readRegistration(Equipment& me, const AtCall& /*call*/)
{
    const bool searching = me.sim.state() == SimState::Ready;
    return Reply::ok({std::string("+CREG: 0,") + (me.registered() ? "1" : searching ? "2" : "0")});
}

Reply setCharacterSet(Equipment& me, const AtCall& call)
{
    const std::string name = call.text(0);
    if (std::count(std::begin(kCharacterSets), std::end(kCharacterSets), name) == 0) {
        return Reply::cme(kBadParameters);
    }
    me.settings.characterSet = name;
    return Reply::ok();
}

Reply readCharacterSet(Equipment& me, const AtCall& /*call*/)
{
    return Reply::ok({"+CSCS: " + quoted(me.settings.characterSet)});
}

Reply listCharacterSets(Equipment& /*me*/, const AtCall& /*call*/)
{
    std::string list;
    for (const char* name : kCharacterSets) {
        list += (list.empty() ? "" : ",") + quoted(name);
    }
    return Reply::ok({"+CSCS: (" + list + ")"});
}

Reply requestUssd(Equipment& me, const AtCall& call)
{
    const int mode = call.number(0).value_or(-1);
    if (mode < 0 || mode > 2) {
        return Reply::cme(kBadParameters);
    }
    if (call.parameters.size() < 2) {
        return Reply::ok();
    }
    if (!me.registered()) {
        return Reply::cme(kNoNetwork);
    }
    const auto answer = me.ussdAnswers.find(call.text(1));
    if (answer != me.ussdAnswers.end()) {
        me.say(answer->second.second, "+CUSD: 0," + quoted(answer->second.first) + ",15");
    }
    return Reply::ok();
}

} // namespace modemsim
