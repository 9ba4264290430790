#include "Text.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const char kBlanks[] = " \t\r\n";
constexpr size_t kMostBytes = 4U << 20; // the daemon's limit for XML files

// Walks the start tags of a well-formed text.
class Tags {
public:
    explicit Tags(const std::string& text) : m_text(text) {}

    std::multimap<long, RawAttribute> attributes()
    {
        while ((m_at = m_text.find('<', m_at)) != std::string::npos) {
            if (m_text.compare(m_at, 4, "<!--") == 0)
                skipPast("-->");
            else if (m_text.compare(m_at, 9, "<![CDATA[") == 0)
                skipPast("]]>");
            else if (m_text.compare(m_at, 2, "<?") == 0)
                skipPast("?>");
            else if (m_text.compare(m_at, 2, "<!") == 0 || m_text.compare(m_at, 2, "</") == 0)
                skipPast(">");
            else
                takeTag();
        }
        return std::move(m_found);
    }

private:
    void skipPast(const char* end)
    {
        m_at = m_text.find(end, m_at);
        m_at = m_at == std::string::npos ? m_text.size() : m_at + 1;
    }

    void takeTag()
    {
        std::vector<RawAttribute> attributes;
        m_at = m_text.find_first_of(" \t\r\n>", m_at);
        for (m_at = m_text.find_first_not_of(kBlanks, m_at);
             m_at < m_text.size() && ends.find(m_text[m_at]) == ends.npos;
             m_at = m_text.find_first_not_of(kBlanks, m_at)) {
            const size_t nameEnd = m_text.find_first_of(" \t\r\n=", m_at), quote = m_text.find_first_of("\"'", m_at);
            const size_t close = quote == std::string::npos ? quote : m_text.find(m_text[quote], quote + 1);
            if (close == std::string::npos) {
                m_at = m_text.size();
                return;
            }
            attributes.push_back(
                {m_text.substr(m_at, nameEnd - m_at), m_text.substr(quote + 1, close - quote - 1), quote + 1});
            m_at = close + 1;
        }
        const size_t here = std::min(m_at, m_text.size());
        m_line +=
            std::count(m_text.begin() + static_cast<long>(m_counted), m_text.begin() + static_cast<long>(here), '\n');
        m_counted = m_at = here;
        for (RawAttribute& attribute : attributes)
            m_found.emplace(m_line, std::move(attribute));
    }

    const std::string ends = "/>";
    const std::string& m_text;
    size_t m_at = 0, m_counted = 0;
    long m_line = 1;
    std::multimap<long, RawAttribute> m_found;
};

} // namespace

bool readText(const std::string& path, std::string& text)
{
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    struct stat status {};
    if (fd < 0 || fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
        errno = fd < 0 ? errno : EINVAL;
        if (fd >= 0)
            close(fd);
        return false;
    }
    char buffer[16384];
    ssize_t length = 0;
    text.clear();
    while (text.size() <= kMostBytes && (length = read(fd, buffer, sizeof buffer)) > 0)
        text.append(buffer, static_cast<size_t>(length));
    const int why = text.size() > kMostBytes ? EFBIG : errno;
    close(fd);
    errno = why;
    return length == 0;
}

std::multimap<long, RawAttribute> rawAttributes(const std::string& text)
{
    return text.find("<!ENTITY") == std::string::npos ? Tags(text).attributes() : std::multimap<long, RawAttribute>();
}
