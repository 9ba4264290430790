#ifndef COBJECTLISTENER_H
#define COBJECTLISTENER_H

class cObjectList;

/// Receives the messages that the object client does not need itself.
class cObjectListener {
public:
    /// Called on the client's delivery thread, one message at a time, in order of arrival, without a lock held.
    /// @param rx_msg the message; it and its objects stay the client's and are gone after the call
    virtual void handleObjectAction(cObjectList* rx_msg) = 0;
    virtual ~cObjectListener() = default;
};

#endif
