// A headless Chromium, driven by its own driver, and a bench with its page.
#ifndef TESTS_WEB_BROWSER_H
#define TESTS_WEB_BROWSER_H

#include "../unit/scratchFolder.h"
#include "tavd/Tavd.h"

#include <chrono>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <sys/types.h>
#include <vector>

namespace httplib {
class Client;
}

/// A child process and the lines that it prints. Ends with its owner.
class Program {
public:
    explicit Program(std::vector<std::string> words);
    ~Program() { end(); }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    /// What follows @p before in a line that is yet to come. @throws std::runtime_error when none comes in time
    std::string lineAfter(const std::string& before);
    /// SIGTERM, then SIGKILL. @return its exit status, -1 when it had to be killed
    int end();
    pid_t pid() const { return m_pid; }

private:
    pid_t m_pid = -1;
    int m_output = -1;
    std::string m_read;
};

/// Starts the server with some inputs and outputs of the example's. @throws std::runtime_error
void startExample(sim::Tavd& server);

/// Each operation throws std::runtime_error when the browser refuses it. Elements are named by CSS selectors.
class Browser {
public:
    Browser();
    ~Browser();
    Browser(const Browser&) = delete;
    Browser& operator=(const Browser&) = delete;

    void open(const std::string& address);
    void click(const std::string& selector);
    void flip(const std::string& input);
    /// Waits until the output's lamp shows @p value. @return false when it did not in time
    bool lampBecomes(const std::string& output, const std::string& value);
    /// Types into an element as a keyboard does; WebDriver's code points stand for keys.
    void type(const std::string& selector, const std::string& keys);
    /// Presses keys wherever the focus is.
    void press(const std::string& key);
    /// The value of a JavaScript expression.
    nlohmann::json value(const std::string& expression);
    /// Waits until an expression is true. @return false when it did not become so in time
    bool becomes(const std::string& expression, std::chrono::seconds limit = std::chrono::seconds(60));
    void setWidth(int width, int height, bool dark = false);
    /// The bytes of a PNG, of the window or of one element.
    std::string picture(const std::string& selector = "");
    /// Bytes that the page's scripts hold, after a collection.
    double heap();
    /// What the browser complained about since it was asked last, violations of the page's policy among it.
    std::vector<std::string> complaints();

private:
    nlohmann::json ask(const char* method, const std::string& path, const nlohmann::json& body = nullptr);
    nlohmann::json devtools(const std::string& command, const nlohmann::json& parameters);
    std::string element(const std::string& selector);

    ScratchFolder m_profile;
    std::unique_ptr<Program> m_driver;
    std::unique_ptr<httplib::Client> m_client;
    std::string m_session;
};

#endif
