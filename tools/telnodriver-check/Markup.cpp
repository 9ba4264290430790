#include "Markup.h"

#include <libxml/parserInternals.h>

#include <algorithm>
#include <cstdio>

namespace {

// Invisible characters, and those that change the writing direction.
bool isHidden(int code)
{
    return code < 0x20 || (code >= 0x7f && code <= 0x9f) || code == 0x061c || (code >= 0x200b && code <= 0x200f) ||
           (code >= 0x2028 && code <= 0x202e) || (code >= 0x2066 && code <= 0x2069) || code == 0xfeff ||
           xmlIsCharQ(code) == 0;
}

// The character at @p at and its length; -1 and one byte if it is no UTF-8.
int character(const std::string& text, size_t at, int& length)
{
    static const int kLeast[] = {0, 0, 0x80, 0x800, 0x10000}; // by length: a longer form is not UTF-8
    length = static_cast<int>(std::min<size_t>(4, text.size() - at));
    const int code = xmlGetUTF8Char(reinterpret_cast<const unsigned char*>(text.data()) + at, &length);
    if (code >= kLeast[std::max(length, 0)] && length > 0)
        return code;
    length = 1;
    return -1;
}

std::string escape(int code, bool isByte)
{
    char text[16];
    snprintf(text, sizeof text, isByte ? "\\x%02x" : "\\u%04x", static_cast<unsigned>(code));
    return text;
}

std::string visible(const std::string& text)
{
    std::string shown;
    int length = 0;
    for (size_t at = 0; at < text.size(); at += static_cast<size_t>(length)) {
        const int code = character(text, at, length);
        if (code < 0)
            shown += escape(static_cast<unsigned char>(text[at]), true);
        else if (code == '\n' || code == '\t')
            shown += code == '\n' ? "\\n" : "\\t";
        else
            shown += isHidden(code) ? escape(code, false) : text.substr(at, static_cast<size_t>(length));
    }
    return shown;
}

std::string escaped(const std::string& text, const std::string& special, const std::string* replacements)
{
    std::string result;
    for (const char c : text) {
        const size_t which = special.find(c);
        which == std::string::npos ? result += c : result += replacements[which];
    }
    return result;
}

} // namespace

std::string xmlText(const std::string& text)
{
    static const std::string kReferences[] = {"&amp;", "&lt;", "&gt;", "&quot;"};
    return escaped(visible(text), "&<>\"", kReferences);
}

// Graphviz reads backslash sequences in a label, and character references, too.
std::string dotText(const std::string& text)
{
    static const std::string kEscapes[] = {"&amp;", "\\\\", "\\\""};
    return escaped(visible(text), "&\\\"", kEscapes);
}
