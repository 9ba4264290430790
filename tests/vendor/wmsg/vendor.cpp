#include "WList.h"

WList::~WList()
{
    while (mStart != nullptr) {
        Node* next = mStart->next;
        delete mStart;
        mStart = next;
    }
}

void WList::add(void* data)
{
    Node* node = new Node{data, nullptr};
    (mEnd != nullptr ? mEnd->next : mStart) = node;
    mEnd = node;
    ++mCount;
}

bool WList::step()
{
    mCurrent = mCurrent != nullptr ? mCurrent->next : nullptr;
    return mCurrent != nullptr;
}
