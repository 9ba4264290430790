/// A typed list of object pointers, newest first, with a cursor and a saved cursor.
#ifndef ENUM_LIST_H
#define ENUM_LIST_H

#include <cstddef>

/// One cell of a cEnumeratedList.
template <class T> struct cListNode {
    T* mObject;          ///< not owned; may be null
    cListNode<T>* mNext; ///< towards the oldest entry, null at the end
};

/// Owns its cells, not its objects. It may hold an object several times, and null, which ends a walk.
/// To walk: call first(), then getNext() until it returns null.
/// Threads: no lock; the users of a shared list guard it (see eventDispatch.h).
template <class T> class cEnumeratedList {
public:
    cEnumeratedList() : mHead(nullptr), mCurrEnum(nullptr), mLinkedList(nullptr), mRestPoint(nullptr) {}
    virtual ~cEnumeratedList()
    {
        cut(mHead, [](T*) {});
    }
    cEnumeratedList(const cEnumeratedList&) = delete;
    cEnumeratedList& operator=(const cEnumeratedList&) = delete;

    /// Inserts @p obj before the newest entry, here and in the linked lists. Moves no cursor. @return 0
    int insert(T* obj)
    {
        // The old head is kept as the new one's successor.
        // cppcheck-suppress publicAllocationError
        mHead = new cListNode<T>{obj, mHead};
        if (mLinkedList != nullptr) {
            mLinkedList->insert(obj);
        }
        return 0;
    }

    /// Inserts @p obj after the oldest entry, here and in the linked lists. Moves no cursor. @return 0
    int insertBack(T* obj)
    {
        cListNode<T>** end = &mHead;
        while (*end != nullptr) {
            end = &(*end)->mNext;
        }
        *end = new cListNode<T>{obj, nullptr};
        if (mLinkedList != nullptr) {
            mLinkedList->insertBack(obj);
        }
        return 0;
    }

    /// @return the newest object, null if the list is empty; the cursor is then after it
    T* first()
    {
        resetEnum();
        return getNext();
    }

    /// @return the object at the cursor, which moves on; null at the end, and the cursor returns to the newest
    T* getNext()
    {
        if (mCurrEnum == nullptr) {
            resetEnum();
            return nullptr;
        }
        T* const object = mCurrEnum->mObject;
        mCurrEnum = mCurrEnum->mNext;
        return object;
    }

    /// Puts the cursor on the newest entry.
    void resetEnum() { mCurrEnum = mHead; }

    /// Removes the newest entry that is @p obj, from this list only. A cursor on it moves to the next.
    /// @return 0, or -1 if there is none
    int remove(T* obj)
    {
        for (cListNode<T>** link = &mHead; *link != nullptr; link = &(*link)->mNext) {
            cListNode<T>* const node = *link;
            if (node->mObject == obj) {
                *link = node->mNext;
                move(node, node->mNext);
                delete node;
                return 0;
            }
        }
        return -1;
    }

    /// Repeats later insertions in @p other, which is borrowed. Links must not form a ring.
    void link(cEnumeratedList<T>* other) { mLinkedList = other; }
    void unlink() { mLinkedList = nullptr; }

    /// Saves the cursor, for a walk within a walk.
    void set_point() { mRestPoint = mCurrEnum; }
    /// Restores the saved cursor. @return whether it is on an entry
    bool restore_point()
    {
        mCurrEnum = mRestPoint;
        return mCurrEnum != nullptr;
    }

    /// @return the number of entries, counted at each call
    size_t size() const
    {
        size_t count = 0;
        for (const cListNode<T>* node = mHead; node != nullptr; node = node->mNext) {
            ++count;
        }
        return count;
    }

    /// Removes all but the @p count newest entries from this list, and calls @p drop with each object removed.
    template <class Drop> void keepNewest(size_t count, Drop drop)
    {
        cListNode<T>** link = &mHead;
        for (; count > 0 && *link != nullptr; --count) {
            link = &(*link)->mNext;
        }
        cut(*link, drop);
    }

private:
    /// Moves the cursors that are on @p from.
    void move(const cListNode<T>* from, cListNode<T>* to)
    {
        mCurrEnum = mCurrEnum == from ? to : mCurrEnum;
        mRestPoint = mRestPoint == from ? to : mRestPoint;
    }

    /// Frees the cells from @p node on and sets it to null.
    template <class Drop> void cut(cListNode<T>*& node, Drop drop)
    {
        while (node != nullptr) {
            cListNode<T>* const cell = node;
            node = cell->mNext;
            move(cell, nullptr);
            drop(cell->mObject);
            delete cell;
        }
    }

    cListNode<T>* mHead;             ///< the newest entry
    cListNode<T>* mCurrEnum;         ///< what getNext returns next; null after the oldest
    cEnumeratedList<T>* mLinkedList; ///< borrowed; repeats every insertion; may be null
    cListNode<T>* mRestPoint;        ///< what set_point saved
};

#endif
