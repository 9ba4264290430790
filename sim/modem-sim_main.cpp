// modem-sim: a GSM modem on a pseudo terminal, controlled by standard input.
#include "modem/ModemConsole.h"

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <iostream>
#include <poll.h>
#include <sys/signalfd.h>
#include <system_error>
#include <unistd.h>

namespace {

/// Blocks the signals that end the program. @return a descriptor that receives them
int takeSignals()
{
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGTERM);
    sigaddset(&ending, SIGINT);
    sigaddset(&ending, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &ending, nullptr);
    return signalfd(-1, &ending, SFD_CLOEXEC);
}

/// Runs the complete lines of @p text and removes them. @return false if the user wants to quit
bool obey(ModemConsole& console, std::string& text)
{
    for (std::size_t end = 0; (end = text.find('\n')) != std::string::npos; text.erase(0, end + 1)) {
        const auto answer = console.run(text.substr(0, end));
        (answer.ok ? std::cout : std::cerr) << answer.text << std::flush;
        if (answer.quit) {
            return false;
        }
    }
    return true;
}

void serve(ModemSim& modem, int signals)
{
    ModemConsole console(modem);
    std::string text;
    pollfd fds[] = {{STDIN_FILENO, POLLIN, 0}, {signals, POLLIN, 0}};
    while (poll(fds, 2, -1) > 0 && fds[1].revents == 0) {
        char bytes[4096];
        const ssize_t got = fds[0].revents != 0 ? read(STDIN_FILENO, bytes, sizeof bytes) : 0;
        if (got > 0) {
            text.append(bytes, static_cast<std::size_t>(got));
        } else if (fds[0].revents != 0) { // a modem in the background goes on after the end of standard input
            fds[0].fd = -1;
            text += '\n';
        }
        if (!obey(console, text)) {
            return;
        }
    }
}

struct Wishes {
    long delay = 0, registration = 0; // milliseconds
    bool off = false, trace = false;
    int errorMode = 0;
};

void addOptions(CLI::App& app, ModemSim::Options& options, Wishes& wishes)
{
    app.add_option("--link", options.link, "symbolic link to the terminal")->required();
    app.add_option("--pin", options.pin, "the SIM asks for this PIN")
        ->check(CLI::Validator(
            [](std::string& pin) {
                const bool good =
                    pin.size() >= 4 && pin.size() <= 8 && pin.find_first_not_of("0123456789") == std::string::npos;
                return good ? std::string() : "a PIN has 4 to 8 digits";
            },
            "DIGITS"));
    app.add_option("--puk", options.puk, "the SIM's PUK")->capture_default_str();
    app.add_option("--places", options.places, "storage places of the SIM")
        ->check(CLI::Range(0, 255))
        ->capture_default_str();
    app.add_option("--operator", options.operatorName, "network operator; empty for none")->capture_default_str();
    app.add_option("--registration", wishes.registration, "milliseconds from the unlocked SIM to the network")
        ->check(CLI::NonNegativeNumber);
    app.add_option("--cmee", wishes.errorMode, "error reports: 0 plain, 1 numbers, 2 texts")->check(CLI::Range(0, 2));
    app.add_option("--chunk", options.chunk, "send replies in pieces of this many bytes");
    app.add_option("--delay", wishes.delay, "milliseconds before each reply")->check(CLI::NonNegativeNumber);
    app.add_flag("--echo", options.echo, "echo what is typed");
    app.add_flag("--off", wishes.off, "start switched off");
    app.add_flag("--trace", wishes.trace, "show every line on standard output");
}

// Runs until its input or a signal ends it. @return the exit status
int run(const ModemSim::Options& options, bool trace)
{
    const int signals = takeSignals();
    std::signal(SIGPIPE, SIG_IGN);
    try {
        ModemSim modem(options);
        modem.observe(
            [trace](const ModemSim::TrafficLine& line) {
                if (trace) {
                    std::printf("%c %s\n", line.direction == ModemSim::TrafficLine::ToModem ? '>' : '<',
                                modemsim::visible(line.text).c_str());
                    std::fflush(stdout);
                }
            },
            [](const ModemSim::SentSms& message) {
                std::printf("sent %s \"%s\"\n", message.number.c_str(), modemsim::visible(message.text).c_str());
                std::fflush(stdout);
            });
        std::printf("modem on %s\n", modem.path().c_str());
        std::fflush(stdout);
        serve(modem, signals);
    } catch (const std::system_error& error) {
        std::fprintf(stderr, "modem-sim: %s\n", error.what());
        return 1;
    }
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    ModemSim::Options options;
    Wishes wishes;

    CLI::App app(
        "A GSM modem on a pseudo terminal. Standard input takes commands (help lists them), standard output shows "
        "every SMS that is sent.");
    addOptions(app, options, wishes);
    CLI11_PARSE(app, argc, argv);
    options.delay = ModemSim::milliseconds(wishes.delay);
    options.registrationTime = ModemSim::milliseconds(wishes.registration);
    options.errorMode = static_cast<modemsim::ErrorMode>(wishes.errorMode);
    options.powered = !wishes.off;

    return run(options, wishes.trace);
}
