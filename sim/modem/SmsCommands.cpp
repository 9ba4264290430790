// Commands for SMS in text mode: 3GPP TS 27.005.
#include "modem/Equipment.h"

#include <algorithm>
#include <ctime>

namespace modemsim {

namespace {

/// Index, status, number, empty name, time stamp: the header of AT+CMGL, and without the index of AT+CMGR.
std::string header(const StoredSms& message)
{
    std::string text = std::string("\"") + statusWord(message.status) + "\",\"" + message.number + "\",,";
    return message.timeStamp.empty() ? text : text + '"' + message.timeStamp + '"';
}

void markRead(StoredSms& message)
{
    if (message.status == SmsStatus::RecUnread) {
        message.status = SmsStatus::RecRead;
    }
}

/// The statuses that the second parameter of AT+CMGD deletes besides the place.
bool isDeleted(int flag, SmsStatus status)
{
    switch (status) {
    case SmsStatus::RecRead:
        return flag >= 1;
    case SmsStatus::StoSent:
        return flag >= 2;
    case SmsStatus::StoUnsent:
        return flag >= 3;
    case SmsStatus::RecUnread:
        break;
    }
    return flag >= 4;
}

bool isNumber(const std::string& text)
{
    const std::size_t sign = !text.empty() && text[0] == '+' ? 1 : 0;
    return text.size() > sign && text.find_first_not_of("0123456789*#", sign) == std::string::npos;
}

} // namespace

Reply setTextMode(Equipment& me, const AtCall& call)
{
    const auto mode = call.number(0);
    if (!mode || *mode > 1) {
        return Reply::cms(kCmsBadTextParameter);
    }
    me.settings.textMode = *mode == 1;
    return Reply::ok();
}

Reply readTextMode(Equipment& me, const AtCall& /*call*/)
{
    return Reply::ok({me.settings.textMode ? "+CMGF: 1" : "+CMGF: 0"});
}

Reply setReports(Equipment& me, const AtCall& call)
{
    me.settings.reports = call.number(1).value_or(0) != 0;
    return Reply::ok();
}

Reply readStorageUse(Equipment& me, const AtCall& /*call*/)
{
    const std::string use = "\"SM\"," + std::to_string(me.storage.used()) + "," + std::to_string(me.storage.size());
    return Reply::ok({"+CPMS: " + use + "," + use + "," + use});
}

Reply setStorage(Equipment& me, const AtCall& call)
{
    if (std::any_of(call.parameters.begin(), call.parameters.end(),
                    [](const Parameter& p) { return p.text != "SM"; })) {
        return Reply::cms(kCmsNotSupported);
    }
    const std::string use = std::to_string(me.storage.used()) + "," + std::to_string(me.storage.size());
    return Reply::ok({"+CPMS: " + use + "," + use + "," + use});
}

Reply listMessages(Equipment& me, const AtCall& call)
{
    if (!me.settings.textMode) {
        return Reply::cms(call.number(0) ? kCmsNotSupported : kCmsBadPduParameter);
    }
    const std::string wanted = call.form == AtCall::Set ? call.text(0) : statusWord(SmsStatus::RecUnread);
    const auto status = statusOf(wanted);
    if (wanted != "ALL" && !status) {
        return Reply::cms(kCmsBadTextParameter);
    }
    Reply reply = Reply::ok();
    for (const StoredSms& message : me.storage.list()) {
        if (!status || message.status == *status) {
            reply.lines.push_back("+CMGL: " + std::to_string(message.place) + "," + header(message));
            reply.lines.push_back(message.text);
            markRead(*me.storage.at(message.place));
        }
    }
    return reply;
}

Reply readMessage(Equipment& me, const AtCall& call)
{
    StoredSms* message = me.storage.at(call.number(0).value_or(0));
    if (!me.settings.textMode || message == nullptr) {
        return Reply::cms(me.settings.textMode ? kCmsBadIndex : kCmsNotSupported);
    }
    Reply reply = Reply::ok({"+CMGR: " + header(*message), message->text});
    markRead(*message);
    return reply;
}

Reply deleteMessage(Equipment& me, const AtCall& call)
{
    const int place = call.number(0).value_or(0);
    const int flag = call.number(1).value_or(0);
    if (flag == 0 && !me.storage.erase(place)) {
        return Reply::cms(kCmsBadIndex);
    }
    for (const StoredSms& message : me.storage.list()) {
        if (isDeleted(flag, message.status)) {
            me.storage.erase(message.place);
        }
    }
    me.receiveHeld();
    return Reply::ok();
}

Reply startSending(Equipment& me, const AtCall& call)
{
    if (!me.settings.textMode) {
        return Reply::cms(kCmsBadPduParameter);
    }
    if (!isNumber(call.text(0))) {
        return Reply::cms(kCmsBadTextParameter);
    }
    me.destination = call.text(0);
    return {Reply::Prompt, 0, {}};
}

Reply Equipment::sendText(const std::string& text)
{
    if (text.size() > options.longestText) {
        return Reply::cms(kCmsBadTextParameter);
    }
    if (!registered()) {
        return Reply::cms(kCmsNoNetwork);
    }
    sent.push_back({destination, text, Clock::now()});
    messageReference = messageReference % 255 + 1;
    return Reply::ok({"+CMGS: " + std::to_string(messageReference)});
}

std::string timeStampNow()
{
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    gmtime_r(&now, &parts);
    char text[32];
    const std::size_t length = std::strftime(text, sizeof text, "%Y/%m/%d,%H:%M:%S+00", &parts);
    return std::string(text, length).substr(2);
}

std::string ucs2Hex(const std::string& utf8)
{
    std::string hex;
    const auto put = [&hex](unsigned unit) {
        for (int shift = 12; shift >= 0; shift -= 4) {
            hex += "0123456789ABCDEF"[(unit >> shift) & 15U];
        }
    };
    for (std::size_t i = 0; i < utf8.size();) {
        const auto byte = static_cast<unsigned char>(utf8[i++]);
        int more = byte >= 0xF0 ? 3 : byte >= 0xE0 ? 2 : byte >= 0xC0 ? 1 : 0;
        unsigned point = more == 0 ? byte : byte & (0x3FU >> more);
        for (; more > 0 && i < utf8.size(); --more) {
            point = point << 6 | (static_cast<unsigned char>(utf8[i++]) & 0x3FU);
        }
        if (point >= 0x10000) {
            put(0xD800 + ((point - 0x10000) >> 10 & 0x3FFU));
            put(0xDC00 + (point & 0x3FFU));
        } else {
            put(point);
        }
    }
    return hex;
}

} // namespace modemsim
