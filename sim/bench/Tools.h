// The paths of the programs and libraries that the bench starts.
#ifndef SIM_BENCH_TOOLS_H
#define SIM_BENCH_TOOLS_H

#include <string>

namespace bench {

/// The daemon and the preloaded libraries.
struct Tools {
    std::string daemon;
    std::string libraries; ///< folder of libveliosim.so, libbenchclock.so and libfaultshim.so
};

/// Finds them from this program's own folder, in a build tree or an installation.
/// @param daemon  the daemon to use instead; empty for the one found
Tools findTools(const std::string& daemon);

/// The path without "." and links; unchanged if it does not exist.
std::string absolute(const std::string& path);
std::string folderOf(const std::string& path);

} // namespace bench

#endif
