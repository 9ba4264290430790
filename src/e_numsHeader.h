// The two status enumerations of the modem layer.
#ifndef E_NUMSHEADER_H
#define E_NUMSHEADER_H

/// Outcome of an AT command exchange.
namespace ErrStat {
enum eErrStat {
    UNKNOWN = 0, ///< no final result, or the command was refused and not written
    OK = 1,      ///< a line that begins with "OK" ended the exchange
    TIMEOUT = 2, ///< the modem was silent for the command's reply timeout
    WRONG = 3,   ///< never produced; reported as UNKNOWN
    MDMERR = 4   ///< a line that begins with "ERR" ended the exchange; "+CME ERROR: n" does not
};
}

/// What the SIM waits for, as "+CPIN: " reports it (3GPP TS 27.007).
namespace Pinstat {
enum ePinStat {
    READY = 0,      ///< nothing: "READY"
    SIM_PIN = 1,    ///< the SIM's PIN: "SIM PIN"
    SIM_PUK = 2,    ///< the SIM's PUK and a new PIN: "SIM PUK"
    PH_SIM_PIN = 3, ///< the telephone's own lock: "PH_SIM PIN"
    PH_SIM_PUK = 4, ///< its unlocking code: "PH_SIM PUK"
    UNKNOWN = 5     ///< no "+CPIN: " line was recognised
};
}

#endif
