// A message of the object server, or a request to it: a type number and a sequence of objects.
#ifndef COBJECTLIST_H
#define COBJECTLIST_H

#include "cObject.h"

#include <cstddef>
#include <vector>

/// Does not own its objects: destroying the list does not destroy them. One cursor. One thread at a time.
class cObjectList {
public:
    cObjectList() = default;
    ~cObjectList() = default;
    cObjectList(const cObjectList&) = delete;
    cObjectList& operator=(const cObjectList&) = delete;

    /// Appends @p object, which must not be null.
    void add(cObject* object) { mObjects.push_back(object); }
    /// Starts a walk. first() returns the first object, next() the following ones; null at the end.
    cObject* first();
    cObject* next();
    size_t size() const { return mObjects.size(); }
    /// Destroys the objects and leaves the list empty.
    void deleteObjects();

    /// 0 get and its answer, 1 set and its acknowledgement, 3 event.
    uint8_t getMsgType() const { return mMsgType; }
    void setMsgType(uint8_t type) { mMsgType = type; }

private:
    std::vector<cObject*> mObjects;
    size_t mNext = 0;
    uint8_t mMsgType = 0;
};

#endif
