#include "logSetup.h"

#include "logSettings.h"

#include <log4cpp/Appender.hh>
#include <log4cpp/Category.hh>
#include <log4cpp/LayoutAppender.hh>
#include <log4cpp/PatternLayout.hh>
#include <log4cpp/PropertyConfigurator.hh>

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <memory>
#include <set>
#include <stdexcept>

namespace {

constexpr int kDefaultPriority = log4cpp::Priority::INFO;

/// Writes on where a call took a part only or was interrupted. @return false with errno set when it did not take all
bool writeWhole(int fd, const std::string& text)
{
    for (size_t done = 0; done < text.size();) {
        const ssize_t written = ::write(fd, text.data() + done, text.size() - done);
        if (written < 0 && errno != EINTR) {
            return false;
        }
        done += written > 0 ? static_cast<size_t>(written) : 0;
    }
    return true;
}

/// Writes each line to descriptor 2: whatever standard error is at that moment, and whatever befell the line before (a
/// stream would stay broken after a full disk).
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
        (void)writeWhole(STDERR_FILENO, _getLayout().format(event));
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

/// Hands settings to log4cpp, whose configurator takes the name of a file only. Throws what log4cpp throws.
void configure(const std::string& settings)
{
    const int fd = memfd_create("log4cpp", MFD_CLOEXEC);
    if (fd < 0 || !writeWhole(fd, settings)) {
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
/// @return what log4cpp did not like, with its place; empty when all went well
std::string tryToConfigure(const logSettings& settings)
{
    // log4cpp's configurator remembers appenders by name, also those that are gone: it must never look for one in vain.
    std::string why = settings.undefinedAppender();
    if (why.empty()) {
        why = settings.unreadPipe();
    }
    if (settings.empty() || !why.empty()) {
        return why;
    }
    const std::set<std::string> names = settings.appenders();
    const std::set<log4cpp::Appender*> foreign = existing(names);
    const bool hasRoot = settings.has("log4cpp.rootCategory");
    try {
        configure((hasRoot ? "" : "log4cpp.rootCategory=INFO\n") + settings.text());
    } catch (const std::exception& exception) {
        why = settings.place(quoted(exception.what())) + ": " + exception.what();
    }
    for (log4cpp::Appender* appender : existing(names)) {
        if (foreign.count(appender) == 0) {
            ownAppenders().push_back(appender);
        }
    }
    return why;
}

/// Drops the appenders whose file cannot be opened.
void dropUnusable(const logSettings& settings, std::vector<std::string>& troubles)
{
    const std::unique_ptr<std::vector<log4cpp::Category*>> categories(log4cpp::Category::getCurrentCategories());
    for (log4cpp::Appender* appender : ownAppenders()) {
        errno = 0;
        if (appender->reopen()) {
            continue;
        }
        const std::string why = errno != 0 ? std::strerror(errno) : "cannot be opened";
        const std::string& name = appender->getName();
        troubles.push_back(settings.place(name) + ": appender '" + name + "': " + why);
        for (log4cpp::Category* category : *categories) {
            category->removeAppender(appender);
        }
    }
}

} // namespace

std::vector<std::string> logSetup::fromFile(const char* file)
{
    takeBack();
    const logSettings settings(file != nullptr ? file : "");
    std::vector<std::string> troubles = settings.troubles();
    const std::string why = tryToConfigure(settings);
    if (why.empty()) {
        dropUnusable(settings, troubles);
    } else {
        troubles.push_back(why);
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
