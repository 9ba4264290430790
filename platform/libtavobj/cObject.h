// The object server's objects: ports, digital outputs and events.
#ifndef COBJECT_H
#define COBJECT_H

#include <cstdint>
#include <string>

/// Any object of the server. A plain value: no lock, one thread at a time.
class cObject {
public:
    enum eObjectTypes {
        OBJ_DEVICE = 0,
        OBJ_PORT = 1,
        OBJ_PORT_DIN = 2,
        OBJ_PORT_DOUT = 3,
        OBJ_PORT_AIN = 4,
        OBJ_EVENT = 5,
        OBJ_MSG_INFO = 6,
        OBJ_SITE_CFG = 7,
        OBJ_TREND_EVENT = 8,
        OBJ_ANALOG_SAMPLE = 9,
        OBJ_ACCESS = 10,
        OBJ_PORT_AOUT = 11,
        OBJ_CAPABILITY = 12,
        OBJ_ADHOC_EVENT = 13,
        OBJ_NUM_OBJECT_TYPES = 14
    };
    enum eObjectStatus {
        OBJ_STATUS_ALARM_UNKNOWN = 0,
        OBJ_STATUS_ALARM_SET = 1,
        OBJ_STATUS_ALARM_CLEAR = 2,
        OBJ_STATUS_ALARM_WARN = 3
    };
    enum eObjectIOState { OBJ_IO_STATE_UNKNOWN = 0, OBJ_IO_STATE_SET = 1, OBJ_IO_STATE_CLEAR = 2 };

    explicit cObject(eObjectTypes type) : mType(type) {}
    virtual ~cObject() = default;

    /// @return a copy of the same type, owned by the caller
    virtual cObject* copy() const { return new cObject(*this); }
    eObjectTypes getType() const { return mType; }

protected:
    cObject(const cObject&) = default;
    cObject& operator=(const cObject&) = default;

private:
    eObjectTypes mType;
};

/// A port of a device. In a request, only its label is set.
class cObjectPort : public cObject {
public:
    enum ePortLastToggled {
        PORT_TOGGLED_UNKNOWN = 0,
        PORT_TOGGLED_NONE = 1,
        PORT_TOGGLED_WEBSITE = 2,
        PORT_TOGGLED_CCD = 3,
        PORT_TOGGLED_IODRIVER = 4
    };

    explicit cObjectPort(eObjectTypes type = OBJ_PORT) : cObject(type) {}
    cObjectPort* copy() const override { return new cObjectPort(*this); }

    uint32_t getDeviceSerial() const { return mDeviceSerial; }
    void setDeviceSerial(uint32_t serial) { mDeviceSerial = serial; }
    int getPortId() const { return mPortId; }
    void setPortId(int id) { mPortId = id; }
    /// The kind of port, with the same codes as cObjectEvent::getObjectType.
    int getPortType() const { return mPortType; }
    void setPortType(int type) { mPortType = type; }
    /// Never null. Valid until the label is set again.
    const char* getPortLabel() const { return mLabel.c_str(); }
    void setPortLabel(const char* label) { mLabel = label; }
    eObjectStatus getPortStatus() const { return mStatus; }
    void setPortStatus(eObjectStatus status) { mStatus = status; }
    ePortLastToggled getPortToggled() const { return mToggled; }
    void setPortToggled(ePortLastToggled by) { mToggled = by; }

private:
    std::string mLabel;
    uint32_t mDeviceSerial = 0;
    int mPortId = 0;
    int mPortType = 0;
    eObjectStatus mStatus = OBJ_STATUS_ALARM_UNKNOWN;
    ePortLastToggled mToggled = PORT_TOGGLED_UNKNOWN;
};

/// A digital output.
class cObjectDOutput : public cObjectPort {
public:
    cObjectDOutput() : cObjectPort(OBJ_PORT_DOUT) {}
    cObjectDOutput* copy() const override { return new cObjectDOutput(*this); }

    eObjectIOState getDefaultState() const { return mDefaultState; }
    void setDefaultState(eObjectIOState state) { mDefaultState = state; }
    eObjectIOState getOutputState() const { return mOutputState; }
    void setOutputState(eObjectIOState state) { mOutputState = state; }

private:
    eObjectIOState mDefaultState = OBJ_IO_STATE_UNKNOWN;
    eObjectIOState mOutputState = OBJ_IO_STATE_UNKNOWN;
};

/// An event at the server. EVENT_PORT tells a port's new alarm status.
class cObjectEvent : public cObject {
public:
    enum eEventType { EVENT_NONE = 0, EVENT_DEVICE = 1, EVENT_PORT = 2, EVENT_SITE = 3, EVENT_PORT_ANALOG = 4 };

    cObjectEvent() : cObject(OBJ_EVENT) {}
    cObjectEvent* copy() const override { return new cObjectEvent(*this); }

    eEventType getEventType() const { return mEventType; }
    void setEventType(eEventType type) { mEventType = type; }
    uint32_t getDeviceSerial() const { return mDeviceSerial; }
    void setDeviceSerial(uint32_t serial) { mDeviceSerial = serial; }
    int getPortId() const { return mPortId; }
    void setPortId(int id) { mPortId = id; }
    int getObjectType() const { return mObjectType; }
    void setObjectType(int type) { mObjectType = type; }
    eObjectStatus getStatus() const { return mStatus; }
    void setStatus(eObjectStatus status) { mStatus = status; }

private:
    eEventType mEventType = EVENT_NONE;
    uint32_t mDeviceSerial = 0;
    int mPortId = 0;
    int mObjectType = 0;
    eObjectStatus mStatus = OBJ_STATUS_ALARM_UNKNOWN;
};

#endif
