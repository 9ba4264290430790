#include "properties.h"

#include "regularFile.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <sstream>

bool cProperties::load(const char* file_name)
{
    std::string content;
    std::string trouble;
    if (!readRegularFile(file_name, kMaxBytes, content, trouble)) {
        std::printf("Failed to load input file %s\n", file_name);
        std::fflush(stdout);
        return false;
    }
    mPropsMap.clear();
    std::istringstream lines(content);
    char buffer[256];
    while (lines.getline(buffer, sizeof buffer)) { // a longer line ends the loop
        std::string line(buffer);
        line.erase(std::min(line.find('#'), line.size()));
        const size_t equals = line.find('=');
        if (equals == std::string::npos) {
            continue;
        }
        mPropsMap.emplace(line.substr(0, equals), line.substr(equals + 1)); // keeps the first line of a key
    }
    return true;
}

const char* cProperties::getString(const char* key, const char* defval)
{
    const auto property = mPropsMap.find(key);
    return property != mPropsMap.end() ? property->second.c_str() : defval;
}

int cProperties::getInt(const char* key, int defval)
{
    const char* const value = getString(key, nullptr);
    return value != nullptr ? std::atoi(value) : defval;
}
