// The page's files, compiled in. The build makes Files.cpp from page/.
#ifndef SIM_WEB_FILES_H
#define SIM_WEB_FILES_H

#include <string_view>
#include <vector>

namespace web {

struct File {
    const char* path; ///< such as "/main.js"
    const char* type; ///< its media type
    std::string_view content;
};

const std::vector<File>& files();

} // namespace web

#endif
