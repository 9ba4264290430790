// What a text becomes when it is sent as an SMS.
#ifndef CHECK_GSM_ALPHABET_H
#define CHECK_GSM_ALPHABET_H

#include <string>

/// The daemon sends the bytes of a text to the modem, with the character set "GSM": the 7 bit default alphabet and its
/// extension table (3GPP TS 23.038). Each field is the first such character of the text; empty if there is none.
struct GsmVerdict {
    std::string lacking;   ///< not in the alphabet, with its number: "’ (U+2019)"
    std::string otherCode; ///< its code is not the byte in the file, so it arrives as another character
};

/// @param text  UTF-8
GsmVerdict gsmVerdict(const std::string& text);

#endif
