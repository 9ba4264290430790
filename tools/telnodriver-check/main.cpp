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
#include <string>

namespace {

// The readers say on standard output that a file cannot be opened; the report says it better.
Site readSite(const std::string& properties, Report& report)
{
    Site site;
    site.properties = properties;
    checkProperties(site, report);
    return site;
}

// Whether this is a card that uses its modem.
bool hasModem()
{
    cWlog logger("telnodriver-check");
    return VelIdentifier(&logger).getHardwareNumber() == 1;
}

// HOST, HOST:PORT or an IPv6 address, whose colons are more than one.
std::string wrongPort(const std::string& host)
{
    if (std::count(host.begin(), host.end(), ':') != 1)
        return "";
    const std::string port = host.substr(host.find(':') + 1);
    const bool digits = !port.empty() && port.size() <= 5 && port.find_first_not_of("0123456789") == std::string::npos;
    return digits && std::stol(port) >= 1 && std::stol(port) <= 65535 ? "" : "not a port: " + port;
}

} // namespace

int main(int argc, char* argv[])
{
    CLI::App app("Finds the mistakes in the files of telnodriver, and explains what the daemon makes of them.\n"
                 "Exit status: 0 nothing found, 1 warnings, 2 errors");
    std::string properties = "/etc/tav/telnodriver.conf", format = "text", server, table, peer;
    std::vector<std::string> values;
    std::string user = "telnodriver";
    bool strict = false, live = false, withOffline = false, onCard = false, fixing = false, yes = false;
    app.add_option("PROPERTIES-FILE", properties, "the properties file, which names the other two")
        ->capture_default_str();
    app.add_flag("--strict", strict, "take warnings for errors");
    CLI::Option* formatted = app.add_option("--format", format, "text or json");
    formatted->check(CLI::IsMember({"text", "json"}))->capture_default_str();
    app.add_option("--server", server, "HOST[:PORT] of an object server that is asked which labels it knows")
        ->check(wrongPort);
    app.add_option("--peer", peer,
                   "the GSM message file of another card that this one texts with: finds what one sends and the other "
                   "takes for a command");
    app.add_flag("--on-card", onCard,
                 "look at the serial port and the log's folders, too; so it is for files in /etc/tav");
    app.add_option("--user", user, "the service's user, who must be able to write the log")->capture_default_str();
    CLI::Option* fixed =
        app.add_flag("--fix", fixing, "show a patch of what has only one remedy, and ask")->excludes(formatted);
    app.add_flag("--yes", yes, "with --fix: change the files without asking")->needs(fixed);
    CLI::App* explaining =
        app.add_subcommand("explain", "show every connection with the value of every node, and what follows");
    explaining->fallthrough(); // --server may stand behind "explain" too
    explaining->add_option("VALUES", values,
                           "LABEL=set|clear|warn|unknown|offline; inputs that are not named are clear");
    explaining->add_flag("--live", live, "take the values from the object server");
    explaining->add_option("--table", table, "print the truth table of this output");
    explaining->add_flag("--offline", withOffline, "with --table: offline inputs, too");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& wrong) {
        if (wrong.get_exit_code() == 0)
            return app.exit(wrong); // help was asked for
        fprintf(stderr, "telnodriver-check: %s\n", wrong.what());
        return 2;
    }
    cWlog::init(cWlog::ERROR); // what the readers say beside the report; no word of outputs being set

    Report report;
    Site site = readSite(properties, report);
    if (explaining->parsed()) {
        std::map<std::string, std::string> states;
        for (const std::string& value : values) {
            const size_t equals = value.find('=');
            if (equals == std::string::npos) {
                fprintf(stderr, "telnodriver-check: a value is LABEL=STATUS, not %s\n", value.c_str());
                return 2;
            }
            states[value.substr(0, equals)] = value.substr(equals + 1);
        }
        if (!table.empty())
            return explainTable(site.pairs, table, withOffline);
        return live ? explainLive(site.pairs, server.empty() ? site.host : server) : explain(site.pairs, states);
    }
    checkPairs(site, report);
    checkMessages(site, report);
    checkTogether(site, report);
    checkRules(site, report);
    if (onCard || properties.rfind("/etc/tav/", 0) == 0)
        checkCard(site, onCard || hasModem(), user, report);
    if (!peer.empty())
        checkPeer(site, peer, report);
    if (!server.empty())
        checkServer(site, server, report);
    format == "json" ? report.printJson() : report.print();
    if (fixing && !fix(report, yes))
        return 2;
    return report.exitStatus(strict);
}
