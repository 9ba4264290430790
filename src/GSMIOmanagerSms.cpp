// The SMS pass: commands from listed numbers, answers, alarm texts. All of it runs on the GSM handler thread.
#include "GSMIOmanager.h"

#include "GSM.h"
#include "maskedNumber.h"
#include "sms.h"
#include "supervisor.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>

namespace {

constexpr size_t kCommandLength = 159; // characters in which the command word is searched
constexpr int kLastPlace = 10;         // every pass deletes storage places 1 to 10

bool endsIn(const char* text, size_t length, const char* word)
{
    const size_t wordLength = strlen(word);
    return length >= wordLength && memcmp(text + length - wordLength, word, wordLength) == 0;
}

// Compares the number with all of the record's, and logs whether one is equal.
bool isListed(cgsmMessageInfo* record, const char* smsNumber, cWlog* logger)
{
    bool listed = false;
    for (int i = 0; i < record->get_numCount(); ++i) {
        char quoted[29];
        snprintf(quoted, sizeof quoted, "\"%s\"", record->get_numList(i));
        logger->debug("tempnum:|%s| \t smsNum:|%s| \n", quoted, smsNumber);
        if (strcmp(quoted, smsNumber) == 0)
            listed = true;
    }
    return listed;
}

// The messages that the modem reports during a pass and that are not in the pass's listing.
class UnreadMessages {
public:
    // Messages reported earlier are in the listing.
    explicit UnreadMessages(Gsm& gsm) : m_gsm(gsm) { (void)gsm.takeReportedPlaces(); }

    void listed(int place) { m_listed.insert(place); }
    // " N N..." for those reported so far in places above this one.
    std::string above(int place)
    {
        look();
        std::string places;
        for (auto unread = m_unread.upper_bound(place); unread != m_unread.end(); ++unread)
            places += ' ' + std::to_string(*unread);
        return places;
    }
    // " N" if one has been reported in this place.
    std::string in(int place)
    {
        look();
        return m_unread.count(place) != 0 ? ' ' + std::to_string(place) : "";
    }

private:
    void look()
    {
        for (const int place : m_gsm.takeReportedPlaces()) {
            if (m_listed.count(place) == 0 && m_unread.size() < kMostUnread)
                m_unread.insert(place);
        }
    }

    static constexpr size_t kMostUnread = 1000; // far above a SIM's 255 places
    Gsm& m_gsm;
    std::set<int> m_listed, m_unread;
};

void releaseMessages(cEnumeratedList<Sms>* list)
{
    for (Sms* sms = list->first(); sms != nullptr; sms = list->getNext())
        delete sms;
    delete list;
}

void releaseConnections(WList* connections)
{
    connections->reset();
    while (auto* connection = static_cast<tavConnection*>(connections->get())) {
        delete connection;
        connections->step();
    }
    delete connections;
}

} // namespace

key get_onoff(const char* message)
{
    const size_t length = strnlen(message, kCommandLength);
    if (endsIn(message, length, "OFF"))
        return OFF;
    if (endsIn(message, length, "ON"))
        return ON;
    if (endsIn(message, length, "QUERY"))
        return Query;
    return ON;
}

char* get_state_string(uint8_t val, cWlog* mainlog)
{
    static char high[] = "HIGH";
    static char low[] = "LOW";
    static char unknown[] = "Default";
    switch (val) {
    case 1:
        mainlog->debug("state:HIGH\n");
        return high;
    case 0:
        return low;
    default:
        mainlog->debug("state:UNKNOWN\n");
        return unknown;
    }
}

void GSMIOmanager::handle_sms(Gsm* gsmObj, cEnumeratedList<cgsmMessageInfo>* gsmInfoList, cIOpairs* gsm_connection,
                              cWlog* logger)
{
    UnreadMessages unread(*gsmObj);
    cEnumeratedList<Sms>* list = gsmObj->readSms();
    if (list == nullptr) {
        logger->error("The stored messages could not be read; places 1 to %d are deleted all the same", kLastPlace);
        list = new cEnumeratedList<Sms>();
    }
    for (Sms* sms = list->first(); sms != nullptr; sms = list->getNext()) {
        const int place = sms->getId() != nullptr ? atoi(sms->getId()) : 0;
        unread.listed(place);
        if (place > kLastPlace)
            logger->warn("A message is in storage place %d, which is never deleted: the SIM fills up", place);
        if (sms->getRead())
            continue;
        logger->info("New message recieved\n");
        Supervisor::smsCame();
        obey(sms, gsmObj, gsmInfoList, gsm_connection, logger);
        gsmInfoList->resetEnum();
        sms->setRead(true);
    }
    const std::string left = unread.above(kLastPlace);
    m_Sms = false;
    releaseMessages(list);
    std::string lost;
    for (int place = 1; place <= kLastPlace; ++place) {
        lost += unread.in(place);
        gsmObj->deleteSms(place);
    }
    if (!left.empty())
        logger->warn("An SMS arrived during a pass in storage place%s: it is not read before the next report",
                     left.c_str());
    if (!lost.empty())
        logger->warn("An SMS arrived during a pass in storage place%s: it may be deleted unread", lost.c_str());
}

void GSMIOmanager::obey(Sms* sms, Gsm* gsmObj, cEnumeratedList<cgsmMessageInfo>* gsmInfoList, cIOpairs* gsm_connection,
                        cWlog* logger)
{
    const char* text = sms->getMessage() != nullptr ? sms->getMessage() : "";
    const char* number = sms->getNumber() != nullptr ? sms->getNumber() : "";
    bool known = false;
    bool obeyed = false;
    for (cgsmMessageInfo* record = gsmInfoList->first(); record != nullptr; record = gsmInfoList->getNext()) {
        logger->debug("Tempmsg:%s\t smsMessage:%s \n", record->get_message(), text);
        if (strncmp(text, record->get_message(), strlen(record->get_message())) != 0)
            continue;
        logger->debug("Labels match\n");
        known = true;
        if (!isListed(record, number, logger))
            continue;
        obeyed = true;
        const key word = get_onoff(text);
        if (word == Query)
            answerQuery(record, number, gsmObj, logger);
        else
            obeyOnOff(word == ON, record, gsmObj, gsmInfoList, gsm_connection, logger);
    }
    if (!obeyed)
        logger->info("SMS from %s refused: %s", maskedNumber(number).c_str(),
                     known ? "the sender is not listed for its text" : "no configured message begins its text");
}

void GSMIOmanager::answerQuery(cgsmMessageInfo* record, const char* number, Gsm* gsmObj, cWlog* logger)
{
    char unquoted[16];
    snprintf(unquoted, sizeof unquoted, "%s", number);
    unquoted[strlen(unquoted) - 1] = '\0';
    char* destination = unquoted + 1;

    char reply[160];
    snprintf(reply, sizeof reply, "%s STATE:%s", record->get_message(), get_state_string(record->get_state(), logger));
    logger->debug("SEND query message:|%s| to number:|%s|\n", reply, destination);
    if (!gsmObj->sendSMS(destination, reply))
        logger->error("The answer to %s was not sent", maskedNumber(destination).c_str());
}

void GSMIOmanager::obeyOnOff(bool on, cgsmMessageInfo* record, Gsm* gsmObj,
                             cEnumeratedList<cgsmMessageInfo>* gsmInfoList, cIOpairs* gsm_connection, cWlog* logger)
{
    Heartbeat::within(Gsm::kLongestStep);
    WList* connections = gsm_connection->getConnectionLst(); // a new list, for this thread only
    if (connections == nullptr) {
        record->set_state(on ? 1 : 0); // the command counts although nothing can be driven
        return;
    }
    connections->reset();
    while (auto* connection = static_cast<tavConnection*>(connections->get())) {
        WList* children = connection->getTrigger()->getTriggerLst();
        children->reset();
        while (auto* child = static_cast<tavTrigger*>(children->get())) {
            if (strcmp(child->getLabel(), record->get_label()) == 0) {
                if (on)
                    logger->debug("Message said turn ON\n");
                else
                    logger->debug("Message said turn OFF\n");
                record->set_state(on ? 1 : 0);
                gsmInfoList->set_point();
                setActionState(on ? SET : RESET, connection->getAction(), gsmInfoList, gsmObj);
                gsmInfoList->restore_point();
            }
            children->step();
        }
        connections->step();
    }
    releaseConnections(connections);
}

void GSMIOmanager::setActionState(eTrigState state, tavTrigger* action, cEnumeratedList<cgsmMessageInfo>* gsmInfoList,
                                  Gsm* gsmObj)
{
    debug("inside crazy GSM set action state\n");
    debug("Action Operation is: %d", action->getOperation());
    if (action->getOperation() == tavTrigger::INVERSE && (state == SET || state == RESET)) {
        debug("This is an inverse");
        state = state == SET ? RESET : SET;
    }
    if (state != SET && state != RESET)
        return;

    if (action->getType() == tavTrigger::kTypeGsm) {
        if (gsmInfoList != nullptr && gsmObj != nullptr)
            sendAlarms(action->getLabel(), gsmInfoList, gsmObj);
        return;
    }
    const Evaluating evaluation(*this);
    driveOutput(state, action, true);
}

// Sends the alarm of every record with this label that is not off. A failed text does not stop the others.
void GSMIOmanager::sendAlarms(const char* label, cEnumeratedList<cgsmMessageInfo>* gsmInfoList, Gsm* gsmObj)
{
    for (cgsmMessageInfo* record = gsmInfoList->first(); record != nullptr; record = gsmInfoList->getNext()) {
        if (strcmp(record->get_label(), label) != 0 || record->get_state() == 0)
            continue;
        char alarm[136];
        snprintf(alarm, sizeof alarm, "%s LOW", record->get_message());
        record->set_state(0);
        printf("matching output lables\n");
        printf("sending sms to all numbers\n");
        for (int j = 0; j < record->get_numCount(); ++j) {
            char* number = record->get_numList(j);
            printf("number:|%s| \t message:|%s|\t j:|%d|\n", number, alarm, j);
            if (gsmObj->sendSMS(number, alarm))
                info("Alarm for %s sent to %s", label, maskedNumber(number).c_str());
            else
                error("The alarm for %s was not sent to %s", label, maskedNumber(number).c_str());
        }
    }
}
