#include "sms.h"

#include "heldText.h"

#include <cstdlib>

Sms::~Sms()
{
    std::free(m_Message);
    std::free(m_Number);
    std::free(m_id);
}

void Sms::initialise(const char* number, const char* message, const char* id, bool read)
{
    setNumber(number);
    setMessage(message);
    setId(id);
    setRead(read);
}

void Sms::setNumber(const char* number)
{
    replaceText(m_Number, number);
}

void Sms::setMessage(const char* message)
{
    replaceText(m_Message, message);
}

void Sms::setId(const char* id)
{
    replaceText(m_id, id);
}
