// The GSM service: operations of the modem, PIN and PUK, and the thread that delivers the modem's reports.
#include "GSM.h"

#include "eventDispatch.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <istream>
#include <limits>
#include <pthread.h>
#include <streambuf>

namespace {

// Standard input, for which a signal is no end: std::cin would give half a number for a whole one.
class Console : public std::streambuf {
protected:
    int_type underflow() override
    {
        int character;
        while ((character = getc(stdin)) == EOF && ferror(stdin) != 0 && errno == EINTR)
            clearerr(stdin);
        if (character == EOF)
            return traits_type::eof();
        mCharacter = static_cast<char>(character);
        setg(&mCharacter, &mCharacter, &mCharacter + 1);
        return traits_type::to_int_type(mCharacter);
    }

private:
    char mCharacter = '\0';
};

// One decimal integer from the console. A wrong answer is dropped to the end of its line.
bool readNumber(const char* prompt, int& number)
{
    static Console buffer; // keeps what stands behind a number on its line
    std::istream console(&buffer);
    printf("%s", prompt);
    (void)fflush(stdout);
    clearerr(stdin); // the end that was seen may have been one writer's
    if (console >> number)
        return true;
    console.clear();
    console.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
    return false;
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
    if (!readNumber("Puk required\nEnter Puk:", puk) || !readNumber("Enter new pin:", newPin)) {
        error("The SIM needs its PUK and the console gave no number: nothing is sent to the SIM\n");
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
    eventDispatch::insert(m_ListLock, *m_EventList, evt, binary_sem);
}

void Gsm::makeWait()
{
    eventDispatch::wait(binary_sem);
}

void* Gsm::event_thread(void* data)
{
    auto* gsm = static_cast<Gsm*>(data);
    for (;;) {
        eventDispatch::wait(gsm->binary_sem);
        eventDispatch::pass(gsm->m_ListLock, *gsm->m_Listeners, *gsm->m_EventList, destroyModemEvent);
    }
}
