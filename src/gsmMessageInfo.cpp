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
    if (mNumCount >= kNumbers) {
        return;
    }
    if (std::strlen(number) >= kNumberBytes) {
        error("Label \"%s\": number refused, it has more than %zu characters: %s", mLabel, kNumberBytes - 1, number);
        return;
    }
    std::memcpy(mNumList[mNumCount], number, std::strlen(number) + 1);
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
