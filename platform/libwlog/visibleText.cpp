#include "visibleText.h"

#include <cstring>

namespace {

/// Length of the printable UTF-8 character (RFC 3629) at @p text; 0 if there is none.
size_t printableLength(const unsigned char* text)
{
    const unsigned char lead = text[0];
    if (lead < 0x80) {
        return lead >= 0x20 && lead != 0x7f ? 1 : 0;
    }
    const size_t length = lead >= 0xc2 && lead <= 0xdf   ? 2
                          : lead >= 0xe0 && lead <= 0xef ? 3
                          : lead >= 0xf0 && lead <= 0xf4 ? 4
                                                         : 0;
    for (size_t i = 1; i < length; ++i) {
        if ((text[i] & 0xc0) != 0x80) { // also stops at the terminator
            return 0;
        }
    }
    const bool control = lead == 0xc2 && text[1] < 0xa0;
    const bool overlong = (lead == 0xe0 && text[1] < 0xa0) || (lead == 0xf0 && text[1] < 0x90);
    const bool outside = (lead == 0xed && text[1] >= 0xa0) || (lead == 0xf4 && text[1] >= 0x90);
    return control || overlong || outside ? 0 : length;
}

void appendEscape(std::string& line, unsigned char byte)
{
    static const char digits[] = "0123456789abcdef";
    switch (byte) {
    case '\n':
        line += "\\n";
        break;
    case '\r':
        line += "\\r";
        break;
    case '\t':
        line += "\\t";
        break;
    default:
        line += "\\x";
        line += digits[byte >> 4];
        line += digits[byte & 0xf];
    }
}

} // namespace

std::string visibleText(const char* text, const char* blanked)
{
    // Whether the byte belongs to the format: only those were replaced by a blank.
    const auto isFormat = [&](size_t at) { return blanked[at] == ' ' && text[at] != ' '; };
    size_t at = 0;
    size_t end = std::strlen(text);
    while (at < end && text[at] == '\n' && isFormat(at)) {
        ++at;
    }
    while (end > at && text[end - 1] == '\n' && isFormat(end - 1)) {
        --end;
    }
    std::string line;
    line.reserve(end - at);
    while (at < end) {
        const size_t length = printableLength(reinterpret_cast<const unsigned char*>(text + at));
        if (isFormat(at)) {
            line += text[at];
        } else if (text[at] == '\\') {
            line += "\\\\";
        } else if (length > 0) {
            line.append(text + at, length);
        } else {
            appendEscape(line, static_cast<unsigned char>(text[at]));
        }
        at += length > 0 ? length : 1;
    }
    return line;
}
