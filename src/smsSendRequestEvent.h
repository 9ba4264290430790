/// The request to evaluate the alarm SMS now.
#ifndef SMSSENDREQUESTEVENT_H
#define SMSSENDREQUESTEVENT_H

/// Carries nothing: that it stands in the queue is the message.
class smsSendRequestEvent {
public:
    smsSendRequestEvent() = default;
    virtual ~smsSendRequestEvent();
};

#endif
