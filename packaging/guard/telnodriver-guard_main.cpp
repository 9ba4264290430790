// Runs before each start of the service. It refuses a configuration with errors, and protects the SIM's PIN tries: the
// daemon's set-up sends the PIN in each of up to six passes, so one start with a wrong PIN would block the SIM. The
// guard tries the PIN once, records the outcome, and does not try a refused PIN again until the properties file
// changes.
//
// Exit status: 0 the daemon may start; 1 it may not, for the reason on standard error; 2 wrong usage.
#include "GSMIOmanager.h"
#include "ModemPort.h"
#include "PinRecord.h"
#include "VelIdentifier.h"
#include "properties.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <getopt.h>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int kAnswerSeconds = 2; ///< a powered modem answers within milliseconds
constexpr int kPinSeconds = 20;   ///< a SIM may take long to check a PIN
constexpr int kBootQuestions = 12;
constexpr int kPulses = 2;
constexpr std::size_t kLongestPin = 7; ///< the daemon cuts a longer one
constexpr const char* kUsage =
    "usage: telnodriver-guard [--properties FILE] [--record FILE] [--checker PROGRAM] [--root DIR]\n"
    "  --properties FILE   the properties file\n"
    "  --record FILE       the outcome of the last PIN\n"
    "  --checker PROGRAM   the program that checks the configuration\n"
    "  --root DIR          prefix of the paths that tell the card's model\n"
    "  --help              print this\n";

enum class Sim { SILENT, BUSY, READY, ASKS_PIN, OTHER };

struct Settings {
    std::string properties = "/etc/tav/telnodriver.conf";
    std::string record = "/var/lib/telnodriver/pin";
    std::string checker = "/usr/bin/telnodriver-check";
    std::string root; ///< prefix of the paths that tell the card's model
};

/// The checker's errors (exit status 2 and above) refuse the start; its warnings do not.
bool configurationHolds(const Settings& settings)
{
    std::string program = settings.checker;
    std::string file = settings.properties;
    char* arguments[] = {program.data(), file.data(), nullptr};
    pid_t child = 0;
    int status = 0;
    const int failed = posix_spawn(&child, program.c_str(), nullptr, nullptr, arguments, environ);
    if (failed != 0) {
        fprintf(stderr, "telnodriver-guard: %s: %s\n", program.c_str(), strerror(failed));
        return false;
    }
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) < 2) {
        return true;
    }
    fprintf(stderr, "telnodriver-guard: not started: correct the errors that telnodriver-check has found in %s\n",
            file.c_str());
    return false;
}

Sim askSim(ModemPort& port)
{
    const auto lines = port.ask("AT+CPIN?", kAnswerSeconds);
    for (const std::string& line : lines) {
        if (line == "+CPIN: READY") {
            return Sim::READY;
        }
        if (line == "+CPIN: SIM PIN") {
            return Sim::ASKS_PIN;
        }
        if (line.rfind("+CPIN: ", 0) == 0) {
            return Sim::OTHER;
        }
    }
    // An echo is no answer. A result without a state means that the SIM is starting or missing.
    return !lines.empty() && lines.back().find("ERROR") != std::string::npos ? Sim::BUSY : Sim::SILENT;
}

/// Asks until the SIM gives a definite state, at most for the time that a modem takes to start.
Sim awaitSim(ModemPort& port)
{
    Sim sim = askSim(port);
    for (int asked = 1; asked < kBootQuestions && (sim == Sim::BUSY || sim == Sim::SILENT); ++asked) {
        if (sim == Sim::BUSY) {
            sleep(1);
        }
        sim = askSim(port);
    }
    return sim;
}

/// Gives a power pulse to a modem that may be off, as the daemon would.
Sim wakeSim(ModemPort& port)
{
    GSMIOmanager gpio{property_values()};
    cWlog logger("telnodriver-guard");
    Sim sim = Sim::SILENT;
    for (int pulse = 0; pulse < kPulses && sim == Sim::SILENT; ++pulse) {
        fprintf(stderr, "telnodriver-guard: the modem is silent: giving it a power pulse\n");
        gpio.toggle_GSM_power(&logger);
        sim = awaitSim(port);
    }
    return sim;
}

bool refuse(const Settings& settings, const char* what)
{
    fprintf(
        stderr,
        "telnodriver-guard: not started: the SIM %s simPin of %s. Check the PIN in a telephone, then correct or touch "
        "the file: the guard tries a PIN once, until the file changes\n",
        what, settings.properties.c_str());
    return false;
}

/// Sends the PIN once, to a SIM that asks for it.
bool tryPin(const Settings& settings, ModemPort& port, const PinRecord& record, const std::string& pin)
{
    if (record.outcome() == PinRecord::REJECTED) {
        return refuse(settings, "has refused");
    }
    if (record.outcome() == PinRecord::SENT) {
        return refuse(settings, "has received, and may have refused,");
    }
    // The daemon would cut a longer one, and send the rest.
    if (pin.size() < 4 || pin.size() > kLongestPin || pin.find_first_not_of("0123456789") != std::string::npos) {
        fprintf(stderr,
                "telnodriver-guard: not started: the SIM asks for a PIN, and simPin of %s is not 4 to 7 digits\n",
                settings.properties.c_str());
        return false;
    }
    // Recorded before it is sent, so that it is not sent again after a power failure.
    if (!record.store(PinRecord::SENT)) {
        fprintf(stderr, "telnodriver-guard: not started: %s: %s\n", settings.record.c_str(), strerror(errno));
        return false;
    }
    const auto lines = port.ask("AT+CPIN=\"" + pin + "\"", kPinSeconds);
    bool accepted = !lines.empty() && lines.back() == "OK";
    if (lines.empty() || lines.back().find("ERROR") == std::string::npos) {
        accepted = accepted || awaitSim(port) == Sim::READY; // the answer was lost
    }
    const PinRecord::Outcome outcome = accepted ? PinRecord::ACCEPTED : PinRecord::REJECTED;
    if (!record.store(outcome)) {
        fprintf(stderr, "telnodriver-guard: %s: %s\n", settings.record.c_str(), strerror(errno));
    }
    return accepted || refuse(settings, "has refused");
}

/// Whether a start can spend a PIN try. Without a modem it cannot.
bool pinHolds(const Settings& settings)
{
    cWlog logger("telnodriver-guard");
    if (VelIdentifier(&logger, settings.root.c_str()).getHardwareNumber() != 1) {
        return true;
    }
    cProperties properties;
    properties.load(settings.properties.c_str());
    const std::string pin = properties.getString("simPin", "1357");
    ModemPort port(std::string(properties.getString("serialPortName", "/dev/ttyS3")).substr(0, 31));
    if (!port.isOpen()) {
        return true; // the daemon cannot open it either, and runs without the modem
    }
    const PinRecord record(settings.record, settings.properties);
    Sim sim = askSim(port);
    if (sim == Sim::SILENT) { // the modem may be in the middle of a line, or saving power
        sim = askSim(port);
    }
    if (sim == Sim::SILENT && record.outcome() != PinRecord::ACCEPTED) {
        sim = wakeSim(port);
    } else if (sim == Sim::BUSY) {
        sim = awaitSim(port);
    }
    switch (sim) {
    case Sim::ASKS_PIN:
        return tryPin(settings, port, record, pin);
    case Sim::SILENT:
        if (record.outcome() == PinRecord::REJECTED || record.outcome() == PinRecord::SENT) {
            return refuse(settings, "has refused");
        }
        fprintf(stderr, "telnodriver-guard: the modem is silent: the daemon starts, and drives outputs without it\n");
        return true;
    default: // unlocked, no SIM, or a PUK, which only a person can enter
        return true;
    }
}

} // namespace

int main(int argc, char** argv)
{
    Settings settings;
    const option options[] = {{"properties", required_argument, nullptr, 'p'},
                              {"record", required_argument, nullptr, 'r'},
                              {"checker", required_argument, nullptr, 'c'},
                              {"root", required_argument, nullptr, 'R'},
                              {"help", no_argument, nullptr, 'h'},
                              {nullptr, 0, nullptr, 0}};
    for (int choice = 0; (choice = getopt_long(argc, argv, "", options, nullptr)) != -1;) {
        switch (choice) {
        case 'p':
            settings.properties = optarg;
            break;
        case 'r':
            settings.record = optarg;
            break;
        case 'c':
            settings.checker = optarg;
            break;
        case 'R':
            settings.root = optarg;
            break;
        case 'h':
            fputs(kUsage, stdout);
            return 0;
        default:
            return 2;
        }
    }
    if (optind != argc) {
        fputs(kUsage, stderr);
        return 2;
    }
    return configurationHolds(settings) && pinHolds(settings) ? 0 : 1;
}
