/// The listener to the GSM service's modem events and to the queue of SMS send requests.
#ifndef EVENTNOTIFIER_H
#define EVENTNOTIFIER_H

class ModemEvent;
class smsSendRequestEvent;

/// Called on the dispatch thread of the sender, with no lock held; must not block for long. The event is borrowed for
/// the call. Each event comes at least once, and again with every later one.
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
