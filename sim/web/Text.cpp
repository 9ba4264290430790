#include "web/Text.h"

#include "visibleText.h"

#include <algorithm>
#include <cstdio>

namespace web {

namespace {

// Direction marks, joiners, separators and other invisible characters.
bool hides(unsigned code)
{
    return code == 0x61c || (code >= 0x200b && code <= 0x200f) || (code >= 0x2028 && code <= 0x202e) ||
           (code >= 0x2060 && code <= 0x206f) || code == 0xfeff;
}

// A character of two or three bytes, in valid UTF-8; 0 for any other.
unsigned codeAt(const std::string& text, size_t at)
{
    const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[at + i]); };
    if (byte(0) >= 0xc0 && byte(0) < 0xe0)
        return (byte(0) & 0x1fu) << 6 | (byte(1) & 0x3fu);
    if (byte(0) >= 0xe0 && byte(0) < 0xf0)
        return (byte(0) & 0x0fu) << 12 | (byte(1) & 0x3fu) << 6 | (byte(2) & 0x3fu);
    return 0;
}

std::string withoutControls(const std::string& text)
{
    std::string all;
    for (size_t begin = 0;;) {
        const size_t end = text.find('\0', begin);
        const std::string part = text.substr(begin, end - begin);
        std::string blanked = part; // a backslash is not escaped
        std::replace(blanked.begin(), blanked.end(), '\\', ' ');
        all += visibleText(part.c_str(), blanked.c_str());
        if (end == std::string::npos)
            return all;
        all += "\\x00";
        begin = end + 1;
    }
}

} // namespace

std::string shown(const std::string& text, size_t most)
{
    const std::string visible = withoutControls(text.substr(0, most + 4));
    std::string result;
    for (size_t i = 0; i < visible.size(); ++i) {
        const unsigned code = codeAt(visible, i);
        if (!hides(code)) {
            result += visible[i];
            continue;
        }
        char mark[16];
        snprintf(mark, sizeof mark, "<U+%04X>", code);
        result += mark;
        i += code < 0x800 ? 1 : 2;
    }
    if (text.size() <= most)
        return result;
    size_t end = std::min(most, result.size());
    while (end > 0 && (static_cast<unsigned char>(result[end]) & 0xc0) == 0x80)
        --end; // back to the first byte of a character that would be cut
    return result.substr(0, end) + "... (" + std::to_string(text.size()) + " bytes)";
}

} // namespace web
