#include "ModemEvent.h"

#include "heldText.h"

#include <cstdlib>

SmsEvent::SmsEvent() : m_SmsId(nullptr)
{
    m_EventType = SMS;
}

SmsEvent::~SmsEvent()
{
    std::free(m_SmsId);
}

void SmsEvent::setSmsId(const char* SmsId)
{
    replaceText(m_SmsId, SmsId);
}

USDEvent::USDEvent() : m_USDCode(nullptr)
{
    m_EventType = USD;
}

USDEvent::~USDEvent()
{
    std::free(m_USDCode);
}

void USDEvent::setUsdCode(const char* USDCode)
{
    replaceText(m_USDCode, USDCode);
}

void destroyModemEvent(ModemEvent* event)
{
    if (event == nullptr) {
        return;
    }
    switch (event->getEventType()) {
    case ModemEvent::SMS:
        delete static_cast<SmsEvent*>(event);
        break;
    case ModemEvent::USD:
        delete static_cast<USDEvent*>(event);
        break;
    default:
        delete event;
    }
}
