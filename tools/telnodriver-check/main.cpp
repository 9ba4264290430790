// telnodriver-check: finds the mistakes in the daemon's three files, and explains what the daemon makes of them.
#include "Explain.h"
#include "Fix.h"
#include "Report.h"
#include "Site.h"

#include "VelIdentifier.h"
#include "cWlog.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <pwd.h>
#include <string>

namespace {

struct Options {
    std::string properties = "/etc/tav/telnodriver.conf", format = "text", server, peer, user = "telnodriver";
    bool strict = false, onCard = false, fix = false, yes = false;
    Explaining explaining;
};

// HOST, HOST:PORT or an IPv6 address, which has several colons.
std::string wrongPort(const std::string& host)
{
    if (std::count(host.begin(), host.end(), ':') != 1)
        return "";
    const std::string port = host.substr(host.find(':') + 1);
    const bool digits = !port.empty() && port.size() <= 5 && port.find_first_not_of("0123456789") == std::string::npos;
    return digits && std::stol(port) >= 1 && std::stol(port) <= 65535 ? "" : "not a port: " + port;
}

void addChecking(CLI::App& app, Options& options)
{
    app.add_option("PROPERTIES-FILE", options.properties, "the properties file, which names the other two")
        ->capture_default_str();
    app.add_flag("--strict", options.strict, "treat warnings as errors");
    CLI::Option* format = app.add_option("--format", options.format, "text or json");
    format->check(CLI::IsMember({"text", "json"}))->capture_default_str();
    app.add_option("--server", options.server, "report labels that the object server at HOST[:PORT] does not know")
        ->check(wrongPort);
    app.add_option("--peer", options.peer,
                   "the GSM message file of another card: report texts that one card sends and the other takes for a "
                   "command");
    app.add_flag("--on-card", options.onCard,
                 "also check the serial port and the log's folders; the default for files in /etc/tav");
    app.add_option("--user", options.user, "the service's user, who must be able to write the log")
        ->check(
            [](const std::string& user) { return getpwnam(user.c_str()) != nullptr ? "" : "there is no user " + user; })
        ->capture_default_str();
    CLI::Option* fix = app.add_flag("--fix", options.fix, "show a patch for mistakes with only one remedy, and ask");
    fix->excludes(format);
    app.add_flag("--yes", options.yes, "with --fix: change the files without asking")->needs(fix);
}

// The argument of --svg and --html is a file, and may be missing.
std::string wrongFile(const std::string& file)
{
    const bool value = file.find('=') != std::string::npos && file.find('/') == std::string::npos;
    return value ? "the option takes a FILE; " + file + " stands before it, or the FILE is written ./" + file : "";
}

CLI::App* addExplaining(CLI::App& app, Explaining& asked)
{
    CLI::App* explaining =
        app.add_subcommand("explain", "show every connection with the value of every node, and what follows");
    explaining->fallthrough(); // --server may stand behind "explain" too
    explaining->add_option("VALUES", asked.values,
                           "LABEL=set|clear|warn|unknown|offline; inputs that are not named are clear");
    explaining->add_flag("--live", asked.live, "take the values from the object server");
    CLI::Option* table = explaining->add_option("--table", asked.table, "print the truth table of this output");
    CLI::Option* svg = explaining->add_option("--svg", asked.svg, "draw the rules into this SVG file");
    CLI::Option* html =
        explaining->add_option("--html", asked.html, "write pictures and truth tables into this HTML file");
    for (CLI::Option* option : {svg, html})
        option->expected(0, 1)->type_name("FILE")->check(wrongFile)->excludes(table);
    svg->excludes(html);
    explaining->add_flag("--offline", asked.offline, "with --table and --html: offline inputs, too");
    return explaining;
}

int runExplain(const Options& options, const Site& site)
{
    Explaining asked = options.explaining;
    asked.server = options.server.empty() ? site.host : options.server;
    return explain(site.pairs, asked);
}

// Whether this is a card that uses its modem.
bool hasModem()
{
    cWlog logger("telnodriver-check");
    return VelIdentifier(&logger).getHardwareNumber() == 1;
}

int runCheck(const Options& options, Site& site, Report& report)
{
    checkPairs(site, report);
    checkMessages(site, report);
    checkTogether(site, report);
    checkRules(site, report);
    if (options.onCard || options.properties.rfind("/etc/tav/", 0) == 0)
        checkCard(site, options.onCard || hasModem(), options.user, report);
    if (!options.peer.empty())
        checkPeer(site, options.peer, report);
    if (!options.server.empty())
        checkServer(site, options.server, report);
    options.format == "json" ? report.printJson() : report.print();
    if (options.fix && !fix(report, options.yes))
        return 2;
    return report.exitStatus(options.strict);
}

} // namespace

int main(int argc, char* argv[])
{
    CLI::App app("Finds the mistakes in the files of telnodriver, and explains what the daemon makes of them.\n"
                 "Exit status: 0 nothing found, 1 warnings, 2 errors");
    Options options;
    addChecking(app, options);
    const CLI::App* explaining = addExplaining(app, options.explaining);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& wrong) {
        if (wrong.get_exit_code() == 0)
            return app.exit(wrong); // help was asked for
        fprintf(stderr, "telnodriver-check: %s\n", wrong.what());
        return 2;
    }
    cWlog::init(cWlog::ERROR); // the readers' errors, but no lines about outputs

    Report report;
    Site site;
    site.properties = options.properties;
    checkProperties(site, report);
    return explaining->parsed() ? runExplain(options, site) : runCheck(options, site, report);
}
