// Commands for the SIM and its lock, and the words of errors: 3GPP TS 27.007 and 27.005.
#include "modem/Equipment.h"

#include <algorithm>

namespace modemsim {

namespace {

/// One reason, in the three ways it is told.
struct ErrorRow {
    int cme;
    int cms;
    const char* text;
};

const ErrorRow kErrors[] = {
    {kNotAllowed, 302, "operation not allowed"},
    {kNotSupported, kCmsNotSupported, "operation not supported"},
    {kPhonePinRequired, kCmsPhonePinRequired, "PH-SIM PIN required"},
    {kNoSim, kCmsNoSim, "SIM not inserted"},
    {kPinRequired, kCmsPinRequired, "SIM PIN required"},
    {kPukRequired, kCmsPukRequired, "SIM PUK required"},
    {kSimFailure, kCmsSimFailure, "SIM failure"},
    {kWrongPassword, 0, "incorrect password"},
    {kNoNetwork, kCmsNoNetwork, "no network service"},
    {kBadParameters, 0, "incorrect parameters"},
    {0, kCmsBadPduParameter, "invalid PDU mode parameter"},
    {0, kCmsBadTextParameter, "invalid text mode parameter"},
    {0, kCmsBadIndex, "invalid memory index"},
};

const ErrorRow* find(int ErrorRow::*column, int code)
{
    const auto row =
        std::find_if(std::begin(kErrors), std::end(kErrors), [&](const ErrorRow& r) { return r.*column == code; });
    return row == std::end(kErrors) ? nullptr : &*row;
}

} // namespace

int cmsOf(int cme)
{
    const ErrorRow* row = find(&ErrorRow::cme, cme);
    return row != nullptr && row->cms != 0 ? row->cms : 500;
}

const char* cmeText(int code)
{
    const ErrorRow* row = find(&ErrorRow::cme, code);
    return row != nullptr ? row->text : "unknown";
}

const char* cmsText(int code)
{
    const ErrorRow* row = find(&ErrorRow::cms, code);
    return row != nullptr ? row->text : "unknown error";
}

Reply readPinState(Equipment& me, const AtCall& /*call*/)
{
    const std::string word = me.sim.word();
    return word.empty() ? Reply::cme(me.sim.required()) : Reply::ok({"+CPIN: " + word});
}

Reply enterCode(Equipment& me, const AtCall& call)
{
    return Reply::cme(call.parameters.size() > 1 ? me.sim.enterPuk(call.text(0), call.text(1))
                                                 : me.sim.enterPin(call.text(0)));
}

Reply readSimPresence(Equipment& me, const AtCall& /*call*/)
{
    return Reply::ok(
        {std::string("+CSMINS: ") + (me.settings.simReports ? "1," : "0,") + (me.sim.inserted() ? "1" : "0")});
}

Reply setSimReports(Equipment& me, const AtCall& call)
{
    me.settings.simReports = call.number(0).value_or(0) != 0;
    return Reply::ok();
}

} // namespace modemsim
