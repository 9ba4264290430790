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

/// Keeps entries in the order in which they were added. Owns its cells, never its entries: whoever fills a list deletes
/// the entries when it discards them.
/// Threads: no lock; one thread at a time, since the one cursor belongs to whoever walks.
class WList : public cWlog {
public:
    WList();
    ~WList();
    WList(const WList&) = delete;
    WList& operator=(const WList&) = delete;

    /// Appends @p data; the cursor does not move. A list of 65535 entries takes no more: an error line, nothing added.
    void add(void* data);
    /// Puts the cursor on the first cell. A new list's cursor stands nowhere until then.
    void reset() { mCurrent = mStart; }
    /// @return the entry at the cursor; null past the last cell, on an empty list and before the first reset
    void* get() { return mCurrent != nullptr ? mCurrent->mData : nullptr; }
    /// Moves the cursor to the next cell. @return whether it stands on a cell now
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
    /// Takes the first entry out of the list; a cursor that stood on it moves to the next. @return it; null when empty
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
