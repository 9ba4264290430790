// The properties file: keys that nobody reads, values that are cut, lines that are lost.
#include "Site.h"

#include "properties.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <sys/stat.h>

namespace {

constexpr size_t kLongestLine = 255;

struct Key {
    const char* name;
    size_t longest;
};
const Key kKeys[] = {{"host", 31}, {"ioPairFile", 31}, {"serialPortName", 31}, {"gsmconfigFile", 31}, {"simPin", 7}};

size_t distance(const std::string& a, const std::string& b)
{
    std::vector<size_t> row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j)
        row[j] = j;
    for (size_t i = 1; i <= a.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const bool same =
                tolower(static_cast<unsigned char>(a[i - 1])) == tolower(static_cast<unsigned char>(b[j - 1]));
            const size_t replaced = diagonal + (same ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row[b.size()];
}

std::string trimmed(const std::string& text)
{
    const size_t first = text.find_first_not_of(" \t\r"), last = text.find_last_not_of(" \t\r");
    return first == std::string::npos ? "" : text.substr(first, last - first + 1);
}

void checkPin(const std::string& pin, const Site& site, long line, Report& report)
{
    const bool digits = std::all_of(pin.begin(), pin.end(), [](unsigned char c) { return isdigit(c) != 0; });
    if (!digits || pin.size() < 4 || pin.size() > 7)
        report.error(
            site.properties, line,
            "simPin is not 4 to 7 digits: each wrong PIN that is sent costs the SIM a try; write the SIM's PIN");
}

void checkKey(const std::string& key, const std::string& value, const Site& site, long line, Report& report)
{
    const std::string name = trimmed(key);
    std::vector<std::string> names;
    for (const Key& known : kKeys) {
        names.emplace_back(known.name);
        if (name != known.name)
            continue;
        if (name != key)
            report.error(site.properties, line,
                         "blanks belong to the key \"" + key + "\", which nobody reads: write " + name +
                             "= without blanks");
        if (trimmed(value) != value && (value.empty() || value.back() != '\r'))
            report.error(site.properties, line,
                         "blanks belong to the value of " + name + ": take them away, also before a #");
        if (value.size() > known.longest)
            report.error(site.properties, line,
                         "the value of " + name + " is cut to its first " + std::to_string(known.longest) +
                             " characters: use a shorter one");
        if (name == "simPin")
            checkPin(trimmed(value), site, line, report);
        return;
    }
    if (name.rfind("log4cpp.", 0) == 0)
        return;
    const std::string meant = likely(name, names);
    report.warning(site.properties, line,
                   "nobody reads the key \"" + key + '"' + (meant.empty() ? "" : ": " + meant + " may be meant"));
}

bool holds(const std::vector<std::string>& keys, const std::string& key)
{
    return std::find(keys.begin(), keys.end(), key) != keys.end();
}

void checkPriority(const std::string& key, const std::string& value, const Site& site, long line, Report& report)
{
    const std::string priority = trimmed(value.substr(0, value.find(',')));
    if ((key == "log4cpp.rootCategory" || key.rfind("log4cpp.category.", 0) == 0) &&
        (priority == "DEBUG" || priority == "NOTSET"))
        report.warning(site.properties, line,
                       "at " + priority +
                           " every step and every AT command is logged, the PIN included, and the card "
                           "is slowed down: write INFO once the card works");
}

// A log file that others can read shows every AT command at debug, the PIN included.
void checkLogFile(const std::string& key, const std::string& value, const Site& site, long line, Report& report)
{
    struct stat file {};
    if (key.rfind("log4cpp.appender.", 0) == 0 && key.size() > 9 && key.substr(key.size() - 9) == ".fileName" &&
        stat(value.c_str(), &file) == 0 && S_ISREG(file.st_mode) && (file.st_mode & S_IROTH) != 0)
        report.warning(site.properties, line,
                       "others can read the log file " + value +
                           ", which holds SMS texts and, at DEBUG, the PIN: chmod o-r");
}

} // namespace

std::string likely(const std::string& word, const std::vector<std::string>& known)
{
    std::string best;
    size_t nearest = 3;
    for (const std::string& candidate : known) {
        const size_t away = distance(word, candidate);
        if (away < nearest) {
            nearest = away;
            best = candidate;
        }
    }
    return best;
}

void checkProperties(Site& site, Report& report)
{
    std::ifstream file(site.properties, std::ios::binary);
    if (!file || (file.peek() == std::ifstream::traits_type::eof() && file.bad())) {
        report.error(site.properties, 0, "cannot be read: every key takes its default");
    } else {
        bool crlf = false;
        std::vector<std::string> seen;
        long number = 0;
        for (std::string line; std::getline(file, line);) {
            ++number;
            if (line.size() > kLongestLine) {
                report.error(site.properties, number,
                             "a line of more than 255 characters: it and all that follows is not read");
                break;
            }
            if (!line.empty() && line.back() == '\r' && !crlf) {
                crlf = true;
                report.error(
                    site.properties, number,
                    "the line ends in CR LF, and the CR belongs to the value: save the file with LF line ends");
            }
            const std::string content = line.substr(0, line.find('#'));
            const size_t equals = content.find('=');
            if (equals == std::string::npos) {
                if (!trimmed(content).empty())
                    report.warning(site.properties, number,
                                   "a line without an equals sign is skipped: write KEY=VALUE");
                continue;
            }
            const std::string key = content.substr(0, equals), value = content.substr(equals + 1);
            if (holds(seen, key))
                report.warning(site.properties, number,
                               "the key " + key + " stands above already; the first one counts");
            seen.push_back(key);
            checkKey(key, value, site, number, report);
            checkPriority(key, value, site, number, report);
            checkLogFile(key, value, site, number, report);
        }
        site.namesMessages = holds(seen, "gsmconfigFile");
        if (!holds(seen, "simPin"))
            report.warning(site.properties, 0,
                           "no simPin: a TAVLite card sends 1357 to a SIM that asks for its PIN, and a wrong PIN costs "
                           "a try; write the SIM's PIN");
        struct stat mode {};
        if (stat(site.properties.c_str(), &mode) == 0 && (mode.st_mode & S_IROTH) != 0 && holds(seen, "simPin"))
            report.warning(site.properties, 0, "others can read the file, and it holds the PIN: chmod o-r");
    }

    // What the daemon makes of it, by its own reader.
    cProperties properties;
    if (file.is_open())
        (void)properties.load(site.properties.c_str());
    site.host = std::string(properties.getString("host", "127.0.0.1")).substr(0, 31);
    site.pairs = std::string(properties.getString("ioPairFile", "/etc/tav/telnodriver.xml")).substr(0, 31);
    site.messages = std::string(properties.getString("gsmconfigFile", "/etc/tav/gsmconnections.xml")).substr(0, 31);
}
