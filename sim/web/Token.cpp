#include "web/Token.h"

#include <cstdlib>
#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

namespace web {

namespace {

constexpr size_t kDigits = 32;

std::string newToken()
{
    unsigned char bytes[kDigits / 2];
    if (getrandom(bytes, sizeof bytes, 0) != static_cast<ssize_t>(sizeof bytes))
        abort(); // never serve a page without a secret
    std::string digits;
    for (const unsigned char byte : bytes) {
        digits += "0123456789abcdef"[byte >> 4];
        digits += "0123456789abcdef"[byte & 15];
    }
    return digits;
}

// The user's folder: the runtime folder, else the cache.
std::string folder()
{
    if (const char* runtime = getenv("XDG_RUNTIME_DIR"); runtime != nullptr && *runtime == '/')
        return runtime;
    const char* home = getenv("HOME");
    if (home == nullptr || *home != '/')
        return "";
    const std::string cache = std::string(home) + "/.cache";
    mkdir(cache.c_str(), 0700);
    return cache;
}

bool readBack(int file, std::string& kept)
{
    struct stat kind {};
    char digits[kDigits + 1] = "";
    if (fstat(file, &kind) != 0 || !S_ISREG(kind.st_mode) || kind.st_uid != geteuid() || (kind.st_mode & 077) != 0 ||
        read(file, digits, sizeof digits) != static_cast<ssize_t>(kDigits))
        return false;
    kept.assign(digits, kDigits);
    return kept.find_first_not_of("0123456789abcdef") == std::string::npos;
}

} // namespace

std::string token()
{
    const std::string fresh = newToken(), where = folder();
    if (where.empty())
        return fresh;
    const std::string path = where + "/telnodriver-page";
    int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (file >= 0) {
        const bool kept = write(file, fresh.data(), fresh.size()) == static_cast<ssize_t>(fresh.size());
        close(file);
        if (!kept)
            unlink(path.c_str());
        return fresh;
    }
    file = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    std::string kept;
    const bool good = file >= 0 && readBack(file, kept);
    if (file >= 0)
        close(file);
    return good ? kept : fresh;
}

bool sameSecret(const std::string& one, const std::string& other)
{
    unsigned difference = one.size() == other.size() ? 0 : 1;
    for (size_t i = 0; i < one.size() && i < other.size(); ++i)
        difference |= static_cast<unsigned char>(one[i] ^ other[i]);
    return difference == 0;
}

} // namespace web
