/// What the modem reports unasked.
#ifndef MODEMEVENT_H
#define MODEMEVENT_H

/// A report of the modem. Not polymorphic: destroyed with destroyModemEvent.
/// Threads: filled by one thread before it is handed on, only read afterwards.
class ModemEvent {
public:
    enum e_EventType { SMS = 0, USD = 1, CALL = 2, SIM = 3, NETWORK = 4, ERROR = 5 };

    /// Of no particular kind; the kinds below set their own.
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

    /// Keeps a copy of @p SmsId, the text of the storage place; releases an earlier one.
    void setSmsId(const char* SmsId);
    /// @return the copy, owned by the event; null until set
    char* getSmsId() const { return m_SmsId; }

private:
    char* m_SmsId;
};

/// An answer to a USSD code has come.
class USDEvent : public ModemEvent {
public:
    USDEvent();
    ~USDEvent();
    USDEvent(const USDEvent&) = delete;
    USDEvent& operator=(const USDEvent&) = delete;

    /// Keeps a copy of @p USDCode, the answer's text; releases an earlier one.
    void setUsdCode(const char* USDCode);
    /// @return the copy, owned by the event; null until set
    char* getUsdCode() const { return m_USDCode; }

private:
    char* m_USDCode;
};

/// Destroys a heap event as the kind that it is. Null is allowed.
void destroyModemEvent(ModemEvent* event);

#endif
