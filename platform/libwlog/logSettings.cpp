#include "logSettings.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

namespace {

constexpr size_t kMaxFileBytes = 1 << 20; ///< the rest of a file is ignored

const std::string kPrefix = "log4cpp.";
const std::string kRoot = "log4cpp.rootCategory";
const std::string kCategory = "log4cpp.category.";
const std::string kAppender = "log4cpp.appender.";
const std::string kFileName = ".fileName";

/// Reads the start of a regular file. @return why it cannot be read; empty when it was
std::string readStart(const std::string& file, std::string& content)
{
    struct stat status = {};
    if (stat(file.c_str(), &status) != 0) {
        return std::strerror(errno);
    }
    if (!S_ISREG(status.st_mode)) { // to open a pipe would be to wait for its writer
        return "not a regular file";
    }
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        return std::strerror(errno);
    }
    errno = 0;
    char bytes[4096];
    do { // its size may be a lie, as in /proc
        stream.read(bytes, sizeof bytes);
        content.append(bytes, static_cast<size_t>(stream.gcount()));
    } while (stream.good() && content.size() < kMaxFileBytes);
    return stream.bad() ? std::strerror(errno) : "";
}

bool startsWith(const std::string& text, const std::string& start)
{
    return text.compare(0, start.size(), start) == 0;
}

std::string trimmed(const std::string& text)
{
    static const char blanks[] = " \t\r\f\v";
    const size_t start = text.find_first_not_of(blanks);
    return start == std::string::npos ? "" : text.substr(start, text.find_last_not_of(blanks) + 1 - start);
}

} // namespace

logSettings::logSettings(const std::string& file) : mFile(file)
{
    std::string content;
    const std::string trouble = readStart(file, content);
    if (!trouble.empty()) {
        mTroubles.push_back(file + ": " + trouble);
    }
    std::istringstream stream(content);
    std::string line;
    for (int number = 1; std::getline(stream, line); ++number) {
        take(number, trimmed(line));
    }
}

void logSettings::take(int number, std::string line)
{
    if (!startsWith(line, kPrefix)) {
        return;
    }
    line.erase(std::min(line.find('#'), line.size()));
    const size_t equals = line.find('=');
    if (equals == std::string::npos) {
        mTroubles.push_back(mFile + ":" + std::to_string(number) + ": no '=' in a log4cpp line");
        return;
    }
    mLines.push_back({number, trimmed(line.substr(0, equals)), trimmed(line.substr(equals + 1))});
}

bool logSettings::has(const std::string& key) const
{
    return std::any_of(mLines.begin(), mLines.end(), [&](const Line& line) { return line.key == key; });
}

std::set<std::string> logSettings::appenders() const
{
    std::set<std::string> names;
    for (const Line& line : mLines) {
        if (startsWith(line.key, kAppender) && line.key.find('.', kAppender.size()) == std::string::npos) {
            names.insert(line.key.substr(kAppender.size()));
        }
    }
    return names;
}

std::string logSettings::undefinedAppender() const
{
    const std::set<std::string> defined = appenders();
    for (const Line& line : mLines) {
        if (line.key != kRoot && !startsWith(line.key, kCategory)) {
            continue;
        }
        std::istringstream tokens(line.value);
        std::string token;
        std::getline(tokens, token, ','); // the priority
        while (std::getline(tokens, token, ',')) {
            if (defined.count(trimmed(token)) == 0) {
                return mFile + ":" + std::to_string(line.number) + ": appender '" + trimmed(token) + "' is not defined";
            }
        }
    }
    return "";
}

std::string logSettings::unreadPipe() const
{
    for (const Line& line : mLines) {
        struct stat status = {};
        if (!startsWith(line.key, kAppender) || line.key.size() < kFileName.size() ||
            line.key.compare(line.key.size() - kFileName.size(), kFileName.size(), kFileName) != 0 ||
            stat(line.value.c_str(), &status) != 0 || !S_ISFIFO(status.st_mode)) {
            continue;
        }
        const int fd = ::open(line.value.c_str(), O_WRONLY | O_CLOEXEC | O_NONBLOCK);
        if (fd < 0) {
            return mFile + ":" + std::to_string(line.number) + ": nobody reads the pipe " + line.value;
        }
        ::close(fd);
    }
    return "";
}

std::string logSettings::place(const std::string& name) const
{
    for (const std::string& prefix : {kAppender, kCategory, kPrefix}) {
        for (const Line& line : mLines) {
            if (!name.empty() && startsWith(line.key, prefix + name)) {
                return mFile + ":" + std::to_string(line.number);
            }
        }
    }
    for (const Line& line : mLines) {
        if (!name.empty() && line.value.find(name) != std::string::npos) {
            return mFile + ":" + std::to_string(line.number);
        }
    }
    return mFile;
}

std::string logSettings::text() const
{
    std::string text;
    for (const Line& line : mLines) {
        text += line.key + "=" + line.value + "\n";
    }
    return text;
}
