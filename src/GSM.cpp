// The GSM service: operations of the modem, PIN and PUK, and the thread that delivers the modem's reports.
#include "GSM.h"

#include "eventDispatch.h"
#include "heartbeat.h"

#include <cctype>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <pthread.h>
#include <string>
#include <utility>

namespace {

constexpr size_t kMostConsole = 64; // characters of an answer that are read

// The next character of standard input; EOF at its end. Continues after a signal.
int nextCharacter()
{
    int character;
    while ((character = getc(stdin)) == EOF && ferror(stdin) != 0 && errno == EINTR)
        clearerr(stdin);
    return character;
}

bool isBlank(int character)
{
    return character != EOF && isspace(character) != 0;
}

// Reads one decimal integer from the console. A wrong answer is dropped up to the end of its line. A leading zero is
// refused, because it would not be sent to the SIM.
// @return what is wrong, or null
const char* readNumber(const char* prompt, int& number)
{
    printf("%s", prompt);
    (void)fflush(stdout);
    clearerr(stdin); // one writer's end of file is not the pipe's
    int character = nextCharacter();
    while (isBlank(character))
        character = nextCharacter();
    std::string word;
    for (; character != EOF && !isBlank(character); character = nextCharacter()) {
        if (word.size() < kMostConsole)
            word += static_cast<char>(character);
    }
    const char* const end = word.data() + word.size();
    const auto read = std::from_chars(word.data(), end, number);
    if (read.ec == std::errc() && read.ptr == end && word[0] != '0')
        return nullptr;
    while (character != '\n' && character != EOF)
        character = nextCharacter();
    return word[0] == '0' ? "a number that begins with a zero would be sent without it" : "the console gave no number";
}

} // namespace

Gsm::Gsm()
    : cWlog("Gsm"), mdm(nullptr), sms_list(nullptr), m_Listeners(nullptr), m_EventList(nullptr), binary_sem(),
      objListener(nullptr)
{
}

bool Gsm::initialiseGsm(char* portName, char* pin)
{
    mdm = new Modem(this);
    mdm->setPin(pin);
    m_Listeners = new cEnumeratedList<EventNotifier>();
    sms_list = new cEnumeratedList<Sms>();
    m_EventList = new cEnumeratedList<ModemEvent>();
    auto* serial = new serialDriver(portName);
    sem_init(&binary_sem, 0, 1);
    pthread_t thread;
    const int result = pthread_create(&thread, nullptr, event_thread, this);
    if (result != 0)
        error("The event thread could not be started: %s\n", strerror(result));
    if (mdm->init(serial)) {
        info("Modem initialized\n");
        return true;
    }
    info("Modem could not be initialized\nQuitting\n");
    error("The modem's port %s could not be opened\n", portName);
    delete mdm;
    mdm = nullptr;
    return false;
}

ErrStat::eErrStat Gsm::errorHandle(ErrStat::eErrStat error)
{
    switch (error) {
    case ErrStat::OK:
        debug("Command successful\n");
        return ErrStat::OK;
    case ErrStat::TIMEOUT:
        debug("Command timed out\n");
        return ErrStat::TIMEOUT;
    case ErrStat::MDMERR:
        debug("Modem returned error\n");
        return ErrStat::MDMERR;
    default:
        debug("Unknown error\n");
        return ErrStat::UNKNOWN;
    }
}

void Gsm::enterPin()
{
    if (errorHandle(mdm->iEnterPin()) == ErrStat::OK)
        debug("Pin entered successfully\n");
}

void Gsm::enterPuk()
{
    int puk = 0;
    int newPin = 0;
    Heartbeat::idle(); // a person may never come
    const char* wrong = readNumber("Puk required\nEnter Puk:", puk);
    if (wrong == nullptr)
        wrong = readNumber("Enter new pin:", newPin);
    Heartbeat::within(kLongestStep);
    if (wrong != nullptr) {
        error("The SIM needs its PUK and %s: nothing is sent to the SIM\n", wrong);
        return;
    }
    if (errorHandle(mdm->iEnterPuk(puk, newPin)) == ErrStat::OK)
        debug("Puk and new pin entered successfully\n");
}

bool Gsm::sendSMS(char* number, char* message)
{
    char charSet[] = "GSM";
    if (errorHandle(mdm->qSMSTextMode()) != ErrStat::OK)
        return false;
    if (errorHandle(mdm->qCharacterSet(charSet)) != ErrStat::OK)
        return false;
    if (errorHandle(mdm->iSendSMS(number, message)) != ErrStat::OK)
        return false;
    debug("SENDING MESSAGE\n--------------\n");
    debug("number:%s\n", number);
    debug("text message: %s\n", message);
    return true;
}

cEnumeratedList<Sms>* Gsm::readSms()
{
    return errorHandle(mdm->qReadSMS()) == ErrStat::OK ? mdm->qGetList() : nullptr;
}

bool Gsm::deleteSms(int number)
{
    if (errorHandle(mdm->iDeleteSms(number)) == ErrStat::OK) {
        debug("Message %d deleted\n", number);
        return true;
    }
    debug("Message %d deleting error\n", number);
    return false;
}

char* Gsm::sendUsd(char* code)
{
    char resp[256] = "";
    (void)errorHandle(mdm->iSendUsd(code, resp));
    return nullptr;
}

int Gsm::subscribe(EventNotifier* handler)
{
    eventDispatch::subscribe(m_ListLock, *m_Listeners, handler);
    return 0;
}

cEnumeratedList<EventNotifier>* Gsm::getListeners()
{
    return m_Listeners;
}

cEnumeratedList<ModemEvent>* Gsm::getEvents()
{
    return m_EventList;
}

cEnumeratedList<Sms>* Gsm::get_list()
{
    return sms_list;
}

void Gsm::iInsertEvent(ModemEvent* evt)
{
    if (evt != nullptr && evt->getEventType() == ModemEvent::SMS) {
        const char* place = static_cast<SmsEvent*>(evt)->getSmsId();
        const std::lock_guard<std::mutex> held(m_ListLock);
        if (m_Reported.size() == kMostReports)
            m_Reported.erase(m_Reported.begin());
        m_Reported.push_back(place != nullptr ? atoi(place) : 0);
    }
    eventDispatch::insert(m_ListLock, *m_EventList, evt, binary_sem, m_Progress);
    eventDispatch::thin(
        m_ListLock, *m_EventList, binary_sem, m_Progress, kMostWaiting,
        [](const ModemEvent& event) { return event.getEventType(); }, destroyModemEvent);
}

std::vector<int> Gsm::takeReportedPlaces()
{
    const std::lock_guard<std::mutex> held(m_ListLock);
    return std::exchange(m_Reported, {});
}

void Gsm::makeWait()
{
    eventDispatch::wait(binary_sem);
}

void* Gsm::event_thread(void* data)
{
    static_cast<Gsm*>(data)->deliver();
    return nullptr;
}

void Gsm::deliver()
{
    bool told = false;
    for (;;) {
        eventDispatch::wait(binary_sem);
        eventDispatch::pass(m_ListLock, *m_Listeners, *m_EventList, m_Progress, destroyModemEvent);
        size_t dropped = 0;
        bool drained = false;
        {
            const std::lock_guard<std::mutex> held(m_ListLock);
            dropped = std::exchange(m_Progress.dropped, 0);
            drained = m_Progress.waiting == 0;
        }
        if (dropped > 0 && !told)
            warn("The modem sends reports faster than they are handled: only the newest of each kind is kept\n");
        told = (told || dropped > 0) && !drained;
    }
}
