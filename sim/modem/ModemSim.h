// A GSM modem on a pseudo terminal.
#pragma once

#include "modem/ModemTypes.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

/// A GSM modem on a pseudo terminal that behaves as 3GPP TS 27.005 and 27.007 and common modems do, for tests and
/// benches. It starts working when constructed and stops when destroyed; whoever opens path() talks to it. Threads:
/// every method may be called by any thread at any time; one thread of its own serves the terminal. Lock:    one, of
/// its own, never held while an observer or a condition of the caller runs. Units:   real milliseconds; places count
/// from 1; texts are bytes, no character set is converted but by smsUnicode(). Errors:  the constructor throws
/// std::system_error when no terminal or link can be made; nothing else throws.
class ModemSim {
public:
    using Options = modemsim::Options;
    using Reaction = modemsim::Reaction;
    using SmsStatus = modemsim::SmsStatus;
    using StoredSms = modemsim::StoredSms;
    using SentSms = modemsim::SentSms;
    using TrafficLine = modemsim::TrafficLine;
    using SimState = modemsim::SimState;
    using milliseconds = modemsim::milliseconds;
    static constexpr int kForEver = modemsim::kForEver;
    static constexpr milliseconds kPatience{30000}; ///< the usual deadline of a wait

    explicit ModemSim(Options options = {});
    ~ModemSim();
    ModemSim(const ModemSim&) = delete;
    ModemSim& operator=(const ModemSim&) = delete;

    /// The terminal to open: the link where one was asked for, else the device.
    std::string path() const;
    /// The device itself, such as "/dev/pts/7"; another one after plugIn().
    std::string device() const;

    // ---- what comes from the network ----

    /// An SMS arrives: stored unread in the lowest free place and reported with "+CMTI: ". With no free place the
    /// network keeps it until one is free. Returns the place, 0 when the network keeps it.
    int sms(const std::string& number, const std::string& text);
    /// The same for a text (UTF-8) that its sender's telephone sent as Unicode: it is listed as hexadecimal UCS2.
    int smsUnicode(const std::string& number, const std::string& utf8);
    /// The network says something: "+CUSD: 0,\"text\",15".
    void ussd(const std::string& text);
    /// What the network answers (after @p after) to AT+CUSD=1,"code"; without one it answers nothing.
    void answerUssd(const std::string& code, const std::string& text, milliseconds after = milliseconds(0));
    void setSignal(int signal, int errorRate);
    /// Another operator at once; empty: the network is lost.
    void setOperator(const std::string& name);
    /// Gives every later message this time stamp ("yy/MM/dd,hh:mm:ss+zz") instead of the time of day; empty: time of
    /// day.
    void setTimeStamp(const std::string& stamp);

    // ---- the SIM ----

    /// Puts a message into its place without a word, over one that was there. Returns false when there is no such
    /// place.
    bool store(const StoredSms& message);
    std::vector<StoredSms> stored() const; ///< in order of places
    /// Takes the SIM out or puts it back (locked again, its tries as they were).
    void setSimInserted(bool inserted);
    /// Another SIM, of the same make, with this PIN (empty: it asks for none), locked, with all its tries.
    void exchangeSim(const std::string& pin);
    SimState simState() const;
    /// Forces a state, such as NeedsPuk or PhonePin (which no code unlocks).
    void setSimState(SimState state);
    int pinTriesLeft() const;
    int pukTriesLeft() const;
    int pinEntries() const;  ///< times that a PIN was given to the SIM or to the modem, right, wrong or out of place
    int pukEntries() const;  ///< the same for a PUK with a new PIN
    std::string pin() const; ///< the SIM's PIN now: the PUK sets a new one

    /// What a person with an eye on it would see, of one moment.
    struct Status {
        bool powered, pluggedIn, inUse, silent, registered;
        SimState sim;
        int pinTries, pukTries;
        int signal, errorRate; ///< as AT+CSQ says them
        std::string operatorName;
        milliseconds delay; ///< before each reply
        int places;         ///< of the SIM
        std::vector<StoredSms> stored;
        std::size_t held; ///< SMS that the network keeps until a place is free
    };
    Status status() const;

    // ---- power ----

    /// The level of the power key's line; a pulse counts when the line goes low again.
    void setPowerKey(bool high);
    /// One whole pulse of @p length, without waiting.
    void pulsePower(milliseconds length = milliseconds(1500));
    /// Switches it on or off, whatever the key says. Off, it is deaf and mute; the SIM locks again, settings are lost.
    void setPower(bool on);
    bool isPowered() const; ///< true from the moment it was switched on, booted or not
    int powerPulses() const;

    // ---- faults and manners ----

    /// The next @p times (kForEver: always) that a command line begins with @p prefix (as it was sent: case counts), it
    /// reacts so. Several for one line are used up in the order they were given.
    void react(const std::string& prefix, Reaction reaction, int times = 1);
    /// The same for an SMS text ended with Ctrl-Z, by the beginning of its destination number; "" is any.
    void reactToText(const std::string& number, Reaction reaction, int times = 1);
    void clearReactions();
    /// Silent, it hears and obeys, but nothing leaves it; what it would have said is lost.
    void setSilent(bool silent);
    void setDelay(milliseconds delay);
    void setChunk(std::size_t bytes, milliseconds pause = milliseconds(2));
    void setEcho(bool on);
    void setLineEnd(const std::string& end);   ///< "\r\n"; some modems double the carriage return
    void setPrompt(const std::string& prompt); ///< "> "; some modems leave the blank out
    void setErrorMode(modemsim::ErrorMode mode);
    void setReports(bool on); ///< whether an arriving SMS is reported with "+CMTI: "
    /// Bytes typed outside a prompt and ended with Ctrl-Z or ESC: forgotten (false, at first) or the start of the next
    /// line.
    void setKeepsStrayText(bool keeps);
    void sendLine(const std::string& line); ///< unasked, between line ends
    void sendRaw(const std::string& bytes); ///< unasked, as they stand
    /// The terminal goes away as an unplugged modem does: its users read end of file, writes fail, a link stays
    /// dangling.
    void hangUp();
    /// What was written at either end of the terminal has come to the other when this returns.
    void flush();
    /// A new terminal after hangUp(), the link points to it; users must open it again. Powered as it was.
    void plugIn();

    // ---- what happened ----

    std::vector<SentSms> sent() const;
    std::size_t sentCount() const;
    /// Every line in both directions since the start, oldest first; the newest 100,000 are kept.
    std::vector<TrafficLine> traffic() const;
    /// Command lines (and SMS texts) that begin with @p prefix.
    std::size_t count(const std::string& prefix) const;
    std::vector<std::string> commands() const; ///< every line and SMS text that came, oldest first
    /// The traffic for reading: seconds since the start, "<" from the modem, ">" to it, control characters visible.
    std::string transcript() const;
    void clearRecord(); ///< forgets traffic and sent messages; counters of PIN, PUK and pulses stay

    // ---- waiting: each returns false when the deadline passed ----

    bool waitForSent(std::size_t messages, milliseconds patience = kPatience) const;
    /// A sent message with this number and text.
    bool waitForSent(const std::string& number, const std::string& text, milliseconds patience = kPatience) const;
    bool waitForCommand(const std::string& prefix, std::size_t times = 1, milliseconds patience = kPatience) const;
    bool waitForEmptyStorage(milliseconds patience = kPatience) const;
    bool waitForClient(milliseconds patience = kPatience) const; ///< somebody has the terminal open
    /// Until @p condition holds; it is asked again after everything that happens here, on the caller's thread.
    bool waitUntil(const std::function<bool()>& condition, milliseconds patience = kPatience) const;

    /// Called for every line of traffic and every sent message, on the simulator's thread, without a lock. Set before
    /// use.
    void observe(std::function<void(const TrafficLine&)> traffic, std::function<void(const SentSms&)> sent = nullptr);

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};
