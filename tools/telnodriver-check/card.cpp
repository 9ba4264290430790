// Checks on the card itself: the serial port, and the folders of log files.
#include "Site.h"

#include <cerrno>
#include <cstring>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Whether @p user may write to @p path. Without such a user, whether this process may.
bool mayWrite(const std::string& path, const std::string& user)
{
    struct stat status {};
    const passwd* const account = getpwnam(user.c_str());
    if (account == nullptr || account->pw_uid == geteuid() || stat(path.c_str(), &status) != 0)
        return access(path.c_str(), W_OK) == 0;
    const mode_t needed = S_ISDIR(status.st_mode) ? 3 : 2; // to create a file in it
    if (account->pw_uid == 0)
        return true;
    if (account->pw_uid == status.st_uid)
        return (status.st_mode >> 6 & needed) == needed;
    gid_t groups[64];
    int count = 64;
    if (getgrouplist(user.c_str(), account->pw_gid, groups, &count) < 0)
        count = 64;
    for (int i = 0; i < count; ++i) {
        if (groups[i] == status.st_gid)
            return (status.st_mode >> 3 & needed) == needed;
    }
    return (status.st_mode & needed) == needed;
}

void checkLogFile(const Site& site, const Place& file, const std::string& user, Report& report)
{
    const size_t slash = file.label.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : file.label.substr(0, slash + 1);
    struct stat status {};
    if (stat(folder.c_str(), &status) != 0) {
        report.warning(site.properties, file.line,
                       "the folder of the log file " + file.label + " cannot be used, so its appender is left out: " +
                           strerror(errno) + "; use the service's folder, /var/lib/telnodriver");
        return;
    }
    const bool there = stat(file.label.c_str(), &status) == 0;
    if (there && !S_ISREG(status.st_mode))
        report.warning(site.properties, file.line,
                       "the log file " + file.label + " is not a regular file: name another");
    else if (!mayWrite(there ? file.label : folder, user))
        report.warning(site.properties, file.line,
                       "the user " + user + " cannot write the log file " + file.label +
                           ", so its appender is left out: use the service's folder, /var/lib/telnodriver");
}

} // namespace

void checkCard(const Site& site, bool modem, const std::string& user, Report& report)
{
    const Place& port = site.serialPort;
    struct stat status {};
    if (modem && stat(port.label.c_str(), &status) != 0)
        report.warning(site.properties, port.line,
                       "the serial port " + port.label + " cannot be used, so no SMS is sent or obeyed: " +
                           strerror(errno) + "; is the modem plugged in?");
    else if (modem && !S_ISCHR(status.st_mode))
        report.warning(site.properties, port.line,
                       port.label + " is not a serial port, so no SMS is sent or obeyed: name the modem's");
    for (const Place& file : site.logFiles)
        checkLogFile(site, file, user, report);
}
