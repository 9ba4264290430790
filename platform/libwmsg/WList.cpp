#include "WList.h"

#include <limits>

WList::WList() : cWlog("Wlist"), mStart(nullptr), mCurrent(nullptr), mEnd(nullptr), mNodeCount(0) {}

WList::~WList()
{
    while (mStart != nullptr) {
        pull();
    }
}

void WList::add(void* data)
{
    if (mNodeCount == std::numeric_limits<uint16_t>::max()) {
        error("list full: entry %u refused", mNodeCount + 1U);
        return;
    }
    auto* const node = new WListNode{data, nullptr};
    (mEnd != nullptr ? mEnd->mNext : mStart) = node;
    mEnd = node;
    ++mNodeCount;
}

void* WList::getfirst()
{
    reset();
    return get();
}

void* WList::pull()
{
    if (mStart == nullptr) {
        return nullptr;
    }
    WListNode* const node = mStart;
    void* const data = node->mData;
    if (mCurrent == node) {
        mCurrent = node->mNext;
    }
    mStart = node->mNext;
    if (mStart == nullptr) {
        mEnd = nullptr;
    }
    --mNodeCount;
    delete node;
    return data;
}

bool WList::empty()
{
    return mStart == nullptr;
}
