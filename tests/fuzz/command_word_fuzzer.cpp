// The command word of any text, against the rule said once more.
#include "GSMIOmanager.h"
#include "fuzz.h"

#include <string>

namespace {

bool ends(const std::string& text, const std::string& word)
{
    return text.size() >= word.size() && text.compare(text.size() - word.size(), word.size(), word) == 0;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string text = textOf(data, size).c_str(); // up to a NUL
    const std::string looked = text.substr(0, 159);
    const key expected = ends(looked, "OFF") ? OFF : !ends(looked, "ON") && ends(looked, "QUERY") ? Query : ON;
    require(get_onoff(text.c_str()) == expected);
    return 0;
}
