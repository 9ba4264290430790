// Any line as one of a scenario: it is cut into words or refused with a reason, and what is quoted comes out whole.
#include "bench/Scenario.h"
#include "fuzz.h"

#include <cstdio>

namespace {

std::string quoted(const std::string& text)
{
    std::string line = "\"";
    for (const char c : text) {
        char escape[8];
        snprintf(escape, sizeof escape, "\\x%02x", static_cast<unsigned char>(c));
        line += escape;
    }
    return line + '"';
}

/// Takes the words in the ways that the commands do.
void take(const std::string& line)
{
    bench::Words words(line);
    const auto within = words.takeTime("within");
    require(!within || within->count() >= 0);
    if (words.take("expect") && !words.empty())
        words.oneOf("a word", {"output", "log"});
    if (!words.empty()) {
        const long number = words.number("a number", 1, 1000);
        require(number >= 1 && number <= 1000);
    }
    require(words.empty() || words.time("a time").count() >= 0);
    words.end();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    try {
        take(text);
    } catch (const bench::Failure& failure) {
        require(*failure.what() != '\0'); // a refusal always says why
    }
    bench::Words words(quoted(text) + " end");
    require(words.next("a text") == text && words.take("end") && words.empty());
    return 0;
}
