/// One pair of the I/O pair file: a trigger tree and the action that it drives.
#ifndef TAVCONNECTION_H
#define TAVCONNECTION_H

#include "tavTrigger.h"

/// Owns its trigger tree and its action. Connections from the reader have both.
/// Threads: no lock, as for tavTrigger.
class tavConnection {
public:
    tavConnection() : mTrigger(nullptr), mAction(nullptr) {}
    virtual ~tavConnection();
    tavConnection(const tavConnection&) = delete;
    tavConnection& operator=(const tavConnection&) = delete;

    /// @return the root of the trigger tree, or null; owned by the connection
    tavTrigger* getTrigger() const { return mTrigger; }
    /// Takes ownership of @p p and deletes the old trigger.
    void setTrigger(tavTrigger* p);
    /// @return the action, or null; owned by the connection
    tavTrigger* getAction() const { return mAction; }
    /// Takes ownership of @p p and deletes the old action.
    void setAction(tavTrigger* p);
    /// Prints the connection to standard output; moves the lists' cursors.
    void show();

private:
    tavTrigger* mTrigger;
    tavTrigger* mAction;
};

#endif
