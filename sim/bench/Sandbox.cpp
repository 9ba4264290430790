#include "bench/Sandbox.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace bench {

namespace {

std::string problem(const std::string& what)
{
    return what + ": " + strerror(errno);
}

bool writeFile(const char* path, const std::string& content)
{
    const int file = open(path, O_WRONLY | O_CLOEXEC);
    const bool written =
        file >= 0 && write(file, content.data(), content.size()) == static_cast<ssize_t>(content.size());
    if (file >= 0)
        close(file);
    return written;
}

bool loopbackUp()
{
    const int control = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq request{};
    strcpy(request.ifr_name, "lo");
    request.ifr_flags = IFF_UP | IFF_RUNNING;
    const bool up = control >= 0 && ioctl(control, SIOCSIFFLAGS, &request) == 0;
    if (control >= 0)
        close(control);
    return up;
}

bool ownNamespaces()
{
    return unshare(CLONE_NEWNS | CLONE_NEWNET) == 0 && loopbackUp();
}

// Root in a user namespace may make the other namespaces.
bool ownUserNamespace()
{
    const uid_t user = getuid();
    const gid_t group = getgid();
    return unshare(CLONE_NEWUSER) == 0 && writeFile("/proc/self/setgroups", "deny") &&
           writeFile("/proc/self/uid_map", "0 " + std::to_string(user) + " 1\n") &&
           writeFile("/proc/self/gid_map", "0 " + std::to_string(group) + " 1\n");
}

// Replaces /etc by a folder of links to the machine's entries, with its own tav.
std::string ownEtc()
{
    const char* temporary = getenv("TMPDIR");
    std::string stage = std::string(temporary != nullptr ? temporary : "/tmp") + "/tavbench.XXXXXX";
    if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        return problem("mounts cannot be made private");
    if (mkdtemp(stage.data()) == nullptr)
        return problem(stage);
    const std::string host = stage + "/.host";
    if (mount("tavbench", stage.c_str(), "tmpfs", 0, "mode=755,size=64m") != 0 || mkdir(host.c_str(), 0755) != 0 ||
        mount("/etc", host.c_str(), nullptr, MS_BIND | MS_REC, nullptr) != 0) {
        const std::string what = problem("no folder to stand in for /etc");
        rmdir(stage.c_str());
        return what;
    }
    DIR* entries = opendir(host.c_str());
    while (const dirent* entry = entries != nullptr ? readdir(entries) : nullptr) {
        const std::string name = entry->d_name;
        if (name != "." && name != ".." && name != "tav" &&
            symlink((".host/" + name).c_str(), (stage + '/' + name).c_str()) != 0)
            continue; // leaves this name out
    }
    if (entries != nullptr)
        closedir(entries);
    mkdir((stage + "/tav").c_str(), 0755);
    const bool moved = mount(stage.c_str(), "/etc", nullptr, MS_MOVE, nullptr) == 0;
    const std::string what = moved ? "" : problem("/etc cannot be replaced");
    rmdir(stage.c_str());
    return what;
}

} // namespace

std::string enterSandbox()
{
    if (!ownNamespaces() && !(ownUserNamespace() && ownNamespaces()))
        return problem("no namespaces of its own (root, or a kernel that lets users have them, is needed)");
    return ownEtc();
}

} // namespace bench
