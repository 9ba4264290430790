/// The modem's unsolicited reports.
#ifndef MODEMEVENT_H
#define MODEMEVENT_H

/// A report of the modem. Not polymorphic: destroy it with destroyModemEvent.
/// Threads: one thread fills it and hands it on; after that it is only read.
class ModemEvent {
public:
    enum e_EventType { SMS = 0, USD = 1, CALL = 2, SIM = 3, NETWORK = 4, ERROR = 5 };

    /// The classes below set their own type.
    ModemEvent() : m_EventType(ERROR) {}
    e_EventType getEventType() const { return m_EventType; }

protected:
    e_EventType m_EventType;
};

/// The modem has stored a new SMS.
class SmsEvent : public ModemEvent {
public:
    SmsEvent();
    ~SmsEvent();
    SmsEvent(const SmsEvent&) = delete;
    SmsEvent& operator=(const SmsEvent&) = delete;

    /// Copies @p SmsId, the storage place as text, and releases the old copy.
    void setSmsId(const char* SmsId);
    /// @return the copy, owned by the event; null until set
    char* getSmsId() const { return m_SmsId; }

private:
    char* m_SmsId;
};

/// The network has answered a USSD code.
class USDEvent : public ModemEvent {
public:
    USDEvent();
    ~USDEvent();
    USDEvent(const USDEvent&) = delete;
    USDEvent& operator=(const USDEvent&) = delete;

    /// Copies @p USDCode, the answer's text, and releases the old copy.
    void setUsdCode(const char* USDCode);
    /// @return the copy, owned by the event; null until set
    char* getUsdCode() const { return m_USDCode; }

private:
    char* m_USDCode;
};

/// Deletes an event of any kind. Null is allowed.
void destroyModemEvent(ModemEvent* event);

#endif
