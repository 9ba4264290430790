/// The daemon's typed list of object pointers, newest first, with one cursor and one saved cursor.
#ifndef ENUM_LIST_H
#define ENUM_LIST_H

#include <cstddef>

/// One cell of a cEnumeratedList.
template <class T> struct cListNode {
    T* mObject;          ///< not owned; may be null
    cListNode<T>* mNext; ///< towards the oldest entry, null at the end
};

/// Owns its cells, never its objects. An object may stand in it several times, and so may null, which ends a walk.
/// A walk: take first(); while it is not null, use it and take getNext().
/// Threads: no lock. Lists that two threads share are guarded by whoever shares them (see eventDispatch.h).
template <class T> class cEnumeratedList {
public:
    cEnumeratedList() : mHead(nullptr), mCurrEnum(nullptr), mLinkedList(nullptr), mRestPoint(nullptr) {}
    virtual ~cEnumeratedList()
    {
        cut(mHead, [](T*) {});
    }
    cEnumeratedList(const cEnumeratedList&) = delete;
    cEnumeratedList& operator=(const cEnumeratedList&) = delete;

    /// Puts @p obj in front, here and in the linked lists; moves no cursor. @return 0
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

    /// Puts @p obj behind the oldest entry, here and in the linked lists; moves no cursor. @return 0
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

    /// @return the newest object, with the cursor behind it; null when the list is empty
    T* first()
    {
        resetEnum();
        return getNext();
    }

    /// @return the object at the cursor, which moves on; null at the end, where the cursor goes back to the newest
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

    /// Takes the newest entry that is @p obj out of this list; a cursor that stood on it moves to the next.
    /// @return 0, or -1 when there is none
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

    /// Repeats later insertions in @p other, which is borrowed; links must not form a ring.
    void link(cEnumeratedList<T>* other) { mLinkedList = other; }
    void unlink() { mLinkedList = nullptr; }

    /// Saves the cursor, for a walk within a walk.
    void set_point() { mRestPoint = mCurrEnum; }
    /// Puts the saved cursor back. @return whether it stands on an entry
    bool restore_point()
    {
        mCurrEnum = mRestPoint;
        return mCurrEnum != nullptr;
    }

    /// @return the number of entries; counts them
    size_t size() const
    {
        size_t count = 0;
        for (const cListNode<T>* node = mHead; node != nullptr; node = node->mNext) {
            ++count;
        }
        return count;
    }

    /// Takes all but the @p count newest entries out of this list and calls @p drop with each of their objects.
    template <class Drop> void keepNewest(size_t count, Drop drop)
    {
        cListNode<T>** link = &mHead;
        for (; count > 0 && *link != nullptr; --count) {
            link = &(*link)->mNext;
        }
        cut(*link, drop);
    }

private:
    /// Moves the cursors that stand on @p from.
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
    cListNode<T>* mCurrEnum;         ///< what getNext returns next; null behind the last
    cEnumeratedList<T>* mLinkedList; ///< borrowed; takes part in every insertion, or null
    cListNode<T>* mRestPoint;        ///< what set_point saved
};

#endif
