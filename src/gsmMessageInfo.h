/// One record of the GSM message file: a port label, its SMS text and its telephone numbers.
#ifndef GSMMESSAGEINFO_H
#define GSMMESSAGEINFO_H

#include "cWlog.h"

#include <cstddef>
#include <cstdint>

/// Texts are bytes, compared without conversion.
/// Threads: no lock. The reader fills it; afterwards only the GSM handler thread changes it, with set_state.
class cgsmMessageInfo : public cWlog {
public:
    static constexpr int kNumbers = 10;          ///< telephone numbers in a record
    static constexpr size_t kNumberBytes = 11;   ///< a number with its terminator
    static constexpr size_t kMessageBytes = 160; ///< a message with its terminator
    static constexpr size_t kLabelBytes = 32;    ///< a label with its terminator
    static constexpr uint8_t kStateNone = 255;   ///< no command yet

    /// Empty texts, no number, no state.
    cgsmMessageInfo();
    virtual ~cgsmMessageInfo();

    /// Copies the first 159 bytes of @p message.
    void set_message(const char* message);
    /// Copies the first 31 bytes of @p label.
    void set_label(const char* label);
    /// Adds a number. From the eleventh on they are ignored. So is a number of more than 10 characters: cut, it would
    /// be a stranger's.
    void add_number(const char* number);
    /// @param val  0 to 10, at most the numbers added
    void set_numCount(int val);
    /// @param val  1 on, 0 off
    void set_state(uint8_t val);

    /// The record owns all texts.
    char* get_message();
    char* get_label();
    int get_numCount();
    /// @param value  0 to get_numCount() - 1; not checked
    char* get_numList(int value);
    /// @return 1 on, 0 off, kStateNone before the first command
    uint8_t get_state();

private:
    char mMessage[kMessageBytes];
    char mNumList[kNumbers][kNumberBytes];
    int mNumCount;
    char mLabel[kLabelBytes];
    uint8_t mState;
};

#endif
