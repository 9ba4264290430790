#include "PinRecord.h"

#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr const char* kWords[] = {"untried", "sent", "accepted", "rejected"};

// Not the inode's change time, because an upgrade of the package sets owner and mode again.
std::string marksOf(const std::string& file)
{
    struct stat status = {};
    if (stat(file.c_str(), &status) != 0) {
        return "missing";
    }
    std::ostringstream marks;
    marks << status.st_ino << ' ' << status.st_size << ' ' << status.st_mtim.tv_sec << ' ' << status.st_mtim.tv_nsec;
    return marks.str();
}

} // namespace

PinRecord::PinRecord(std::string path, const std::string& properties)
    : m_path(std::move(path)), m_marks(marksOf(properties))
{
}

PinRecord::Outcome PinRecord::outcome() const
{
    std::ifstream file(m_path);
    std::string word;
    std::string marks;
    if (!(file >> word >> std::ws) || !std::getline(file, marks) || marks != m_marks) {
        return UNTRIED;
    }
    for (const Outcome known : {SENT, ACCEPTED, REJECTED}) {
        if (word == kWords[known]) {
            return known;
        }
    }
    return UNTRIED;
}

bool PinRecord::store(Outcome outcome) const
{
    const std::string fresh = m_path + ".new";
    const std::string line = std::string(kWords[outcome]) + ' ' + m_marks + '\n';
    const int fd = open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0) {
        return false;
    }
    const bool written = write(fd, line.data(), line.size()) == static_cast<ssize_t>(line.size()) && fsync(fd) == 0;
    close(fd);
    if (!written || rename(fresh.c_str(), m_path.c_str()) != 0) {
        return false;
    }
    const std::string::size_type slash = m_path.rfind('/');
    const int folder = open(slash == std::string::npos ? "." : m_path.substr(0, slash + 1).c_str(), O_RDONLY);
    const bool kept = folder >= 0 && fsync(folder) == 0;
    if (folder >= 0) {
        close(folder);
    }
    return kept;
}
