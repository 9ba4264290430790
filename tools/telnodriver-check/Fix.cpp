#include "Fix.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

struct Patch {
    std::string file, before, after;
};

bool fail(const std::string& what, const char* why)
{
    fprintf(stderr, "telnodriver-check: %s: %s\n", what.c_str(), why);
    return false;
}

std::string applied(const std::string& text, std::vector<Edit> edits)
{
    std::stable_sort(edits.begin(), edits.end(),
                     [](const Edit& one, const Edit& other) { return one.offset < other.offset; });
    std::string result;
    size_t done = 0;
    const Edit* last = nullptr;
    for (const Edit& edit : edits) {
        const bool twice = last != nullptr && last->offset == edit.offset && last->text == edit.text;
        if (edit.offset < done || edit.offset + edit.length > text.size() || twice)
            continue;
        result += text.substr(done, edit.offset - done) + edit.text;
        done = edit.offset + edit.length;
        last = &edit;
    }
    return result + text.substr(done);
}

// Runs diff over the file and the new text, which comes from an unlinked file.
bool show(const Patch& patch)
{
    FILE* const text = tmpfile();
    if (text == nullptr)
        return fail(patch.file, strerror(errno));
    fwrite(patch.after.data(), 1, patch.after.size(), text);
    rewind(text);
    fflush(stdout);
    std::string label = patch.file, file = patch.file;
    char* arguments[] = {const_cast<char*>("diff"),    const_cast<char*>("-u"),
                         const_cast<char*>("--label"), label.data(),
                         const_cast<char*>("--label"), label.data(),
                         const_cast<char*>("--"),      file.data(),
                         const_cast<char*>("-"),       nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fileno(text), STDIN_FILENO);
    pid_t child = 0;
    int status = 0;
    const int failed = posix_spawnp(&child, "diff", &actions, nullptr, arguments, environ);
    posix_spawn_file_actions_destroy(&actions);
    while (failed == 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    fclose(text);
    if (failed != 0)
        return fail("diff", strerror(failed));
    return (WIFEXITED(status) && WEXITSTATUS(status) <= 1) || fail("diff", "has failed");
}

bool writeWhole(int fd, const std::string& text)
{
    size_t done = 0;
    while (done < text.size()) {
        const ssize_t written = write(fd, text.data() + done, text.size() - done);
        if (written < 0 && errno != EINTR)
            return false;
        done += written > 0 ? static_cast<size_t>(written) : 0;
    }
    return fsync(fd) == 0;
}

bool replace(const Patch& patch)
{
    char path[PATH_MAX]; // replaces the target of a symbolic link, not the link
    std::string now;
    struct stat status {};
    if (realpath(patch.file.c_str(), path) == nullptr || stat(path, &status) != 0 || !readText(path, now))
        return fail(patch.file, strerror(errno));
    if (now != patch.before)
        return fail(patch.file, "has changed meanwhile, and is left alone");
    std::string fresh = std::string(path) + ".XXXXXX";
    const int fd = mkstemp(fresh.data());
    if (fd < 0)
        return fail(patch.file, strerror(errno));
    const bool written = fchown(fd, status.st_uid, status.st_gid) == 0 && fchmod(fd, status.st_mode & 07777) == 0 &&
                         writeWhole(fd, patch.after);
    const bool done = close(fd) == 0 && written && rename(fresh.c_str(), path) == 0;
    if (!done) {
        fail(patch.file, strerror(errno));
        unlink(fresh.c_str());
    }
    return done;
}

bool agreed()
{
    std::string answer;
    if (isatty(STDIN_FILENO) == 0) {
        printf("Nothing is changed: --fix --yes does it.\n");
        return false;
    }
    printf("Change this? [y/N] ");
    fflush(stdout);
    return std::getline(std::cin, answer) && (answer == "y" || answer == "yes");
}

} // namespace

bool fix(const Report& report, bool yes)
{
    std::vector<Patch> patches;
    for (const auto& edits : report.edits()) {
        Patch patch{edits.first, "", ""};
        if (!readText(patch.file, patch.before))
            return fail(patch.file, strerror(errno));
        patch.after = applied(patch.before, edits.second);
        if (!show(patch))
            return false;
        patches.push_back(std::move(patch));
    }
    if (patches.empty()) {
        printf("Nothing has a single remedy.\n");
        return true;
    }
    return !(yes || agreed()) || std::all_of(patches.begin(), patches.end(), replace);
}
