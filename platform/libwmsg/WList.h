/// A list of untyped pointers with one cursor: connections, trigger trees, port lists.
#ifndef WLIST_H
#define WLIST_H

#include "cWlog.h"

#include <cstdint>

/// One cell of a WList.
struct WListNode {
    void* mData;      ///< the entry; never owned
    WListNode* mNext; ///< the following cell, null at the end
};

/// Keeps entries in the order in which they were added. Owns its cells, not its entries.
/// Threads: no lock; one thread at a time, because there is one cursor.
class WList : public cWlog {
public:
    WList();
    ~WList();
    WList(const WList&) = delete;
    WList& operator=(const WList&) = delete;

    /// Appends @p data, without moving the cursor. With 65535 entries the list is full: nothing is added, with an error
    /// line.
    void add(void* data);
    /// Moves the cursor to the first cell. A new list's cursor is on no cell.
    void reset() { mCurrent = mStart; }
    /// @return the entry at the cursor; null if it is on no cell
    void* get() { return mCurrent != nullptr ? mCurrent->mData : nullptr; }
    /// Moves the cursor to the next cell. @return whether there is one
    bool step()
    {
        if (mCurrent != nullptr)
            mCurrent = mCurrent->mNext;
        return mCurrent != nullptr;
    }
    /// @return the number of entries
    uint16_t size() { return mNodeCount; }
    /// reset(), then get().
    void* getfirst();
    /// Removes the first entry. A cursor on it moves to the next. @return the entry; null if the list is empty
    void* pull();
    /// @return whether the list has no entry
    bool empty();

private:
    WListNode* mStart;
    WListNode* mCurrent;
    WListNode* mEnd;
    uint16_t mNodeCount;
};

#endif
