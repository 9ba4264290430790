// A GSM modem on a pseudo terminal.
#pragma once

#include "modem/ModemTypes.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

/// Behaves as 3GPP TS 27.005 and 27.007 say, and as common modems do. It runs from construction to destruction, and
/// talks to the program that opens path().
/// Threads: any thread may call any method. A thread of its own serves the terminal.
/// Lock:    its own, never held while an observer or a caller's condition runs.
/// Units:   real milliseconds. Places count from 1. Texts are bytes; only smsUnicode() converts them.
/// Errors:  the constructor throws std::system_error without a terminal or link. Nothing else throws.
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

    /// The path to open: the link if there is one, else the device.
    std::string path() const;
    /// The device itself, such as "/dev/pts/7"; another one after plugIn().
    std::string device() const;

    // ---- what comes from the network ----

    /// Receives an SMS: stores it unread in the lowest free place and reports it with "+CMTI: ". Without a free place,
    /// the network keeps it until there is one. @return the place; 0 if the network keeps it
    int sms(const std::string& number, const std::string& text);
    /// The same for a text (UTF-8) that was sent as Unicode: it is listed as hexadecimal UCS2.
    int smsUnicode(const std::string& number, const std::string& utf8);
    /// Reports a message of the network: "+CUSD: 0,\"text\",15".
    void ussd(const std::string& text);
    /// Sets the network's answer, @p after the command, to AT+CUSD=1,"code". Other codes get no answer.
    void answerUssd(const std::string& code, const std::string& text, milliseconds after = milliseconds(0));
    void setSignal(int signal, int errorRate);
    /// Changes the operator; empty: no network.
    void setOperator(const std::string& name);
    /// Sets the time stamp of later messages, "yy/MM/dd,hh:mm:ss+zz"; empty: the time of day.
    void setTimeStamp(const std::string& stamp);

    // ---- the SIM ----

    /// Puts a message into its place without a report, and replaces one there. @return false if there is no such place
    bool store(const StoredSms& message);
    std::vector<StoredSms> stored() const; ///< in order of places
    /// Takes the SIM out or puts it back (locked again, its tries as they were).
    void setSimInserted(bool inserted);
    /// Another SIM, of the same make, with this PIN (empty: it asks for none), locked, with all its tries.
    void exchangeSim(const std::string& pin);
    /// Forces a state, such as NeedsPuk or PhonePin (which no code unlocks).
    void setSimState(SimState state);
    int pinTriesLeft() const;
    int pukTriesLeft() const;
    int pinEntries() const;  ///< PINs that were entered, right or wrong, whether or not one was asked for
    int pukEntries() const;  ///< the same for a PUK with a new PIN
    std::string pin() const; ///< the SIM's PIN now: the PUK sets a new one

    /// The modem's visible state at one moment.
    struct Status {
        bool powered, pluggedIn, inUse, silent, registered;
        SimState sim;
        int pinTries, pukTries;
        int signal, errorRate; ///< as in AT+CSQ
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
    /// Whether bytes that end with Ctrl-Z or ESC outside a prompt begin the next line. False at first: they are
    /// dropped.
    void setKeepsStrayText(bool keeps);
    void sendLine(const std::string& line); ///< unasked, between line ends
    void sendRaw(const std::string& bytes); ///< unasked, as they stand
    /// Unplugs the modem: its users read end of file, their writes fail, and the link dangles.
    void hangUp();
    /// Returns when bytes written at either end of the terminal have reached the other.
    void flush();
    /// After hangUp(): makes a new terminal and points the link to it; users must open it again. Keeps its power.
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
    void clearRecord(); ///< forgets traffic and sent messages; counters of PIN and PUK stay

    // ---- waiting: each returns false after the deadline ----

    bool waitForSent(std::size_t messages, milliseconds patience = kPatience) const;
    /// A sent message with this number and text.
    bool waitForSent(const std::string& number, const std::string& text, milliseconds patience = kPatience) const;
    bool waitForCommand(const std::string& prefix, std::size_t times = 1, milliseconds patience = kPatience) const;
    bool waitForEmptyStorage(milliseconds patience = kPatience) const;
    bool waitForClient(milliseconds patience = kPatience) const; ///< somebody has the terminal open
    /// Waits until @p condition holds. It is called on the caller's thread after each event.
    bool waitUntil(const std::function<bool()>& condition, milliseconds patience = kPatience) const;

    /// Called for every line of traffic and every sent message, on the simulator's thread, without a lock. Set before
    /// use.
    void observe(std::function<void(const TrafficLine&)> traffic, std::function<void(const SentSms&)> sent = nullptr);

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};
