#include "Graphviz.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

struct Close {
    void operator()(FILE* file) const { fclose(file); }
};
using File = std::unique_ptr<FILE, Close>; // unlinked, so that neither side waits for the other

std::nullopt_t fail(const std::string& why)
{
    fprintf(stderr, "telnodriver-check: %s\n", why.c_str());
    return std::nullopt;
}

std::string contentOf(FILE* file)
{
    std::string text;
    char buffer[65536];
    rewind(file);
    for (size_t length = 0; (length = fread(buffer, 1, sizeof buffer, file)) > 0;)
        text.append(buffer, length);
    return text;
}

// @return the error number if it could not be started; else 0, with the exit status
int runDot(FILE* input, FILE* output, FILE* errors, int& status)
{
    char* arguments[] = {const_cast<char*>("dot"), const_cast<char*>("-Tsvg"), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fileno(input), STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, fileno(output), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, fileno(errors), STDERR_FILENO);
    pid_t child = 0;
    const int failed = posix_spawnp(&child, "dot", &actions, nullptr, arguments, environ);
    posix_spawn_file_actions_destroy(&actions);
    while (failed == 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return failed;
}

// Splits the documents that dot wrote one after another. Their texts contain no angle bracket.
std::vector<Drawing> drawingsIn(const std::string& documents)
{
    std::vector<Drawing> drawings;
    for (size_t at = documents.find("<svg "); at != std::string::npos; at = documents.find("<svg ", at)) {
        const size_t box = documents.find("viewBox=\"", at), group = documents.find("<g ", at),
                     end = documents.find("</svg>", at);
        Drawing drawing{};
        if (end == std::string::npos || box > group || group > end ||
            sscanf(documents.c_str() + box, "viewBox=\"%*f %*f %lf %lf\"", &drawing.width, &drawing.height) != 2)
            break;
        drawing.group = documents.substr(group, end - group);
        drawings.push_back(std::move(drawing));
        at = end;
    }
    return drawings;
}

} // namespace

std::optional<std::vector<Drawing>> draw(const std::vector<std::string>& graphs)
{
    const File input(tmpfile()), output(tmpfile()), errors(tmpfile());
    if (!input || !output || !errors)
        return fail(std::string("no temporary file for a picture: ") + strerror(errno));
    for (const std::string& graph : graphs)
        fwrite(graph.data(), 1, graph.size(), input.get());
    if (fflush(input.get()) != 0 || ferror(input.get()) != 0)
        return fail(std::string("the temporary file for a picture cannot be written: ") + strerror(errno));
    rewind(input.get());
    int status = 0;
    const int failed = runDot(input.get(), output.get(), errors.get(), status);
    if (failed == ENOENT)
        return fail("pictures are drawn by Graphviz, whose program dot is not there: install the package graphviz");
    if (failed != 0)
        return fail(std::string("Graphviz' program dot: ") + strerror(failed));
    std::vector<Drawing> drawings = drawingsIn(contentOf(output.get()));
    if (status != 0 || drawings.size() != graphs.size())
        return fail("Graphviz has drawn " + std::to_string(drawings.size()) + " of " + std::to_string(graphs.size()) +
                    " pictures: " + contentOf(errors.get()));
    return drawings;
}
