/// The bytes of a fuzzer as a file, for readers that take a path.
#ifndef INPUTFILE_H
#define INPUTFILE_H

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>

class InputFile {
public:
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
