#include "GsmAlphabet.h"

#include <cstdio>
#include <libxml/xmlstring.h>

namespace {

// The characters with their ASCII code, then the others.
const std::u32string kPlain =
    U"\n\r !\"#%&'()*+,-./0123456789:;<=>?ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
const std::u32string kOther = U"@£$¥èéùìòÇØøÅåΔ_ΦΓΛΩΠΨΣΘΞÆæßÉ¤¡ÄÖÑÜ§¿äöñüà";
const std::u32string kExtension = U"\f^{}\\[~]|€";

bool holds(const std::u32string& characters, char32_t character)
{
    return characters.find(character) != std::u32string::npos;
}

} // namespace

GsmVerdict gsmVerdict(const std::string& text)
{
    GsmVerdict verdict;
    for (size_t at = 0; at < text.size();) {
        int length = static_cast<int>(text.size() - at);
        const int code = xmlGetUTF8Char(reinterpret_cast<const unsigned char*>(text.data() + at), &length);
        if (code < 0)
            break; // cannot happen: the parser returns UTF-8
        const std::string shown = text.substr(at, static_cast<size_t>(length));
        const auto character = static_cast<char32_t>(code);
        if (holds(kOther, character) || holds(kExtension, character)) {
            if (verdict.otherCode.empty())
                verdict.otherCode = shown;
        } else if (!holds(kPlain, character) && verdict.lacking.empty()) {
            char number[16];
            snprintf(number, sizeof number, " (U+%04X)", static_cast<unsigned>(code));
            verdict.lacking = shown + number;
        }
        at += static_cast<size_t>(length);
    }
    return verdict;
}
