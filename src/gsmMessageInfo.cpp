#include "gsmMessageInfo.h"

#include <cstdio>
#include <cstring>

cgsmMessageInfo::cgsmMessageInfo()
    : cWlog("cgsmMessageInfo"), mMessage(), mNumList(), mNumCount(0), mLabel(), mState(kStateNone)
{
}

cgsmMessageInfo::~cgsmMessageInfo() = default;

void cgsmMessageInfo::set_message(const char* message)
{
    std::snprintf(mMessage, sizeof mMessage, "%s", message);
}

void cgsmMessageInfo::set_label(const char* label)
{
    std::snprintf(mLabel, sizeof mLabel, "%s", label);
}

void cgsmMessageInfo::add_number(const char* number)
{
    const size_t length = std::strlen(number);
    if (mNumCount >= kNumbers || length >= kNumberBytes) {
        return;
    }
    std::memcpy(mNumList[mNumCount], number, length + 1);
    ++mNumCount;
}

void cgsmMessageInfo::set_numCount(int val)
{
    mNumCount = val;
}

void cgsmMessageInfo::set_state(uint8_t val)
{
    mState = val;
}

char* cgsmMessageInfo::get_message()
{
    return mMessage;
}

char* cgsmMessageInfo::get_label()
{
    return mLabel;
}

int cgsmMessageInfo::get_numCount()
{
    return mNumCount;
}

char* cgsmMessageInfo::get_numList(int value)
{
    return mNumList[value];
}

uint8_t cgsmMessageInfo::get_state()
{
    return mState;
}
