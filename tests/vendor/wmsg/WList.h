// A maker's pointer list.
#pragma once

#include "cWlog.h"

#include <cstdint>

class WList : public cWlog {
public:
    WList() : cWlog("Wlist") {}
    ~WList();
    void add(void* data);
    void reset() { mCurrent = mStart; }
    void* get() { return mCurrent != nullptr ? mCurrent->data : nullptr; }
    bool step();
    uint16_t size() { return mCount; }

private:
    struct Node {
        void* data;
        Node* next;
    };
    Node *mStart = nullptr, *mCurrent = nullptr, *mEnd = nullptr;
    uint16_t mCount = 0;
};
