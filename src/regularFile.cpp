#include "regularFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

bool readRegularFile(const char* path, size_t most, std::string& content, std::string& trouble)
{
    content.clear();
    const int fd = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK); // opening a pipe must not block
    struct stat status = {};
    if (fd < 0 || fstat(fd, &status) != 0) {
        trouble = std::strerror(errno);
    } else if (!S_ISREG(status.st_mode)) {
        trouble = "not a regular file";
    } else {
        char buffer[16384];
        ssize_t length = 0;
        while (content.size() <= most &&
               ((length = read(fd, buffer, sizeof buffer)) > 0 || (length < 0 && errno == EINTR))) {
            content.append(buffer, length > 0 ? static_cast<size_t>(length) : 0);
        }
        if (length < 0) {
            trouble = std::strerror(errno);
        } else if (content.size() > most) {
            trouble = "longer than " + std::to_string(most) + " bytes";
        }
    }
    if (fd >= 0) {
        close(fd);
    }
    return trouble.empty();
}
