// Checks the properties file: unknown keys, values that are cut or cannot work, lines that are not read.
#include "properties.h"
#include "Logging.h"
#include "Site.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <set>
#include <sys/stat.h>

namespace {

constexpr size_t kLongestLine = 255, kLongestPin = 7;
const std::string kByteOrderMark = "\xEF\xBB\xBF";

struct Key {
    const char* name;
    size_t longest;
};
const Key kKeys[] = {
    {"host", 31}, {"ioPairFile", 31}, {"serialPortName", 31}, {"gsmconfigFile", 31}, {"simPin", kLongestPin}};

bool allOf(const std::string& text, const char* characters)
{
    return text.find_first_not_of(characters) == std::string::npos;
}

// Why @p host cannot be a host; empty if it can.
std::string hostTrouble(const std::string& host)
{
    in_addr v4{};
    in6_addr v6{};
    const std::string address = host.substr(0, host.find('%')); // a link-local one names its interface
    if (host.empty())
        return "host is empty, so no input or output is found: write the object server's address";
    if (inet_pton(AF_INET, host.c_str(), &v4) == 1 || inet_pton(AF_INET6, address.c_str(), &v6) == 1)
        return "";
    const size_t colon = host.find(':');
    if (colon != std::string::npos && allOf(host.substr(colon + 1), "0123456789"))
        return "host \"" + host + "\" has a port: write " + host.substr(0, colon) + "; the port is always 60000";
    if (allOf(host, "0123456789."))
        return "host \"" + host + "\" is not an address: write four numbers from 0 to 255, or a name";
    const bool name = std::all_of(host.begin(), host.end(),
                                  [](unsigned char c) { return isalnum(c) != 0 || c == '-' || c == '.' || c == '_'; });
    if (!name || host.front() == '.' || host.front() == '-' || host.find("..") != std::string::npos)
        return "host \"" + host + "\" is neither an address nor a name: write the object server's address";
    return "";
}

class PropertiesFile {
public:
    PropertiesFile(Site& site, Report& report)
        : m_site(site), m_report(report), m_logging(site.properties, site.logFiles, report)
    {
    }

    void check(const std::string& text)
    {
        std::vector<Edit> carriageReturns;
        long firstReturn = 0;
        size_t at = 0;
        for (m_line = 1; at < text.size(); ++m_line) {
            const size_t end = std::min(text.find('\n', at), text.size());
            std::string line = text.substr(at, end - at);
            if (line.size() > kLongestLine) {
                error("the line has more than 255 characters: it and all lines after it are ignored");
                break;
            }
            if (!line.empty() && line.back() == '\r') {
                line.pop_back();
                firstReturn = firstReturn != 0 ? firstReturn : m_line;
                carriageReturns.push_back({at + line.size(), 1, ""});
            }
            const size_t mark = m_line == 1 && line.rfind(kByteOrderMark, 0) == 0 ? kByteOrderMark.size() : 0;
            if (mark != 0)
                m_report.warning(m_site.properties, 1,
                                 "the file begins with a byte order mark, so its first key is unknown: save it without",
                                 {{0, mark, ""}});
            checkLine(line.substr(mark), at + mark);
            at = end + 1;
        }
        if (firstReturn != 0)
            m_report.error(m_site.properties, firstReturn,
                           "the line ends in CR LF, so the value ends in CR: save the file with LF line ends",
                           carriageReturns);
        m_logging.finish(text);
        m_site.namesMessages = m_seen.count("gsmconfigFile") != 0;
        checkPinIsSafe();
    }

private:
    void checkLine(const std::string& line, size_t offset)
    {
        const std::string content = line.substr(0, line.find('#'));
        const size_t equals = content.find('=');
        if (equals == std::string::npos) {
            if (!trimmed(content).empty())
                warning("a line without an equals sign is skipped: write KEY=VALUE");
            return;
        }
        const std::string key = content.substr(0, equals), value = content.substr(equals + 1), name = trimmed(key);
        if (!m_seen.insert(key).second)
            warning("the key " + key + " is repeated: the first line counts");
        if (name.rfind("log4cpp.", 0) == 0) {
            m_logging.take({m_line, offset, line.size(), offset + equals + 1, name, value});
            return;
        }
        std::vector<std::string> names;
        for (const Key& known : kKeys) {
            names.emplace_back(known.name);
            if (name == known.name) {
                checkBlanks(name, key, value, offset);
                checkValue(known, trimmed(value));
                return;
            }
        }
        const std::string meant = likely(name, names);
        warning("the key \"" + key + "\" is unknown" + (meant.empty() ? "" : ": " + meant + " may be meant"));
    }

    void checkBlanks(const std::string& name, const std::string& key, const std::string& value, size_t offset)
    {
        if (name != key)
            error("the key \"" + key + "\" has blanks, so it is unknown: write " + name + "= without blanks",
                  {{offset, key.size(), name}});
        const std::string inner = trimmed(value);
        if (inner.size() > 1 && inner.front() == '"' && inner.back() == '"')
            error("the quotes belong to the value of " + name + ": remove them",
                  {{offset + key.size() + 1, value.size(), inner.substr(1, inner.size() - 2)}});
        else if (inner != value)
            error("the value of " + name + " has blanks at an end: remove them, also before a #",
                  {{offset + key.size() + 1, value.size(), inner}});
    }

    void checkValue(const Key& key, const std::string& value)
    {
        const std::string name = key.name;
        if (name == "simPin") {
            checkPin(value);
            return;
        }
        if (value.size() > key.longest)
            error("the value of " + name + " is cut to its first " + std::to_string(key.longest) +
                  " characters: use a shorter one");
        if (value.empty() && (name == "ioPairFile" || name == "gsmconfigFile"))
            error(name + " is empty, so no file is read: write the file's path");
        const std::string trouble = name == "host" ? hostTrouble(value) : "";
        if (!trouble.empty())
            error(trouble);
        if (name == "serialPortName") {
            if (m_site.serialPort.line == 0) // the first one counts
                m_site.serialPort = {value, m_line};
            if (value.empty() || value.front() != '/')
                error("serialPortName \"" + value + "\" is not the path of a device: write /dev/" +
                      (value.empty() ? "ttyS3" : value));
        }
    }

    void checkPin(const std::string& pin)
    {
        if (pin.size() > kLongestPin && allOf(pin, "0123456789"))
            error("simPin has more than 7 digits, and the daemon would send only the first 7: each wrong PIN that is "
                  "sent costs the SIM a try; give the SIM a PIN of 4 to 7 digits");
        else if (pin.size() < 4 || !allOf(pin, "0123456789") || pin.size() > kLongestPin)
            error("simPin is not 4 to 7 digits: each wrong PIN that is sent costs the SIM a try; write the SIM's PIN");
        else if (pin == "1357")
            warning("simPin is still the example's, and a wrong PIN costs the SIM a try: write the SIM's PIN");
    }

    void checkPinIsSafe()
    {
        struct stat mode {};
        if (m_seen.count("simPin") == 0)
            m_report.warning(
                m_site.properties, 0,
                "there is no simPin: a TAVLite card then sends 1357 to a SIM that asks for its PIN, and a wrong PIN "
                "costs a try; write the SIM's PIN");
        else if (stat(m_site.properties.c_str(), &mode) == 0 && (mode.st_mode & S_IROTH) != 0)
            m_report.warning(m_site.properties, 0, "others can read the file, which holds the PIN: chmod o-r");
    }

    void error(const std::string& text, const std::vector<Edit>& edits = {})
    {
        m_report.error(m_site.properties, m_line, text, edits);
    }
    void warning(const std::string& text) { m_report.warning(m_site.properties, m_line, text); }

    Site& m_site;
    Report& m_report;
    Logging m_logging;
    long m_line = 0;
    std::set<std::string> m_seen;
};

} // namespace

void checkProperties(Site& site, Report& report)
{
    cProperties properties; // the daemon's own reader
    std::string text;
    if (readText(site.properties, text)) {
        PropertiesFile(site, report).check(text);
        (void)properties.load(site.properties.c_str());
    } else {
        report.error(site.properties, 0,
                     std::string("cannot be read, and every key takes its default: ") +
                         (errno == EINVAL ? "not a regular file" : strerror(errno)));
    }
    site.host = std::string(properties.getString("host", "127.0.0.1")).substr(0, 31);
    site.pairs = std::string(properties.getString("ioPairFile", "/etc/tav/telnodriver.xml")).substr(0, 31);
    site.messages = std::string(properties.getString("gsmconfigFile", "/etc/tav/gsmconnections.xml")).substr(0, 31);
}
