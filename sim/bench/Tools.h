// Where the bench's programs find what they start.
#ifndef SIM_BENCH_TOOLS_H
#define SIM_BENCH_TOOLS_H

#include <string>

namespace bench {

/// The daemon and the preloaded libraries.
struct Tools {
    std::string daemon;
    std::string libraries; ///< folder of libveliosim.so, libbenchclock.so and libfaultshim.so
};

/// From the folder that this program stands in, be it a build folder or an installation. @param daemon another one than
/// the one found there, unless empty
Tools findTools(const std::string& daemon);

/// The path without "." and links, or as it was where it does not exist.
std::string absolute(const std::string& path);
std::string folderOf(const std::string& path);

} // namespace bench

#endif
