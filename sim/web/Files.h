// The page's files, compiled in; Files.cpp is made by the build from page/.
#ifndef SIM_WEB_FILES_H
#define SIM_WEB_FILES_H

#include <string_view>
#include <vector>

namespace web {

struct File {
    const char* path; ///< such as "/main.js"
    const char* type; ///< as HTTP names it
    std::string_view content;
};

const std::vector<File>& files();

} // namespace web

#endif
