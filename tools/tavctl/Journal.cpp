#include "Journal.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr size_t kMostBytes = 1 << 20; // of a line; what is longer is left out

// With signals as a program expects them: this one blocks those that end it. @return an error number
int spawn(std::vector<std::string> words, int out, pid_t& child)
{
    std::vector<char*> arguments;
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_adddup2(&files, out, STDOUT_FILENO);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
    const int problem = posix_spawnp(&child, arguments[0], &files, &attributes, arguments.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&files);
    return problem;
}

} // namespace

Journal::Journal(const std::string& unit, Listener line, Listener lost)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        lost(strerror(errno));
        return;
    }
    m_end = ends[0];
    const int problem =
        spawn({"journalctl", "--follow", "--lines=0", "--output=json", "--unit=" + unit}, ends[1], m_child);
    close(ends[1]);
    if (problem != 0) {
        m_child = -1;
        lost(std::string("journalctl: ") + strerror(problem));
        return;
    }
    m_reader = std::thread([this, line = std::move(line), lost = std::move(lost)] { read(line, lost); });
}

Journal::~Journal()
{
    m_closing = true;
    if (m_child > 0)
        kill(m_child, SIGTERM);
    if (m_reader.joinable())
        m_reader.join();
    if (m_child > 0)
        waitpid(m_child, nullptr, 0);
    if (m_end >= 0)
        close(m_end);
}

void Journal::read(const Listener& line, const Listener& lost)
{
    std::string partial, text;
    char bytes[4096];
    for (ssize_t length; (length = ::read(m_end, bytes, sizeof bytes)) > 0 || (length < 0 && errno == EINTR);) {
        for (ssize_t i = 0; i < length; ++i) {
            if (bytes[i] != '\n') {
                if (partial.size() < kMostBytes)
                    partial += bytes[i];
                continue;
            }
            if (message(partial, text))
                line(text);
            partial.clear();
        }
    }
    if (!m_closing)
        lost("journalctl has ended");
}

// A text, or an array of bytes where it is not UTF-8.
bool Journal::message(const std::string& json, std::string& text)
{
    const nlohmann::json entry = nlohmann::json::parse(json, nullptr, false);
    if (!entry.is_object() || !entry.contains("MESSAGE"))
        return false;
    const nlohmann::json& message = entry["MESSAGE"];
    if (message.is_string()) {
        text = message.get<std::string>();
        return true;
    }
    text.clear();
    for (const nlohmann::json& byte : message.is_array() ? message : nlohmann::json::array()) {
        if (!byte.is_number_unsigned() || byte.get<unsigned>() > 255)
            return false;
        text += static_cast<char>(byte.get<unsigned>());
    }
    return message.is_array();
}
