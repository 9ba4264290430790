#include "cObjectClient.h"

#include "cObjectList.h"
#include "cObjectListener.h"

#include <cstdio>
#include <string>
#include <thread>

// The card has the inputs IN1, whose alarm is set, and IN2, and the output OUT1. Once OUT1 was driven, the alarm ends.

bool cObjectClient::start(const char*, int port)
{
    printf("the maker's client, port %d\n", port);
    return false; // whatever it says, the daemon goes on
}

cObjectList* cObjectClient::get(cObjectList* request)
{
    auto* answer = new cObjectList;
    for (cObject* object = request->first(); object != nullptr; object = request->next()) {
        auto* port = dynamic_cast<cObjectPort*>(object);
        const bool output = dynamic_cast<cObjectDOutput*>(object) != nullptr;
        const std::string label = port->getPortLabel();
        if (output ? label != "OUT1" : label != "IN1" && label != "IN2")
            continue;
        auto* known = static_cast<cObjectPort*>(port->duplicate());
        known->setPortStatus(label == "IN1" ? cObject::OBJ_STATUS_ALARM_SET : cObject::OBJ_STATUS_ALARM_CLEAR);
        answer->add(known);
    }
    return answer;
}

int cObjectClient::set(cObject* object)
{
    const auto* output = static_cast<cObjectDOutput*>(object);
    printf("the maker's client drives %s to %d\n", output->getPortLabel(), output->getOutputState());
    if (output->getOutputState() == cObject::OBJ_IO_STATE_SET) {
        std::thread([this] {
            cObjectList message(3);
            message.add(new cObjectEvent);
            mListener->handleObjectAction(&message);
            message.deleteObjects();
        }).detach();
    }
    return -1;
}
