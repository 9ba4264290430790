// The AT commands: the base class, the splitter of reply fields and the fifteen commands.
#ifndef COMMAND_H
#define COMMAND_H

#include "e_numsHeader.h"
#include "enum_list.h"
#include "sms.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <mutex>
#include <string>

class Modem;

/// A row of the table of AT commands.
struct AtCommand {
    enum Others { Dropped, ToDefault };

    const char* text; ///< what is written; "%s" stands for the argument. CR is 13, LF 10, Ctrl-Z 26
    int silence;      ///< reply timeout, seconds
    Others others;    ///< what happens to reply lines that the class does not parse: ToDefault is Command::handleData
};

/// The commands of 3GPP TS 27.005 and 27.007, and AT+CSMINS?, which is specific to the modem. Any line ends the wait,
/// parsed or not.
namespace at {
// clang-format off
//        command          text                        silence  other lines              keeps, for
constexpr AtCommand Attention    {"AT\r",                    2, AtCommand::ToDefault}; // -
constexpr AtCommand MdmID        {"ATI\r",                   2, AtCommand::Dropped};   // last line, Modem::qMdmID
constexpr AtCommand SIMin        {"AT+CSMINS?\r",            4, AtCommand::ToDefault}; // SIM inserted, Modem::qSIMin
constexpr AtCommand PinStat      {"AT+CPIN?\r",              4, AtCommand::Dropped};   // state, Modem::qPinStat
constexpr AtCommand EnterPin     {"AT+CPIN=\"%s\"\r",        4, AtCommand::Dropped};   // -, Modem::iEnterPin
constexpr AtCommand EnterPuk     {"AT+CPIN=\"%s\"\r\n",      4, AtCommand::Dropped};   // -, Modem::iEnterPuk; puk","pin
constexpr AtCommand SignalStr    {"AT+CSQ\r",                2, AtCommand::ToDefault}; // figures, Modem::qSignalStr
constexpr AtCommand NetOperator  {"AT+COPS?\r",              6, AtCommand::ToDefault}; // operator, Modem::qNetOperator
constexpr AtCommand SMSTextMode  {"AT+CMGF=1\r",             2, AtCommand::Dropped};   // -, Modem::qSMSTextMode
constexpr AtCommand SetBaudRate  {"AT+IPR=115200\r",         2, AtCommand::Dropped};   // -, Modem::qSetBaudRate
constexpr AtCommand CharacterSet {"AT+CSCS=\"%s\"\r",        2, AtCommand::Dropped};   // -, Modem::qCharacterSet
constexpr AtCommand SMSNumber    {"AT+CMGS=\"%s\"\r",        2, AtCommand::Dropped};   // last line, Modem::iSendSMS, 1st
constexpr AtCommand ArbCmd       {"%s\x1a",                  6, AtCommand::Dropped};   // last line, Modem::iSendSMS, 2nd
constexpr AtCommand ReadSms      {"AT+CMGL=\"ALL\"\r",       6, AtCommand::ToDefault}; // the messages, Modem::qReadSMS
constexpr AtCommand DeleteSms    {"AT+CMGD=%s\r",            2, AtCommand::ToDefault}; // -, Modem::iDeleteSms
constexpr AtCommand UsdCmd       {"AT+CUSD=1,\"%s\"\r",      2, AtCommand::ToDefault}; // -, Modem::iSendUsd
// clang-format on

/// Of the table above, seconds.
constexpr int kLongestSilence =
    std::max({Attention.silence, MdmID.silence, SIMin.silence, PinStat.silence, EnterPin.silence, EnterPuk.silence,
              SignalStr.silence, NetOperator.silence, SMSTextMode.silence, SetBaudRate.silence, CharacterSet.silence,
              SMSNumber.silence, ArbCmd.silence, ReadSms.silence, DeleteSms.silence, UsdCmd.silence});
} // namespace at

/// One AT command and its exchange: the text to write, the reply timeout, the status, the meaning of reply lines.
/// Threads: the facade's caller makes and reads it. The receive thread calls parseData(), setTimeOut() and setDone(),
///          even after the exchange. It clears `busy` last: a thread that reads false sees status, values and event.
/// Lock:    m_lineLock, held while a line is handled and while the facade copies values. Order: m_lineLock, then the
///          GSM service's list lock.
/// Units:   the reply timeout is in whole seconds of silence.
/// Errors:  with an argument that is not allowed in its text, a command has an empty text, and why() gives the reason.
class Command {
public:
    /// @param mdm  borrowed; receives the events. Null drops them   @param row  of the table
    explicit Command(Modem* mdm, const AtCommand& row = at::Attention);
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;

    void setBusy();
    void setDone();
    void setTimeOut();
    bool isBusy();
    /// An ErrStat::eErrStat. It stays UNKNOWN if the exchange ended with a line that is no final result.
    int getErrStat();
    /// Whether the last final result was "OK". A later time-out does not change it.
    bool getIsOk();
    /// Handles one complete line, given without its line end.
    void parseData(unsigned char* buff);

    /// The whole text to write; owned by the command.
    virtual char* getATstring();
    /// Handles a line that is neither empty nor a final result. The base class turns the reports "+CMTI: " and
    /// "+CUSD: " into events.
    virtual void handleData(unsigned char* data);
    virtual int getTout();
    virtual ~Command() = default;

    /// Why the text is empty; null if the command can be run.
    const char* why() const { return m_why; }
    /// Drops reports from now on, because the facade goes away. Any thread.
    void detach();
    /// Hold it while copying values, so that no late line changes them.
    std::mutex& lineLock() { return m_lineLock; }

protected:
    std::atomic<bool> isOk;
    std::atomic<bool> busy;
    int tout;
    std::atomic<ErrStat::eErrStat> errStat;
    char smsNum[32]; ///< storage place from the last "+CMTI: " report
    Modem* m_mdm;    ///< guarded by m_lineLock

    /// Ends handleData(). A line that was not @p parsed is treated as the table says; the command is then done.
    void finish(bool parsed, unsigned char* data);
    /// Fills @p text, an ATstring, with the table's text and @p argument. If that is too long, or a character of
    /// @p argument is @p forbidden, leaves it empty and sets why().
    template <std::size_t Size>
    void fillText(char (&text)[Size], const char* argument, bool (*forbidden)(unsigned char))
    {
        fillText(text, Size, argument, forbidden);
    }
    /// Leaves @p text, an ATstring, empty and sets why().
    void refuse(char* text, const char* why);

private:
    const AtCommand& m_row;
    std::mutex m_lineLock;
    const char* m_why = nullptr;

    void raise(unsigned char* data);
    void fillText(char* text, std::size_t size, const char* argument, bool (*forbidden)(unsigned char));
};

/// Like findParameters(), with the number of @p slots in @p paramV.
bool splitParameters(const unsigned char* buff, char delimiter, int* paramC, char (*paramV)[256], std::size_t slots);

/// Splits @p buff at each @p delimiter into @p paramV; n delimiters make n + 1 fields. Spaces and quotes are kept.
/// Characters of a field beyond 255 are dropped, and so are fields without a slot. Slots without a field are empty.
/// @param paramC  number of slots filled   @return false, always
template <std::size_t Slots>
bool findParameters(const unsigned char* buff, char delimiter, int* paramC, char (&paramV)[Slots][256])
{
    return splitParameters(buff, delimiter, paramC, paramV, Slots);
}

// The fifteen commands, in the order of the table. A class without an ATstring writes the table's text.

class CmdMdmID : public Command {
public:
    explicit CmdMdmID(Modem* mdm);
    char* getATstring() override { return Command::getATstring(); }
    void handleData(unsigned char* data) override;
    int getTout() override { return tout; }
    ~CmdMdmID() override = default;
    virtual char* getID() { return id; }

private:
    char id[16]; ///< cut to 15 characters
};

class CmdSIMin : public Command {
public:
    explicit CmdSIMin(Modem* mdm);
    char* getATstring() override { return Command::getATstring(); }
    void handleData(unsigned char* data) override; ///< "+CSMINS: "; prints every line
    int getTout() override { return tout; }
    ~CmdSIMin() override = default;
    bool getIsIn() { return isIn; }

private:
    bool isIn;
};

class CmdPinStat : public Command {
public:
    explicit CmdPinStat(Modem* mdm);
    char* getATstring() override { return Command::getATstring(); }
    void handleData(unsigned char* data) override; ///< "+CPIN: "
    int getTout() override { return tout; }
    ~CmdPinStat() override = default;
    Pinstat::ePinStat getPinStat() { return pinStat; }

private:
    Pinstat::ePinStat pinStat;
};

class CmdEnterPin : public Command {
public:
    CmdEnterPin(Modem* mdm, char* pin); ///< at most 20 characters, no quote, no control character
    char* getATstring() override { return ATstring; }
    void handleData(unsigned char* data) override { finish(false, data); }
    int getTout() override { return tout; }
    ~CmdEnterPin() override = default;

private:
    char ATstring[32];
};

class CmdEnterPuk : public Command {
public:
    CmdEnterPuk(Modem* mdm, int puk, int newPin); ///< together at most 16 digits, not negative
    char* getATstring() override { return ATstring; }
    void handleData(unsigned char* data) override { finish(false, data); }
    int getTout() override { return tout; }
    ~CmdEnterPuk() override = default;

private:
    char ATstring[32];
};

class CmdSignalStr : public Command {
public:
    explicit CmdSignalStr(Modem* mdm);
    char* getATstring() override { return Command::getATstring(); }
    void handleData(unsigned char* data) override; ///< "+CSQ:"
    int getTout() override { return tout; }
    ~CmdSignalStr() override = default;
    float getRSSI() { return rssi; }
    float getBER() { return ber; }

private:
    float rssi; ///< dBm; 99 without a measurement
    float ber;  ///< as reported; 99 without a measurement
};

class CmdNetOperator : public Command {
public:
    explicit CmdNetOperator(Modem* mdm);
    char* getATstring() override { return Command::getATstring(); }
    void handleData(unsigned char* data) override; ///< "+COPS: "
    int getTout() override { return tout; }
    ~CmdNetOperator() override = default;
    virtual char* getNetOperator() { return netOperator; }

private:
    char netOperator[32]; ///< cut to 31 characters
};

class CmdSMSTextMode : public Command {
public:
    explicit CmdSMSTextMode(Modem* mdm);
    char* getATstring() override { return ATstring; }
    void handleData(unsigned char* data) override { finish(false, data); }
    int getTout() override { return tout; }
    ~CmdSMSTextMode() override = default;

private:
    char ATstring[32];
};

class CmdSetBaudRate : public Command {
public:
    explicit CmdSetBaudRate(Modem* mdm);
    char* getATstring() override { return ATstring; }
    void handleData(unsigned char* data) override { finish(false, data); }
    int getTout() override { return tout; }
    ~CmdSetBaudRate() override = default;

private:
    char ATstring[32];
};

class CmdCharacterSet : public Command {
public:
    CmdCharacterSet(Modem* mdm, char* charSet); ///< at most 20 characters, no quote, no control character
    char* getATstring() override { return ATstring; }
    void handleData(unsigned char* data) override { finish(false, data); }
    int getTout() override { return tout; }
    ~CmdCharacterSet() override = default;

private:
    char ATstring[32];
};

class CmdSMSNumber : public Command {
public:
    CmdSMSNumber(Modem* mdm, char* number); ///< at most 20 characters, no quote, no control character
    char* getATstring() override { return ATstring; }
    void handleData(unsigned char* data) override;
    int getTout() override { return tout; }
    ~CmdSMSNumber() override = default;

private:
    char ATstring[32];
    char response[16]; ///< cut to 15 characters
};

class CmdArbCmd : public Command {
public:
    /// At most 254 characters. Line feeds are allowed. Ctrl-Z and ESC are not, because they would end the text early;
    /// nor is a carriage return, which would end a command line if the modem refused the number and gave no prompt.
    CmdArbCmd(Modem* mdm, char* command);
    char* getATstring() override { return ATstring; }
    void handleData(unsigned char* data) override;
    int getTout() override { return tout; }
    ~CmdArbCmd() override = default;
    /// The last line, such as "+CMS ERROR: 305". Copy it under lineLock().
    const char* getLastLine() const { return response; }

private:
    char ATstring[256];
    char response[16]; ///< cut to 15 characters
};

class CmdReadSms : public Command {
public:
    explicit CmdReadSms(Modem* mdm);
    char* getATstring() override { return Command::getATstring(); }
    void handleData(unsigned char* data) override; ///< "+CMGL: " and the line after it
    int getTout() override { return tout; }
    ~CmdReadSms() override;
    /// The messages so far, newest first; null once handed over. The command never frees them.
    cEnumeratedList<Sms>* getSmsList() { return sms_list; }
    /// Gives list and records to the caller. Messages listed later are dropped. Call it under lineLock().
    cEnumeratedList<Sms>* handOverSmsList();

private:
    bool nextValNew;
    cEnumeratedList<Sms>* sms_list;
    Sms* sms_a;
    int m_listed; ///< messages in the list; at most 1000 are kept

    void startMessage(unsigned char* header);
    void endMessage(unsigned char* text);
};

class CmdDeleteSms : public Command {
public:
    CmdDeleteSms(Modem* mdm, int id);
    char* getATstring() override { return ATstring; }
    void handleData(unsigned char* data) override { finish(false, data); }
    int getTout() override { return tout; }
    ~CmdDeleteSms() override = default;

private:
    char ATstring[256];
    [[maybe_unused]] char response[16]; ///< stays empty
};

class CmdUsdCmd : public Command {
public:
    CmdUsdCmd(Modem* mdm, char* command); ///< at most 242 characters, no quote, no control character
    char* getATstring() override { return ATstring; }
    void handleData(unsigned char* data) override { finish(false, data); }
    int getTout() override { return tout; }
    ~CmdUsdCmd() override = default;
    virtual char* getResponse() { return response; }

private:
    char ATstring[256];
    char response[256]; ///< stays empty
};

#endif
