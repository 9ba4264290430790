/// One SMS from the modem's listing.
#ifndef SMS_H
#define SMS_H

/// Owns copies of its three texts, each null until set. For one thread at a time.
class Sms {
public:
    Sms() : m_Message(nullptr), m_Number(nullptr), m_id(nullptr), m_read(false) {}
    ~Sms();
    Sms(const Sms&) = delete;
    Sms& operator=(const Sms&) = delete;

    /// Sets all four; texts are copied.
    void initialise(const char* number, const char* message, const char* id, bool read);
    /// The sender, in double quotes as in the listing. Each setter copies its text and releases the old copy.
    void setNumber(const char* number);
    void setMessage(const char* message);
    /// The modem's storage place, as text.
    void setId(const char* id);
    /// Whether the modem listed the message as read, or the daemon has handled it.
    void setRead(bool read) { m_read = read; }

    /// The record owns the texts, until the setter is called again. Null if not set.
    const char* getMessage() const { return m_Message; }
    const char* getNumber() const { return m_Number; }
    const char* getId() const { return m_id; }
    bool getRead() const { return m_read; }

private:
    char* m_Message;
    char* m_Number;
    char* m_id;
    bool m_read;
};

#endif
