#include "tavConnection.h"

#include <cstdio>

namespace {

void replace(tavTrigger*& held, tavTrigger* given)
{
    if (held != given) {
        delete held;
        held = given;
    }
}

} // namespace

tavConnection::~tavConnection()
{
    delete mTrigger;
    delete mAction;
}

void tavConnection::setTrigger(tavTrigger* p)
{
    replace(mTrigger, p);
}

void tavConnection::setAction(tavTrigger* p)
{
    replace(mAction, p);
}

void tavConnection::show()
{
    std::printf("<CONNECTION>\n");
    if (mTrigger != nullptr) {
        std::printf("<TRIG>\n");
        mTrigger->show();
        std::printf("</TRIG>\n");
    }
    if (mAction != nullptr) {
        std::printf("<ACTION>\n");
        mAction->show();
        std::printf("</ACTION>\n");
    }
    std::printf("</CONNECTION>\n");
}
