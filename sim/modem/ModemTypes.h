// Types for scripts of the simulated modem: options, messages, records, faults.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

namespace modemsim {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

/// Status of a stored message, as in the text mode of 3GPP TS 27.005.
enum class SmsStatus { RecUnread, RecRead, StoUnsent, StoSent };

/// A message that is stored on the SIM.
struct StoredSms {
    int place = 0; ///< storage place, from 1
    SmsStatus status = SmsStatus::RecUnread;
    std::string number;    ///< sender or destination, without quotes
    std::string text;      ///< listed byte for byte
    std::string timeStamp; ///< "yy/MM/dd,hh:mm:ss+zz"; empty for none
};

/// A message that the modem's user has sent with AT+CMGS, Ctrl-Z.
struct SentSms {
    std::string number;
    std::string text; ///< without the Ctrl-Z
    Clock::time_point time;
};

/// One line of traffic, without its line end. Control characters are kept.
struct TrafficLine {
    enum Direction { ToModem, FromModem };
    Direction direction;
    std::string text; ///< an SMS text from the prompt ends in the byte 26 (sent) or 27 (cancelled)
    Clock::time_point time;
};

/// The state of the SIM. The words of AT+CPIN? are in SimCard.cpp.
enum class SimState { Absent, Ready, NeedsPin, NeedsPuk, PhonePin, PhonePuk, Blocked };

/// The format of errors: AT+CMEE in 3GPP TS 27.007.
enum class ErrorMode { Plain = 0, Numeric = 1, Verbose = 2 };

/// The properties of the modem, its SIM, its network and its wiring. All times are real time.
struct Options {
    std::string link; ///< symbolic link to the terminal, replaced atomically, removed at the end; empty: none

    std::string pin; ///< 4 to 8 digits; empty: the SIM asks for none
    std::string puk = "12345678";
    int pinTries = 3;
    int pukTries = 10;
    bool simInserted = true;
    int places = 20; ///< storage places of the SIM

    bool echo = false; ///< ATE1 after power-up
    ErrorMode errorMode = ErrorMode::Plain;
    std::vector<std::string> identity = {"TAV-SIM GSM 1.0"}; ///< the lines of ATI
    std::string operatorName = "TAV NET";                    ///< empty: no network is found
    int signal = 20;                                         ///< AT+CSQ: 0 to 31, 99 unknown
    int errorRate = 0;                                       ///< AT+CSQ: 0 to 7, 99 unknown
    milliseconds registrationTime{0};                        ///< from the unlocked SIM to the network
    milliseconds sendTime{0};                                ///< from Ctrl-Z to the network's acknowledgement
    std::size_t longestText = 160;                           ///< a longer text is refused with +CMS ERROR: 305

    milliseconds delay{0};      ///< before each reply
    std::size_t chunk = 0;      ///< bytes per write; 0 for whole replies
    milliseconds chunkPause{2}; ///< between two chunks

    bool powered = true;                ///< on at the start
    int pulsesToStart = 1;              ///< pulses of the power key that switch it on; one pulse switches it off
    bool keyTurnsOff = true;            ///< false: a pulse has no effect on a running modem
    milliseconds shortestPulse{0};      ///< a shorter pulse has no effect
    milliseconds bootTime{0};           ///< silence after switching on
    std::vector<std::string> bootLines; ///< sent after booting, such as "RDY"
};

/// One deviation from the usual reply; see ModemSim::react. Made by the functions below.
struct Reaction {
    struct Part {
        milliseconds delay; ///< silence before these bytes
        std::string bytes;
    };
    bool replaced = false;      ///< the pieces replace the usual reply; without pieces there is none
    std::vector<Part> pieces;   ///< sent when replaced
    milliseconds delay{0};      ///< silence before the usual reply
    milliseconds finalDelay{0}; ///< silence between its information text and its final result
    bool carriedOut = true;     ///< whether the command takes effect

    static Reaction parts(std::vector<Part> pieces) { return {true, std::move(pieces), {}, {}, false}; }
    static Reaction silence() { return parts({}); }
    static Reaction bytes(std::string raw) { return parts({{milliseconds(0), std::move(raw)}}); }
    static Reaction line(const std::string& text) { return bytes("\r\n" + text + "\r\n"); } ///< such as "ERROR"
    static Reaction late(milliseconds by) { return {false, {}, by, {}, true}; }
    static Reaction lateFinal(milliseconds by) { return {false, {}, {}, by, true}; }
    /// The command takes effect, but its reply is lost.
    static Reaction unheard() { return {true, {}, {}, {}, true}; }
};

constexpr int kForEver = -1; ///< as a number of times: no limit

std::string visible(const std::string& text); ///< control characters as \xNN

} // namespace modemsim
