// The base class of the AT commands: status of an exchange, final results, unsolicited reports, reply fields.
#include "Command.h"

#include "Modem.h"
#include "ModemEvent.h"
#include "replyText.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

constexpr char kSmsReport[] = "+CMTI: "; // +CMTI: "SM",3
constexpr char kUsdReport[] = "+CUSD: "; // +CUSD: 0,"text",15

} // namespace

Command::Command(Modem* mdm, const AtCommand& row)
    : isOk(false), busy(false), tout(row.silence), errStat(ErrStat::UNKNOWN), smsNum{}, m_mdm(mdm), m_row(row)
{
}

void Command::setBusy()
{
    busy = true;
}

void Command::setDone()
{
    busy = false;
}

void Command::setTimeOut()
{
    errStat = ErrStat::TIMEOUT;
}

bool Command::isBusy()
{
    return busy;
}

int Command::getErrStat()
{
    return errStat;
}

bool Command::getIsOk()
{
    return isOk;
}

void Command::detach()
{
    std::lock_guard<std::mutex> lock(m_lineLock);
    m_mdm = nullptr;
}

void Command::parseData(unsigned char* buff)
{
    std::lock_guard<std::mutex> lock(m_lineLock);
    if (beginsWith(buff, "OK")) {
        isOk = true;
        errStat = ErrStat::OK;
        busy = false;
    } else if (beginsWith(buff, "ERR")) {
        isOk = false;
        errStat = ErrStat::MDMERR;
        busy = false;
    } else if (buff[0] != '\0') {
        handleData(buff);
    }
}

char* Command::getATstring()
{
    return const_cast<char*>(m_row.text); // callers only read it
}

void Command::handleData(unsigned char* data)
{
    raise(data);
    busy = false; // last: a thread that reads false finds the event raised
}

int Command::getTout()
{
    return tout;
}

void Command::finish(bool parsed, unsigned char* data)
{
    if (!parsed && m_row.others == AtCommand::ToDefault)
        Command::handleData(data);
    setDone();
}

void Command::raise(unsigned char* data)
{
    char fields[2][256];
    int count = 0;
    if (beginsWith(data, kSmsReport)) {
        findParameters(afterPrefix(data, kSmsReport), ',', &count, fields);
        keepLine(smsNum, fields[1]);
        if (m_mdm != nullptr) {
            auto* event = new SmsEvent();
            event->setSmsId(smsNum);
            m_mdm->iSendEvent(event);
        }
    } else if (beginsWith(data, kUsdReport)) {
        findParameters(afterPrefix(data, kUsdReport), ',', &count, fields);
        if (m_mdm != nullptr) {
            auto* event = new USDEvent();
            event->setUsdCode(fields[1]);
            m_mdm->iSendEvent(event);
        }
    }
}

void Command::refuse(char* text, const char* why)
{
    text[0] = '\0';
    m_why = why;
}

void Command::fillText(char* text, std::size_t size, const char* argument, bool (*forbidden)(unsigned char))
{
    if (argument == nullptr)
        return refuse(text, "there is none");
    const char* const end = argument + strlen(argument);
    const char* const place = strstr(m_row.text, "%s");
    if (strlen(m_row.text) - strlen("%s") + static_cast<std::size_t>(end - argument) >= size)
        return refuse(text, "it is too long");
    if (std::any_of(argument, end, [&](char c) { return forbidden(static_cast<unsigned char>(c)); }))
        return refuse(text, "it has a character that would break out of its AT command");
    (void)snprintf(text, size, "%.*s%s%s", static_cast<int>(place - m_row.text), m_row.text, argument,
                   place + strlen("%s"));
}

bool splitParameters(const unsigned char* buff, char delimiter, int* paramC, char (*paramV)[256], std::size_t slots)
{
    memset(paramV, 0, slots * sizeof *paramV);
    const auto* text = reinterpret_cast<const char*>(buff);
    const std::size_t len = strlen(text);
    std::size_t found = 0;
    std::size_t start = 0;
    while (found < slots) {
        const void* hit = memchr(text + start, delimiter, len - start);
        const std::size_t end = hit == nullptr ? len : static_cast<std::size_t>(static_cast<const char*>(hit) - text);
        memcpy(paramV[found], text + start, std::min(end - start, sizeof *paramV - 1));
        ++found;
        if (hit == nullptr)
            break;
        start = end + 1;
    }
    *paramC = static_cast<int>(found);
    return false;
}
