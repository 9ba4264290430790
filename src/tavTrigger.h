/// One node of a trigger tree, or one action, of the I/O pair file.
#ifndef TAVTRIGGER_H
#define TAVTRIGGER_H

#include "WList.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>

class cObjectPort;

/// A composite (an operation over a list of children), a leaf (an input port) or an action (an output port or an alarm
/// SMS). After the reader has built it, only the remembered port and the lists' cursors change.
/// Threads: no lock; the evaluation mutex guards it.
class tavTrigger {
public:
    enum eOperation { INVERSE = 0, OR = 1, AND = 2 };

    static constexpr size_t kLabelBytes = 32;  ///< a label with its terminator
    static constexpr uint8_t kTypeGsm = 9;     ///< device type of an alarm SMS
    static constexpr uint8_t kTypeNone = 0xff; ///< no device type, or an unknown one

    /// An OR without label, type or children, not inverted.
    tavTrigger() : mOperation(OR), mLabel(), mType(kTypeNone), mInvert(false), mTriggerLst(nullptr) {}
    /// Deletes the list and, recursively, the children.
    virtual ~tavTrigger();
    tavTrigger(const tavTrigger&) = delete;
    tavTrigger& operator=(const tavTrigger&) = delete;

    /// @return the port label, at most 31 bytes; empty for a composite
    const char* getLabel() const { return mLabel; }
    /// Copies the first 31 bytes of @p lbl.
    void setLabel(const char* lbl) { std::snprintf(mLabel, sizeof mLabel, "%s", lbl); }
    /// @return 0 IO, 1 AC, 2 ANALOG, 3 ANALOG_IO, 9 GSM, 255 none
    uint8_t getType() const { return mType; }
    void setType(uint8_t t) { mType = t; }
    /// @return the children (tavTrigger*), owned by this node; null for a leaf and an action
    WList* getTriggerLst() const { return mTriggerLst; }
    /// Takes ownership of @p p and the tavTriggers in it; deletes the old list and its children.
    void setTriggerLst(WList* p);
    eOperation getOperation() const { return mOperation; }
    void setOperation(eOperation op) { mOperation = op; }
    /// @return whether the input is read inverted
    bool getInvert() const { return mInvert; }
    void setInvert(bool invert) { mInvert = invert; }
    /// Whether the port is remembered from a look-up in the PortIndex with this number; false for 0.
    bool remembersPort(uint64_t list) const { return list != 0 && list == mPortsNumber; }
    /// @return the remembered port, borrowed; null if that look-up found none
    cObjectPort* getPort() const { return mPort; }
    void rememberPort(uint64_t list, cObjectPort* port)
    {
        mPortsNumber = list;
        mPort = port;
    }
    /// Prints the node and its children to standard output; moves the lists' cursors.
    void show();

private:
    eOperation mOperation;
    char mLabel[kLabelBytes];
    uint8_t mType;
    bool mInvert;
    WList* mTriggerLst;
    uint64_t mPortsNumber = 0;
    cObjectPort* mPort = nullptr;
};

#endif
