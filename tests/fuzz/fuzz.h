/// What the fuzzers have in common. Their log is off, see quiet.cpp.
#ifndef FUZZ_H
#define FUZZ_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

/// Ends the fuzzer unless what it requires holds: the input is then reported.
inline void require(bool condition)
{
    if (!condition)
        std::abort();
}

inline std::string textOf(const std::uint8_t* data, std::size_t size)
{
    return {reinterpret_cast<const char*>(data), size};
}

/// The input's lines, each without its NULs and cut to 255 bytes, as the modem's lines are.
inline std::vector<std::string> linesOf(const std::uint8_t* data, std::size_t size)
{
    std::vector<std::string> lines(1);
    for (std::size_t i = 0; i < size; ++i) {
        if (data[i] == '\n')
            lines.emplace_back();
        else if (data[i] != '\0' && lines.back().size() < 255)
            lines.back() += static_cast<char>(data[i]);
    }
    return lines;
}

/// The input as a file, for readers that take a path.
class InputFile {
public:
    explicit InputFile(const std::string& text) : InputFile(reinterpret_cast<const uint8_t*>(text.data()), text.size())
    {
    }
    InputFile(const uint8_t* data, size_t size) : mFd(memfd_create("input", MFD_CLOEXEC))
    {
        while (size > 0) {
            const ssize_t written = write(mFd, data, size);
            if (written <= 0) {
                break;
            }
            data += written;
            size -= static_cast<size_t>(written);
        }
    }
    ~InputFile() { close(mFd); }
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    std::string path() const { return "/proc/self/fd/" + std::to_string(mFd); }

private:
    int mFd;
};

#endif
