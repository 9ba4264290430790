/// One SMS as the modem lists it.
#ifndef SMS_H
#define SMS_H

/// Owns copies of its three texts, each null until set. Belongs to one thread at a time.
class Sms {
public:
    Sms() : m_Message(nullptr), m_Number(nullptr), m_id(nullptr), m_read(false) {}
    ~Sms();
    Sms(const Sms&) = delete;
    Sms& operator=(const Sms&) = delete;

    /// Copies the three texts and takes @p read.
    void initialise(const char* number, const char* message, const char* id, bool read);
    /// The sender, with the double quotes around it as in the listing. Each setter copies and releases what it had.
    void setNumber(const char* number);
    void setMessage(const char* message);
    /// The modem's storage place, as text.
    void setId(const char* id);
    /// Whether the modem listed the message as read, or it has been handled since.
    void setRead(bool read) { m_read = read; }

    /// Texts are owned by the record, valid until the next setter; null when not set.
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
