// The real daemon as a child process, between a simulated object server and a simulated modem of this process.
#ifndef DAEMONBENCH_H
#define DAEMONBENCH_H

#include "../unit/simPort.h"
#include "bench/Daemon.h"
#include "bench/Sandbox.h"
#include "figures.h"
#include "modem/ModemSim.h"
#include "tavd/Tavd.h"

#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

/// Make one before any thread is started; it takes the process into namespaces of its own, where it has /etc/tav and
/// port 60000 to itself. A failure ends the program with a line that says what failed.
class DaemonBench {
public:
    using Clock = figures::Clock;

    DaemonBench()
    {
        check(bench::enterSandbox());
        char path[4096] = "";
        if (readlink("/proc/self/exe", path, sizeof path - 1) < 0)
            check("no path of this program");
        m_program = path;
        m_program = m_program.substr(0, m_program.rfind('/')) + "/telnodriver";
        server.onChange([this](const sim::Port& port) {
            if (alsoTold)
                alsoTold(port);
            if (!port.output)
                return;
            const std::lock_guard<std::mutex> lock(m_mutex);
            if (port.label == m_awaited) {
                m_changed = Clock::now();
                m_awaited.clear();
                m_seen.notify_all();
            }
        });
    }

    static void check(const std::string& trouble)
    {
        if (trouble.empty())
            return;
        fprintf(stderr, "%s\n", trouble.c_str());
        exit(1);
    }

    /// Input IN<i> drives output OUT<i>; NOISE is evaluated with them and drives nothing. The modem's SMS "AL ON" from
    /// 111 sends an alarm to ten numbers.
    void configure(int connections, bool withModem)
    {
        std::vector<sim::Port> ports;
        std::ofstream pairs("/etc/tav/telnodriver.xml");
        pairs << "<io_connections>\n";
        for (int i = 0; i < connections; ++i) {
            const std::string number = std::to_string(i);
            ports.push_back(simPort(false, "IN" + number, i + 1U));
            ports.push_back(simPort(true, "OUT" + number, i + 1U));
            pairs << pair("IN" + number, "IO", "OUT" + number);
        }
        ports.push_back(simPort(false, "NOISE", connections + 1U));
        pairs << "<connection><trigger operation=\"AND\">" << detail("IO", "NOISE") << detail("IO", "NEVER")
              << "</trigger><action>" << detail("IO", "NOTHING") << "</action></connection>\n"
              << pair("AL", "GSM", "AL") << "</io_connections>\n";
        server.setPorts(ports);
        if (!withModem)
            return;
        modem = std::make_unique<ModemSim>();
        std::ofstream("/etc/tav/hardware") << "1\n";
        std::ofstream("/etc/tav/telnodriver.conf") << "serialPortName=" << modem->path() << '\n';
        std::ofstream messages("/etc/tav/gsmconnections.xml");
        messages << "<gsm_connections><Label name=\"AL\"><message value=\"AL\"/><number value=\"111\"/>";
        for (int i = 1; i < 10; ++i)
            messages << "<number value=\"20" << i << "\"/>";
        messages << "</Label></gsm_connections>\n";
    }
    void startServer()
    {
        std::string trouble;
        if (!server.start("127.0.0.1", 60000, &trouble))
            check(trouble);
    }
    void startDaemon()
    {
        bench::Daemon::Settings settings;
        settings.program = m_program;
        check(daemon.start(settings));
    }
    /// From the server's sending of an event to its receipt of the output's new state; -1 if none comes in 30 s.
    double road(int connection, bool set)
    {
        const std::string number = std::to_string(connection);
        std::unique_lock<std::mutex> lock(m_mutex);
        m_awaited = "OUT" + number;
        lock.unlock();
        const Clock::time_point start = Clock::now();
        server.setInput("IN" + number, set ? 1 : 2);
        lock.lock();
        const bool seen = m_seen.wait_for(lock, std::chrono::seconds(30), [this] { return m_awaited.empty(); });
        return seen ? figures::microseconds(m_changed - start) : -1;
    }
    /// The daemon drives outputs from events.
    void waitUntilObeyed()
    {
        server.setInput("IN0", 1);
        if (!server.waitForOutput("OUT0", 1, std::chrono::seconds(30)))
            check("the daemon drives nothing");
        server.setInput("IN0", 2);
        if (!server.waitForOutput("OUT0", 2, std::chrono::seconds(30)))
            check("the daemon drives nothing back");
    }
    /// The modem is set up and the first pass is over.
    void waitUntilModemReady()
    {
        if (!modem->waitForCommand("AT+CMGD=10", 1, std::chrono::seconds(120)))
            check("the modem is not set up");
    }

    void print(const char* when) const
    {
        printf("%s: resident %ld KiB, %ld threads, %ld descriptors\n", when, daemon.residentKiB(), daemon.threads(),
               daemon.descriptors());
    }

    std::function<void(const sim::Port&)> alsoTold; ///< of every change; set before startServer()
    sim::Tavd server;
    std::unique_ptr<ModemSim> modem;
    bench::Daemon daemon;

private:
    static std::string detail(const std::string& type, const std::string& label)
    {
        return "<detail dev_type=\"" + type + "\" io_label=\"" + label + "\"/>";
    }
    static std::string pair(const std::string& trigger, const std::string& type, const std::string& action)
    {
        return "<connection><trigger operation=\"OR\">" + detail("IO", trigger) + "</trigger><action>" +
               detail(type, action) + "</action></connection>\n";
    }

    std::string m_program;
    std::mutex m_mutex; // guards what follows
    std::condition_variable m_seen;
    std::string m_awaited; // an output; empty once it has changed
    Clock::time_point m_changed;
};

#endif
