#pragma once

#include "cObject.h"

class cObjectList {
public:
    void add(cObject* object) { delete object; }
    cObject* first() { return nullptr; }
    cObject* next() { return nullptr; }
    void deleteObjects() {}
    uint8_t getMsgType() const { return 0; }
};
