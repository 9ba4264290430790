// The mobile equipment: the modem's settings and contents, and its commands.
#pragma once

#include "modem/AtParser.h"
#include "modem/SimCard.h"
#include "modem/SmsStorage.h"

#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace modemsim {

/// Codes of "+CMS ERROR: ", 3GPP TS 27.005 clause 3.2.5.
enum Cms {
    kCmsNoSim = 310,
    kCmsPinRequired = 311,
    kCmsPhonePinRequired = 312,
    kCmsSimFailure = 313,
    kCmsPukRequired = 316,
    kCmsNotSupported = 303,
    kCmsBadPduParameter = 304,
    kCmsBadTextParameter = 305,
    kCmsBadIndex = 321,
    kCmsNoNetwork = 331
};

/// The answer to a command: information lines, then the final result.
struct Reply {
    enum Final { Ok, Error, CmeError, CmsError, Prompt } final = Ok;
    int code = 0; ///< of CmeError and CmsError
    std::vector<std::string> lines;

    static Reply ok(std::vector<std::string> lines = {}) { return {Ok, 0, std::move(lines)}; }
    static Reply error() { return {Error, 0, {}}; }
    static Reply cme(int code) { return code == kDone ? ok() : Reply{CmeError, code, {}}; }
    static Reply cms(int code) { return {CmsError, code, {}}; }
};

/// The settings that a power cycle resets.
struct Settings {
    bool echo = false;
    bool words = true; ///< ATV1: result codes as words
    ErrorMode errorMode = ErrorMode::Plain;
    bool textMode = false; ///< AT+CMGF=1
    bool reports = true;   ///< AT+CNMI with mt 1
    bool simReports = false;
    std::string characterSet = "IRA";
};

/// Threads: the owner's lock guards it.
struct Equipment {
    explicit Equipment(const Options& given) : options(given), sim(given), storage(given.places) { powerUp(); }

    void powerUp();
    void followSim(); ///< begins to register with the network once the SIM is ready
    bool registered() const;
    /// Stores an arriving message. @return its place; 0 if the network keeps it until a place is free
    int receive(StoredSms message);
    /// Moves messages that the network keeps into free places.
    void receiveHeld();

    /// Runs the commands of a line, up to the first that fails.
    Reply execute(const std::string& body);
    /// Completes AT+CMGS with its text.
    Reply sendText(const std::string& text);

    Options options; ///< at first as given; scripts change it
    SimCard sim;
    SmsStorage storage;
    Settings settings;
    bool reportsWanted = true; ///< settings.reports at power-up
    Clock::time_point readySince{};
    bool wasReady = false;
    std::deque<StoredSms> held; ///< by the network, oldest first
    std::string timeStamp;      ///< of every message; empty: the time of day
    std::string destination;    ///< of the AT+CMGS under way
    int messageReference = 0;
    std::vector<SentSms> sent;
    std::map<std::string, std::pair<std::string, milliseconds>> ussdAnswers;
    /// Sends an unsolicited line after a time; set by the owner.
    std::function<void(milliseconds, const std::string&)> say;
};

/// One row of the command table.
struct CommandRow {
    enum Needs { Nothing, UnlockedSim, SmsService };
    const char* name;
    AtCall::Form form;
    Needs needs; ///< if they are not met, the SIM's reason is reported as +CME ERROR or, for SmsService, as +CMS ERROR
    Reply (*run)(Equipment&, const AtCall&);
};

// The commands, by subject: GeneralCommands.cpp, SimCommands.cpp, SmsCommands.cpp.
Reply acknowledge(Equipment&, const AtCall&);
Reply resetSettings(Equipment&, const AtCall&);
Reply setEcho(Equipment&, const AtCall&);
Reply setResultWords(Equipment&, const AtCall&);
Reply identify(Equipment&, const AtCall&);
Reply setErrorMode(Equipment&, const AtCall&);
Reply readErrorMode(Equipment&, const AtCall&);
Reply setSpeed(Equipment&, const AtCall&);
Reply readSpeed(Equipment&, const AtCall&);
Reply readSignal(Equipment&, const AtCall&);
Reply readOperator(Equipment&, const AtCall&);
Reply listOperators(Equipment&, const AtCall&);
Reply readRegistration(Equipment&, const AtCall&);
Reply setCharacterSet(Equipment&, const AtCall&);
Reply readCharacterSet(Equipment&, const AtCall&);
Reply listCharacterSets(Equipment&, const AtCall&);
Reply requestUssd(Equipment&, const AtCall&);

Reply readPinState(Equipment&, const AtCall&);
Reply enterCode(Equipment&, const AtCall&);
Reply readSimPresence(Equipment&, const AtCall&);
Reply setSimReports(Equipment&, const AtCall&);

Reply setTextMode(Equipment&, const AtCall&);
Reply readTextMode(Equipment&, const AtCall&);
Reply setReports(Equipment&, const AtCall&);
Reply readStorageUse(Equipment&, const AtCall&);
Reply setStorage(Equipment&, const AtCall&);
Reply listMessages(Equipment&, const AtCall&);
Reply readMessage(Equipment&, const AtCall&);
Reply deleteMessage(Equipment&, const AtCall&);
Reply startSending(Equipment&, const AtCall&);

int cmsOf(int cme);            ///< the "+CMS ERROR: " code for a "+CME ERROR: " code
const char* cmeText(int code); ///< the text for AT+CMEE=2
const char* cmsText(int code);
std::string ucs2Hex(const std::string& utf8); ///< UTF-16BE in hexadecimal digits
std::string timeStampNow();                   ///< UTC, "yy/MM/dd,hh:mm:ss+00"

} // namespace modemsim
