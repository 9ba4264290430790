// A maker's objects, with no more than the daemon needs.
#pragma once

#include <cstdint>
#include <string>

class cObject {
public:
    enum eObjectTypes {
        OBJ_DEVICE,
        OBJ_PORT,
        OBJ_PORT_DIN,
        OBJ_PORT_DOUT,
        OBJ_PORT_AIN,
        OBJ_EVENT,
        OBJ_MSG_INFO,
        OBJ_SITE_CFG,
        OBJ_TREND_EVENT,
        OBJ_ANALOG_SAMPLE,
        OBJ_ACCESS,
        OBJ_PORT_AOUT,
        OBJ_CAPABILITY,
        OBJ_ADHOC_EVENT,
        OBJ_NUM_OBJECT_TYPES
    };
    enum eObjectStatus {
        OBJ_STATUS_ALARM_UNKNOWN,
        OBJ_STATUS_ALARM_SET,
        OBJ_STATUS_ALARM_CLEAR,
        OBJ_STATUS_ALARM_WARN
    };
    enum eObjectIOState { OBJ_IO_STATE_UNKNOWN, OBJ_IO_STATE_SET, OBJ_IO_STATE_CLEAR };
    virtual cObject* duplicate() const = 0;
    virtual void destroy() = 0; // the maker's own way: there is no virtual destructor
    virtual eObjectTypes getType() const = 0;
};

class cObjectPort : public cObject {
public:
    enum ePortLastToggled {
        PORT_TOGGLED_UNKNOWN,
        PORT_TOGGLED_NONE,
        PORT_TOGGLED_WEBSITE,
        PORT_TOGGLED_CCD,
        PORT_TOGGLED_IODRIVER
    };
    cObject* duplicate() const override { return new cObjectPort(*this); }
    void destroy() override { delete this; }
    eObjectTypes getType() const override { return OBJ_PORT; }
    uint32_t getDeviceSerial() const { return 7; }
    int getPortId() const { return 1; }
    int getPortType() const { return 2; }
    const char* getPortLabel() const { return mLabel.c_str(); }
    void setPortLabel(const char* label) { mLabel = label; }
    eObjectStatus getPortStatus() const { return mStatus; }
    void setPortStatus(eObjectStatus status) { mStatus = status; }
    void setPortToggled(ePortLastToggled) {}

private:
    std::string mLabel;
    eObjectStatus mStatus = OBJ_STATUS_ALARM_UNKNOWN;
};

class cObjectDOutput : public cObjectPort {
public:
    cObject* duplicate() const override { return new cObjectDOutput(*this); }
    void destroy() override { delete this; }
    eObjectTypes getType() const override { return OBJ_PORT_DOUT; }
    eObjectIOState getDefaultState() const { return OBJ_IO_STATE_CLEAR; }
    eObjectIOState getOutputState() const { return mState; }
    void setOutputState(eObjectIOState state) { mState = state; }

private:
    eObjectIOState mState = OBJ_IO_STATE_UNKNOWN;
};

class cObjectEvent : public cObject {
public:
    enum eEventType { EVENT_NONE, EVENT_DEVICE, EVENT_PORT, EVENT_SITE, EVENT_PORT_ANALOG };
    cObject* duplicate() const override { return new cObjectEvent(*this); }
    void destroy() override { delete this; }
    eObjectTypes getType() const override { return OBJ_EVENT; }
    eEventType getEventType() const { return EVENT_PORT; }
    uint32_t getDeviceSerial() const { return 7; }
    int getPortId() const { return 1; }
    int getObjectType() const { return 2; }
    eObjectStatus getStatus() const { return OBJ_STATUS_ALARM_CLEAR; }
};
