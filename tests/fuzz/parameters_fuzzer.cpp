// The splitter of reply fields; the first byte is the delimiter.
#include "Command.h"
#include "fuzz.h"

#include <cstring>
#include <string>
#include <vector>

namespace {

template <std::size_t Slots> void check(std::string text, char delimiter)
{
    std::vector<std::string> expected;
    for (std::size_t start = 0; start <= text.size();) {
        const std::size_t end = std::min(text.find(delimiter, start), text.size());
        expected.push_back(text.substr(start, end - start).substr(0, 255));
        start = end + 1;
    }
    expected.resize(std::min(expected.size(), Slots));

    char fields[Slots][256];
    memset(fields, 'x', sizeof fields);
    int count = -1;
    findParameters(reinterpret_cast<unsigned char*>(text.data()), delimiter, &count, fields);
    require(count == static_cast<int>(expected.size()));
    expected.resize(Slots);
    for (std::size_t i = 0; i < Slots; ++i)
        require(expected[i] == fields[i]);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0 || data[0] == 0)
        return 0;
    const std::string text = textOf(data + 1, size - 1).c_str();
    const char delimiter = static_cast<char>(data[0]);
    check<2>(text, delimiter);
    check<3>(text, delimiter);
    check<6>(text, delimiter);
    return 0;
}
