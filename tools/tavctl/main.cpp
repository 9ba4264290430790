// tavctl: a client of any object server, for the command line.
#include "Server.h"
#ifdef TAVCTL_WEB
#include "Record.h"
#include "Web.h"
#endif

#include <CLI/CLI.hpp>

#include <cstdio>

namespace {

void addChange(CLI::App& command, const char* what, const std::vector<std::string>& words, std::string& label,
               std::string& word)
{
    command.add_option("LABEL", label)->required();
    command.add_option(what, word)->required()->check(CLI::IsMember(words));
}

bool operate(const CLI::App& app, Server& server, const std::string& label, const std::string& word)
{
    if (app.got_subcommand("list"))
        return server.list();
    if (app.got_subcommand("watch"))
        return server.watch();
    if (app.got_subcommand("alarm"))
        return server.alarm(label, word);
    return server.drive(label, word);
}

} // namespace

int main(int argc, char* argv[])
{
    CLI::App app("Lists, watches and changes the ports of an object server");
    std::string host = "127.0.0.1", label, word;
    uint16_t port = 60000;
    app.add_option("--host", host, "the object server's host")->capture_default_str();
    app.add_option("--port", port, "its TCP port")->capture_default_str();
    app.require_subcommand(1);
    app.add_subcommand("list", "print a line for each port");
    app.add_subcommand("watch", "print every change with its time, until interrupted");
    CLI::App* alarm = app.add_subcommand("alarm", "set an input's alarm status (simulated servers only)");
    CLI::App* drive = app.add_subcommand("drive", "drive an output");
    addChange(*alarm, "STATUS", {"set", "clear", "warn", "unknown"}, label, word);
    addChange(*drive, "STATE", {"set", "clear"}, label, word);
    std::string listen, folder;
#ifdef TAVCTL_WEB
    CLI::App* web = app.add_subcommand("web", "show the ports in a browser, read-only");
    web->add_option("--listen", listen, "PORT of 127.0.0.1, or ADDRESS:PORT, to listen on");
    web->add_option("--config", folder, "folder with the daemon's configuration, to show its rules")
        ->check(CLI::ExistingDirectory);
    std::string file, unit = "telnodriver";
    CLI::App* record = app.add_subcommand("record", "write every change into a new file, until interrupted");
    record->add_option("FILE", file)->required();
    record->add_option("--unit", unit, "whose lines of the journal are recorded, too; \"\" for none")
        ->capture_default_str();
#endif
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& wrong) {
        if (wrong.get_exit_code() == 0)
            return app.exit(wrong); // help was asked for
        fprintf(stderr, "tavctl: %s\n", wrong.what());
        return 1;
    }
    setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);

#ifdef TAVCTL_WEB
    if (web->parsed())
        return showPage(host, port, listen, folder);
    if (record->parsed())
        return recordCard(host, port, file, unit);
#endif
    Server server(host, port);
    const bool done = operate(app, server, label, word);
    if (!done)
        fprintf(stderr, "tavctl: %s:%d: %s\n", host.c_str(), port, server.error().c_str());
    return done ? 0 : 1;
}
