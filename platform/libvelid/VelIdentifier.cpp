#include "VelIdentifier.h"

#include "cWlog.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstring>

namespace {

constexpr int kUnknown = 0;
constexpr int kTavLite = 1;
constexpr const char* kHardwareFile = "/etc/tav/hardware";
constexpr const char* kModelFile = "/proc/device-tree/model";

/// Reads the first bytes of a file. @return false with errno set on failure
bool readStart(const std::string& path, std::string& content)
{
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) {
        return false;
    }
    char buffer[256];
    ssize_t length;
    do
        length = read(fd, buffer, sizeof buffer);
    while (length < 0 && errno == EINTR);
    const int why = errno;
    close(fd);
    errno = why;
    if (length < 0) {
        return false;
    }
    content.assign(buffer, static_cast<size_t>(length));
    return true;
}

/// Whether a text is one decimal number, apart from white space around it.
bool parseNumber(const std::string& text, int& number)
{
    static const char blanks[] = " \t\r\n";
    const size_t start = text.find_first_not_of(blanks);
    if (start == std::string::npos) {
        return false;
    }
    const char* const end = text.data() + text.find_last_not_of(blanks) + 1;
    const auto result = std::from_chars(text.data() + start, end, number);
    return result.ec == std::errc() && result.ptr == end && number >= 0;
}

} // namespace

VelIdentifier::VelIdentifier(cWlog* logger, const char* root) : mLogger(logger), mRoot(root) {}

int VelIdentifier::getHardwareNumber()
{
    const std::string file = mRoot + kHardwareFile;
    std::string content;
    if (readStart(file, content)) {
        int number = kUnknown;
        if (!parseNumber(content, number)) {
            mLogger->error("%s:1: no hardware number\n", file.c_str());
            return kUnknown;
        }
        mLogger->debug("Hardware number %d from %s\n", number, file.c_str());
        return number;
    }
    if (errno != ENOENT && errno != ENOTDIR) {
        mLogger->error("%s: %s\n", file.c_str(), std::strerror(errno));
        return kUnknown;
    }
    const bool tavLite = readStart(mRoot + kModelFile, content) && content.find("TAVLite") != std::string::npos;
    mLogger->debug("Hardware number %d from the device tree\n", tavLite ? kTavLite : kUnknown);
    return tavLite ? kTavLite : kUnknown;
}
