#pragma once

#include "cObject.h"

#include <vector>

class cObjectList {
public:
    explicit cObjectList(uint8_t type = 0) : mType(type) {}
    void add(cObject* object) { mObjects.push_back(object); }
    cObject* first()
    {
        mNext = 0;
        return next();
    }
    cObject* next() { return mNext < mObjects.size() ? mObjects[mNext++] : nullptr; }
    void deleteObjects()
    {
        for (cObject* object : mObjects)
            object->destroy();
        mObjects.clear();
    }
    uint8_t getMsgType() const { return mType; }

private:
    std::vector<cObject*> mObjects;
    size_t mNext = 0;
    uint8_t mType;
};
