#include "logSetup.h"

#include "logSettings.h"

#include <log4cpp/Appender.hh>
#include <log4cpp/Category.hh>
#include <log4cpp/LayoutAppender.hh>
#include <log4cpp/PatternLayout.hh>
#include <log4cpp/PropertyConfigurator.hh>

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <memory>
#include <stdexcept>

namespace {

constexpr int kDefaultPriority = log4cpp::Priority::INFO;

/// Repeats a write that was partial or interrupted. @return false with errno set on failure
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

/// Writes each line to descriptor 2. log4cpp's own appenders either stay broken after a full disk (OstreamAppender) or
/// cut a line that is written in part (FileAppender).
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

/// Ends the last configuration: log4cpp deletes every appender that it knows.
void reset()
{
    log4cpp::Category::shutdownForced();
    const std::unique_ptr<std::vector<log4cpp::Category*>> categories(log4cpp::Category::getCurrentCategories());
    for (log4cpp::Category* category : *categories) {
        const bool isRoot = category->getParent() == nullptr;
        category->setPriority(isRoot ? kDefaultPriority : static_cast<int>(log4cpp::Priority::NOTSET));
        category->setAdditivity(true);
    }
}

/// Passes settings to log4cpp, whose configurator reads files only. Throws what log4cpp throws.
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

/// The subject of log4cpp's complaint: the text between the last two quotes of its message, if any.
std::string quoted(const std::string& message)
{
    const size_t end = message.rfind('\'');
    if (end == std::string::npos || end == 0) {
        return "";
    }
    const size_t start = message.rfind('\'', end - 1);
    return start == std::string::npos ? "" : message.substr(start + 1, end - start - 1);
}

/// Hands the settings to log4cpp. @return what log4cpp refuses, with its place; empty when it takes them
std::string tryToConfigure(const logSettings& settings)
{
    // log4cpp keeps pointers to deleted appenders under their names: no category may name one that is not defined anew.
    std::string why = settings.undefinedAppender();
    if (why.empty()) {
        why = settings.unreadPipe();
    }
    if (settings.empty() || !why.empty()) {
        return why;
    }
    const bool hasRoot = settings.has("log4cpp.rootCategory");
    try {
        configure((hasRoot ? "" : "log4cpp.rootCategory=INFO\n") + settings.text());
    } catch (const std::exception& exception) {
        return settings.place(quoted(exception.what())) + ": " + exception.what();
    }
    return "";
}

/// Detaches the appenders whose file cannot be opened.
void dropUnusable(const logSettings& settings, std::vector<std::string>& troubles)
{
    const std::unique_ptr<std::vector<log4cpp::Category*>> categories(log4cpp::Category::getCurrentCategories());
    for (const std::string& name : settings.appenders()) {
        log4cpp::Appender* const appender = log4cpp::Appender::getAppender(name);
        errno = 0;
        if (appender == nullptr || appender->reopen()) {
            continue;
        }
        const std::string why = errno != 0 ? std::strerror(errno) : "cannot be opened";
        troubles.push_back(settings.place(name) + ": appender '" + name + "': " + why);
        for (log4cpp::Category* category : *categories) {
            category->removeAppender(appender);
        }
    }
}

void logToStandardError()
{
    log4cpp::Category::getRoot().addAppender(new StandardError); // log4cpp owns it
}

} // namespace

std::vector<std::string> logSetup::fromFile(const char* file)
{
    reset();
    const logSettings settings(file != nullptr ? file : "");
    std::vector<std::string> troubles = settings.troubles();
    const std::string why = tryToConfigure(settings);
    if (why.empty()) {
        dropUnusable(settings, troubles);
    } else {
        troubles.push_back(why);
        reset();
    }
    if (log4cpp::Category::getRoot().getAllAppenders().empty()) {
        logToStandardError();
    }
    return troubles;
}

void logSetup::toStandardError(int priority)
{
    reset();
    log4cpp::Category::getRoot().setPriority(priority < log4cpp::Priority::NOTSET ? priority : kDefaultPriority);
    logToStandardError();
}
