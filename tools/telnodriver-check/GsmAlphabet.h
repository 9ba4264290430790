// What becomes of a text on its way through an SMS.
#ifndef CHECK_GSM_ALPHABET_H
#define CHECK_GSM_ALPHABET_H

#include <string>

/// How the GSM 7 bit default alphabet with its extension table (3GPP TS 23.038) takes the characters of a text that
/// the daemon hands to the modem byte by byte, with the character set "GSM". Each is the first such character; empty if
/// there is none.
struct GsmVerdict {
    std::string lacking;   ///< a character that the alphabet does not have, with its number: "’ (U+2019)"
    std::string otherCode; ///< a character whose code there is not the byte in the file: another one is shown
};

/// @param text  UTF-8
GsmVerdict gsmVerdict(const std::string& text);

#endif
