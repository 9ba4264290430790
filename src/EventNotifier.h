/// The listener to the GSM service's modem events and to the queue of SMS send requests.
#ifndef EVENTNOTIFIER_H
#define EVENTNOTIFIER_H

class ModemEvent;
class smsSendRequestEvent;

/// Called on the sender's dispatch thread, with no lock held; must not block for long. The event is borrowed for the
/// call. Each event is delivered at least once, and may be delivered again with later ones.
class EventNotifier {
public:
    EventNotifier() = default;
    /// A modem event (event_thread of Gsm).
    virtual void EventOccured(ModemEvent& event) = 0;
    /// A request to send alarm messages (event2_thread of cGsmQManager).
    virtual void EventOccured(smsSendRequestEvent& event) = 0;

protected:
    ~EventNotifier() = default; // listeners are never destroyed through this interface
};

#endif
