#include "sms.h"

#include <cstdlib>
#include <cstring>

namespace {

void replace(char*& held, const char* text)
{
    char* const copy = text != nullptr ? strdup(text) : nullptr;
    std::free(held);
    held = copy;
}

} // namespace

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
    replace(m_Number, number);
}

void Sms::setMessage(const char* message)
{
    replace(m_Message, message);
}

void Sms::setId(const char* id)
{
    replace(m_id, id);
}
