#include "logSetup.h"

#include <log4cpp/Appender.hh>
#include <log4cpp/Category.hh>
#include <log4cpp/LayoutAppender.hh>
#include <log4cpp/PatternLayout.hh>
#include <log4cpp/PropertyConfigurator.hh>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <memory>
#include <set>
#include <sstream>
#include <stdexcept>

namespace {

constexpr int kDefaultPriority = log4cpp::Priority::INFO;
constexpr size_t kMaxFileBytes = 1 << 20; ///< what of a file is looked at

/// Writes each line to descriptor 2 with one write(): whatever standard error is at that moment, and whatever befell
/// the line before (a stream would stay broken after a full disk).
class StandardError : public log4cpp::LayoutAppender {
public:
    StandardError() : LayoutAppender("telnodriver standard error")
    {
        auto layout = std::make_unique<log4cpp::PatternLayout>();
        layout->setConversionPattern("%d{%Y-%m-%d %H:%M:%S.%l} %p %c: %m%n");
        setLayout(layout.release());
    }
    void close() override {}

protected:
    void _append(const log4cpp::LoggingEvent& event) override
    {
        const std::string line = _getLayout().format(event);
        const ssize_t written = ::write(STDERR_FILENO, line.data(), line.size());
        (void)written;
    }
};

/// Never destroyed: threads may log until the very end of the process.
StandardError& standardError()
{
    static StandardError* const appender = new StandardError;
    return *appender;
}

/// Appenders that the last configuration made; log4cpp's property configurator leaves them to nobody.
std::vector<log4cpp::Appender*>& ownAppenders()
{
    static auto* const appenders = new std::vector<log4cpp::Appender*>;
    return *appenders;
}

void takeBack()
{
    const std::unique_ptr<std::vector<log4cpp::Category*>> categories(log4cpp::Category::getCurrentCategories());
    for (log4cpp::Category* category : *categories) {
        for (log4cpp::Appender* appender : ownAppenders()) {
            category->removeAppender(appender);
        }
        category->removeAppender(&standardError());
        const bool isRoot = category->getParent() == nullptr;
        category->setPriority(isRoot ? kDefaultPriority : static_cast<int>(log4cpp::Priority::NOTSET));
        category->setAdditivity(true);
    }
    for (log4cpp::Appender* appender : ownAppenders()) {
        delete appender;
    }
    ownAppenders().clear();
}

/// The lines of a properties file that are log4cpp's.
struct Settings {
    struct Line {
        int number;
        std::string text;
    };
    std::vector<Line> lines;
    std::string trouble; ///< why the file could not be read; empty when it could

    bool has(const std::string& key) const
    {
        return std::any_of(lines.begin(), lines.end(), [&](const Line& line) {
            return line.text.compare(0, key.size(), key) == 0 &&
                   line.text.find_first_not_of(" \t", key.size()) == line.text.find('=');
        });
    }

    /// "FILE:LINE" of the line that defines the appender or category @p name, else of the first that contains it;
    /// "FILE" when none does.
    std::string place(const std::string& file, const std::string& name) const
    {
        for (const char* prefix : {"log4cpp.appender.", "log4cpp.category.", "log4cpp.", ""}) {
            for (const Line& line : lines) {
                if (!name.empty() && line.text.find(prefix + name) != std::string::npos) {
                    return file + ":" + std::to_string(line.number);
                }
            }
        }
        return file;
    }

    std::set<std::string> appenderNames() const
    {
        static const std::string prefix = "log4cpp.appender.";
        std::set<std::string> names;
        for (const Line& line : lines) {
            if (line.text.compare(0, prefix.size(), prefix) == 0) {
                names.insert(
                    line.text.substr(prefix.size(), line.text.find_first_of(".= \t", prefix.size()) - prefix.size()));
            }
        }
        return names;
    }
};

/// The first bytes of a file, kMaxFileBytes at most. @return false with errno set when it cannot be read
bool readStart(const std::string& file, std::string& content)
{
    const int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    ssize_t length = 0;
    char buffer[4096];
    while (content.size() < kMaxFileBytes && (length = ::read(fd, buffer, sizeof buffer)) > 0) {
        content.append(buffer, static_cast<size_t>(length));
    }
    const int why = errno;
    ::close(fd);
    errno = why;
    return length >= 0;
}

Settings readSettings(const std::string& file)
{
    static const std::string prefix = "log4cpp.";
    Settings settings;
    std::string content;
    if (!readStart(file, content)) {
        settings.trouble = file + ": " + std::strerror(errno);
    }
    std::istringstream stream(content);
    std::string text;
    for (int number = 1; std::getline(stream, text); ++number) {
        const size_t start = text.find_first_not_of(" \t");
        if (start != std::string::npos && text.compare(start, prefix.size(), prefix) == 0) {
            settings.lines.push_back({number, text.substr(start)});
        }
    }
    return settings;
}

/// Hands the settings to log4cpp, whose configurator takes the name of a file only. Throws what log4cpp throws.
void configure(const Settings& settings, bool withRoot)
{
    std::string text = withRoot ? "" : "log4cpp.rootCategory=INFO\n";
    for (const Settings::Line& line : settings.lines) {
        text += line.text + '\n';
    }
    const int fd = memfd_create("log4cpp", MFD_CLOEXEC);
    if (fd < 0 || ::write(fd, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        const std::string why = std::strerror(errno);
        ::close(fd);
        throw std::runtime_error(why);
    }
    try {
        log4cpp::PropertyConfigurator::configure("/proc/self/fd/" + std::to_string(fd));
    } catch (...) {
        ::close(fd);
        throw;
    }
    ::close(fd);
}

/// What log4cpp complains about: the text between the last two quotes of its message, if any.
std::string quoted(const std::string& message)
{
    const size_t end = message.rfind('\'');
    if (end == std::string::npos || end == 0) {
        return "";
    }
    const size_t start = message.rfind('\'', end - 1);
    return start == std::string::npos ? "" : message.substr(start + 1, end - start - 1);
}

std::set<log4cpp::Appender*> existing(const std::set<std::string>& names)
{
    std::set<log4cpp::Appender*> appenders;
    for (const std::string& name : names) {
        if (log4cpp::Appender* const appender = log4cpp::Appender::getAppender(name)) {
            appenders.insert(appender);
        }
    }
    return appenders;
}

/// Configures log4cpp and takes the new appenders into our hands, also those of a configuration that fails half-way.
/// @return what log4cpp did not like; empty when all went well
std::string tryToConfigure(const Settings& settings)
{
    std::string why;
    const std::set<std::string> names = settings.appenderNames();
    const std::set<log4cpp::Appender*> foreign = existing(names);
    try {
        configure(settings, settings.has("log4cpp.rootCategory"));
    } catch (const std::exception& exception) {
        why = exception.what();
    }
    for (log4cpp::Appender* appender : existing(names)) {
        if (foreign.count(appender) == 0) {
            ownAppenders().push_back(appender);
        }
    }
    return why;
}

/// Drops the appenders whose file cannot be opened.
void dropUnusable(const std::string& file, const Settings& settings, std::vector<std::string>& troubles)
{
    const std::unique_ptr<std::vector<log4cpp::Category*>> categories(log4cpp::Category::getCurrentCategories());
    for (log4cpp::Appender* appender : ownAppenders()) {
        errno = 0;
        if (appender->reopen()) {
            continue;
        }
        const std::string why = errno != 0 ? std::strerror(errno) : "cannot be opened";
        troubles.push_back(settings.place(file, appender->getName()) + ": appender \"" + appender->getName() +
                           "\": " + why);
        for (log4cpp::Category* category : *categories) {
            category->removeAppender(appender);
        }
    }
}

} // namespace

std::vector<std::string> logSetup::fromFile(const char* name)
{
    const std::string file = name != nullptr ? name : "";
    std::vector<std::string> troubles;
    takeBack();
    const Settings settings = readSettings(file);
    if (!settings.trouble.empty()) {
        troubles.push_back(settings.trouble);
    }
    for (const Settings::Line& line : settings.lines) {
        if (line.text.find('=') == std::string::npos) {
            troubles.push_back(file + ":" + std::to_string(line.number) + ": no '=' in a line of the logging's");
        }
    }
    const std::string why = settings.lines.empty() ? "" : tryToConfigure(settings);
    if (why.empty()) {
        dropUnusable(file, settings, troubles);
    } else {
        troubles.push_back(settings.place(file, quoted(why)) + ": " + why);
        takeBack();
    }
    if (log4cpp::Category::getRoot().getAllAppenders().empty()) {
        log4cpp::Category::getRoot().addAppender(standardError());
    }
    return troubles;
}

void logSetup::toStandardError(int priority)
{
    takeBack();
    log4cpp::Category::getRoot().setPriority(priority < log4cpp::Priority::NOTSET ? priority : kDefaultPriority);
    log4cpp::Category::getRoot().addAppender(standardError());
}
