/// A folder of its own for a test, and what is written to standard error meanwhile.
#ifndef SCRATCHFOLDER_H
#define SCRATCHFOLDER_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

class ScratchFolder {
public:
    ScratchFolder()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "telnoXXXXXX").string();
        mPath = mkdtemp(pattern.data());
    }
    ~ScratchFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(mPath, ignored);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    std::string path(const std::string& name) const { return (mPath / name).string(); }

    /// Writes a file, with the folders on its way. @return its path
    std::string write(const std::string& name, const std::string& content) const
    {
        std::filesystem::create_directories((mPath / name).parent_path());
        std::ofstream(mPath / name, std::ios::binary) << content;
        return path(name);
    }

    std::string read(const std::string& name) const
    {
        std::ifstream file(mPath / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

private:
    std::filesystem::path mPath;
};

/// @return what @p action writes to standard error
template <class Action> std::string standardErrorOf(Action action)
{
    testing::internal::CaptureStderr();
    action();
    return testing::internal::GetCapturedStderr();
}

/// @return how often @p what stands in @p text
inline size_t timesIn(const std::string& text, const std::string& what)
{
    size_t times = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
        ++times;
    return times;
}

#endif
