// The command table, and how a line is run through it.
#include "modem/Equipment.h"

#include <algorithm>

namespace modemsim {

namespace {

constexpr auto kPlain = AtCall::Plain;
constexpr auto kRead = AtCall::Read;
constexpr auto kTest = AtCall::Test;
constexpr auto kSet = AtCall::Set;
constexpr auto kNothing = CommandRow::Nothing;
constexpr auto kSim = CommandRow::UnlockedSim;
constexpr auto kSms = CommandRow::SmsService;

// Basic commands have the form Plain, with or without a number. A Test form without a row of its own is acknowledged.
const CommandRow kCommands[] = {
    // name     form    needs     does
    {"E", kPlain, kNothing, setEcho},
    {"V", kPlain, kNothing, setResultWords},
    {"I", kPlain, kNothing, identify},
    {"Z", kPlain, kNothing, resetSettings},
    {"&F", kPlain, kNothing, resetSettings},
    {"+CGMI", kPlain, kNothing, identify},
    {"+CGMM", kPlain, kNothing, identify},
    {"+CMEE", kSet, kNothing, setErrorMode},
    {"+CMEE", kRead, kNothing, readErrorMode},
    {"+IPR", kSet, kNothing, setSpeed},
    {"+IPR", kRead, kNothing, readSpeed},
    {"+CSQ", kPlain, kNothing, readSignal},
    {"+CREG", kRead, kNothing, readRegistration},
    {"+CREG", kSet, kNothing, acknowledge},
    {"+COPS", kRead, kSim, readOperator},
    {"+COPS", kTest, kSim, listOperators},
    {"+COPS", kSet, kSim, acknowledge},
    {"+CSCS", kSet, kNothing, setCharacterSet},
    {"+CSCS", kRead, kNothing, readCharacterSet},
    {"+CSCS", kTest, kNothing, listCharacterSets},
    {"+CUSD", kSet, kSim, requestUssd},

    {"+CPIN", kRead, kNothing, readPinState},
    {"+CPIN", kSet, kNothing, enterCode},
    {"+CSMINS", kRead, kNothing, readSimPresence},
    {"+CSMINS", kSet, kNothing, setSimReports},

    {"+CMGF", kSet, kNothing, setTextMode},
    {"+CMGF", kRead, kNothing, readTextMode},
    {"+CNMI", kSet, kNothing, setReports},
    {"+CPMS", kRead, kSms, readStorageUse},
    {"+CPMS", kSet, kSms, setStorage},
    {"+CMGL", kSet, kSms, listMessages},
    {"+CMGL", kPlain, kSms, listMessages},
    {"+CMGR", kSet, kSms, readMessage},
    {"+CMGD", kSet, kSms, deleteMessage},
    {"+CMGS", kSet, kSms, startSending},
};

bool isKnown(const std::string& name)
{
    return std::any_of(std::begin(kCommands), std::end(kCommands),
                       [&](const CommandRow& row) { return name == row.name; });
}

Reply run(Equipment& me, const AtCall& call)
{
    const auto row = std::find_if(std::begin(kCommands), std::end(kCommands), [&](const CommandRow& candidate) {
        return call.name == candidate.name && call.form == candidate.form;
    });
    if (row == std::end(kCommands)) {
        return call.form == AtCall::Test && isKnown(call.name) ? Reply::ok() : Reply::error();
    }
    const int reason = me.sim.required();
    if (row->needs == kSim && reason != kDone) {
        return Reply::cme(reason);
    }
    if (row->needs == kSms && reason != kDone) {
        return Reply::cms(cmsOf(reason));
    }
    return row->run(me, call);
}

} // namespace

Reply Equipment::execute(const std::string& body)
{
    Reply whole = Reply::ok();
    for (const AtCall& call : parseCommands(body)) {
        Reply reply = run(*this, call);
        whole.lines.insert(whole.lines.end(), reply.lines.begin(), reply.lines.end());
        whole.final = reply.final;
        whole.code = reply.code;
        if (reply.final != Reply::Ok) {
            break;
        }
    }
    followSim();
    return whole;
}

} // namespace modemsim
