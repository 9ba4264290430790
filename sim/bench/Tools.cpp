#include "bench/Tools.h"

#include <climits>
#include <cstdlib>
#include <unistd.h>

namespace bench {

namespace {

std::string ownFolder()
{
    char path[PATH_MAX] = "";
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path - 1);
    return length > 0 ? folderOf(std::string(path, static_cast<size_t>(length))) : ".";
}

} // namespace

std::string folderOf(const std::string& path)
{
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash);
}

std::string absolute(const std::string& path)
{
    char* real = realpath(path.c_str(), nullptr);
    std::string result = real != nullptr ? real : path;
    free(real);
    return result;
}

Tools findTools(const std::string& daemon)
{
    Tools tools;
    const std::string folder = ownFolder();
    tools.daemon = !daemon.empty() ? absolute(daemon) : folder + "/telnodriver";
    if (access(tools.daemon.c_str(), X_OK) != 0)
        tools.daemon = "/usr/sbin/telnodriver";
    for (const char* libraries : {"/../lib", "/../lib/telnodriver"}) {
        if (access((folder + libraries + "/libveliosim.so").c_str(), R_OK) == 0)
            tools.libraries = absolute(folder + libraries);
    }
    return tools;
}

} // namespace bench
