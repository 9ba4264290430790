// tavd-sim: a simulated object server.
#include "tavd/Tavd.h"

#include <CLI/CLI.hpp>

#include <csignal>
#include <cstdio>

namespace {

// Runs until it is interrupted. @return the exit status
int serve(const std::string& file, const std::string& address, uint16_t port, sim::Tavd::Manners manners)
{
    // Blocks the signals before the server's thread exists, so that only sigwait below receives them.
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGINT);
    sigaddset(&ends, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &ends, nullptr);
    signal(SIGPIPE, SIG_IGN);
    setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);

    std::vector<sim::Port> ports;
    std::string error;
    sim::Tavd tavd;
    tavd.onChange([](const sim::Port& changed) {
        if (changed.output)
            printf("output %s state=%s\n", changed.label.c_str(), sim::stateWord(changed.state));
        else
            printf("input %s status=%s\n", changed.label.c_str(), sim::statusWord(changed.status));
    });
    if (sim::readPorts(file, ports, error)) {
        tavd.setManners(std::move(manners));
        tavd.setPorts(ports);
        if (tavd.start(address, port, &error)) {
            printf("%zu ports at %s:%d\n", ports.size(), address.c_str(), tavd.port());
            int received = 0;
            sigwait(&ends, &received);
            tavd.stop();
            return 0;
        }
    }
    fprintf(stderr, "tavd-sim: %s\n", error.c_str());
    return 1;
}

} // namespace

int main(int argc, char* argv[])
{
    CLI::App app("An object server for a desk: publishes the ports of a file and obeys its clients");
    std::string file, address = "127.0.0.1";
    uint16_t port = 60000;
    app.add_option("--ports", file, "XML file with the ports")->required();
    app.add_option("--listen", address, "address to listen on")->capture_default_str();
    app.add_option("--port", port, "TCP port to listen on; 0 for a free one")->capture_default_str();
    sim::Tavd::Manners manners;
    bool silent = false;
    double delay = 0;
    app.add_flag("--reversed", manners.reversed, "answer in the reverse order");
    app.add_flag("--no-acknowledgements", silent, "do not acknowledge a set");
    app.add_flag("--strange-events", manners.strange,
                 "send events of unknown ports, devices and sites before each event");
    app.add_option("--omit", manners.omitted, "leave the port with this label out of answers");
    app.add_option("--answer-after", delay, "seconds from a get to its answer")->check(CLI::Range(0.0, 3600.0));
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& wrong) {
        if (wrong.get_exit_code() == 0)
            return app.exit(wrong); // help was asked for
        fprintf(stderr, "tavd-sim: %s\n", wrong.what());
        return 1;
    }

    manners.acknowledges = !silent;
    manners.answerDelay = std::chrono::duration_cast<sim::Tavd::Clock::duration>(std::chrono::duration<double>(delay));
    return serve(file, address, port, std::move(manners));
}
