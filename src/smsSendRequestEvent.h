/// The request to evaluate now, for the alarm SMS.
#ifndef SMSSENDREQUESTEVENT_H
#define SMSSENDREQUESTEVENT_H

/// Has no content: its presence in the queue is the message.
class smsSendRequestEvent {
public:
    smsSendRequestEvent() = default;
    virtual ~smsSendRequestEvent();
};

#endif
