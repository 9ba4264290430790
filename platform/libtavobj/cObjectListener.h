#ifndef COBJECTLISTENER_H
#define COBJECTLISTENER_H

class cObjectList;

/// Receives the object server's messages, except answers to get().
class cObjectListener {
public:
    /// Called on the client's delivery thread, one message at a time, in order of arrival, with no lock held.
    /// @param rx_msg  the message; the client destroys it and its objects after the call
    virtual void handleObjectAction(cObjectList* rx_msg) = 0;
    virtual ~cObjectListener() = default;
};

#endif
