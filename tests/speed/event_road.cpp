// Prints how long an event takes from the object server through the daemon and back as a driven output, beside a
// ping-pong with as many hand-overs as the daemon needs: one. Five runs, so that one lucky one counts for nothing.
#include "daemonBench.h"
#include "plainServer.h"

#include <asio.hpp>
#include <random>
#include <sched.h>

namespace {

// Keeps the calling thread, and what it starts from here on, to the machine's first core (the measuring side) or to its
// second one (the daemon, and the far side of the ping-pong): where threads happen to run must not decide the ratio.
void stayOn(int core)
{
    cpu_set_t all, one;
    CPU_ZERO(&one);
    if (sched_getaffinity(0, sizeof all, &all) != 0)
        return;
    static const cpu_set_t given = all;
    for (int cpu = 0, seen = 0; cpu < CPU_SETSIZE; ++cpu) {
        if (!CPU_ISSET(cpu, &given) || seen++ != core)
            continue;
        CPU_SET(cpu, &one);
        (void)sched_setaffinity(0, sizeof one, &one);
        return;
    }
}

// A message of an event's size over loopback TCP to a thread that hands it to another, which sends it back.
class PingPong {
public:
    PingPong()
    {
        asio::ip::tcp::acceptor acceptor(m_context, {asio::ip::address_v4::loopback(), 0});
        m_near.connect(acceptor.local_endpoint());
        acceptor.accept(m_far);
        m_near.set_option(asio::ip::tcp::no_delay(true));
        m_far.set_option(asio::ip::tcp::no_delay(true));
        stayOn(1);
        m_reader = std::thread([this] { read(); });
        m_writer = std::thread([this] { answer(); });
        stayOn(0);
    }
    ~PingPong()
    {
        m_near.shutdown(asio::ip::tcp::socket::shutdown_both);
        m_reader.join();
        m_writer.join();
    }
    double once()
    {
        char message[32] = "";
        const auto start = figures::Clock::now();
        asio::write(m_near, asio::buffer(message));
        asio::read(m_near, asio::buffer(message));
        return figures::microseconds(figures::Clock::now() - start);
    }

private:
    void read()
    {
        char message[32];
        asio::error_code end;
        while (!end) {
            asio::read(m_far, asio::buffer(message), end);
            const std::lock_guard<std::mutex> lock(m_mutex);
            ++m_waiting;
            m_end = static_cast<bool>(end);
            m_arrived.notify_one();
        }
    }
    void answer()
    {
        const char message[32] = "";
        std::unique_lock<std::mutex> lock(m_mutex);
        for (;;) {
            m_arrived.wait(lock, [this] { return m_waiting > 0; });
            if (m_end)
                return;
            --m_waiting;
            lock.unlock();
            asio::write(m_far, asio::buffer(message));
            lock.lock();
        }
    }

    asio::io_context m_context;
    asio::ip::tcp::socket m_near{m_context}, m_far{m_context};
    std::mutex m_mutex;
    std::condition_variable m_arrived;
    int m_waiting = 0;
    bool m_end = false;
    std::thread m_reader, m_writer;
};

constexpr int kRuns = 5;

struct Ratios {
    std::vector<double> medians, late; // of the road to the ping-pong; the 99th percentile
};

void measure(PlainServer& server, int connections, int samples, std::vector<bool>& states, Ratios& ratios)
{
    PingPong pingPong;
    std::mt19937 random(1);
    std::vector<double> roads, floors;
    for (int i = 0; i < samples; ++i) {
        const auto which = random() % static_cast<unsigned>(connections);
        states[which] = !states[which];
        roads.push_back(server.road(static_cast<int>(which), states[which]));
        std::this_thread::sleep_for(std::chrono::microseconds(500));
        floors.push_back(pingPong.once());
        std::this_thread::sleep_for(std::chrono::microseconds(500));
    }
    const double middle = figures::median(roads), late = figures::percentile(roads, 99);
    const double floor = figures::median(floors), lateFloor = figures::percentile(floors, 99);
    printf("%5d connections: median %8.1f us (ping-pong %6.1f, ratio %5.2f)   p99 %8.1f us (%6.1f, ratio %5.2f)\n",
           connections, middle, floor, middle / floor, late, lateFloor, late / lateFloor);
    ratios.medians.push_back(middle / floor);
    ratios.late.push_back(late / lateFloor);
}

void print(const char* what, const std::vector<double>& ratios)
{
    printf("%s %.2f %.2f %.2f", what, figures::percentile(ratios, 0), figures::median(ratios),
           figures::percentile(ratios, 100));
}

// Brings the modem to the point where what is measured beside goes on for at least ten seconds.
void beginModemWork(ModemSim& modem, const std::string& mode)
{
    using std::chrono::seconds;
    bool begun = false;
    if (mode == "setup") {
        begun = modem.waitForCommand("AT", 1, seconds(60));
    } else if (mode == "pass") {
        modem.sms("999", "a stranger's text");
        begun = modem.waitForCommand("AT+CMGL", 2, seconds(60));
    } else {
        modem.sms("111", "AL ON");
        begun = modem.waitForCommand("AT+CMGS", 1, seconds(60));
    }
    if (!begun)
        DaemonBench::check("the modem's work does not begin");
    modem.clearRecord();
}

} // namespace

// event_road rest|events|setup|pass|alarm CONNECTIONS [SAMPLES]
// setup: while the modem is set up; pass: while messages are listed and their places emptied; alarm: while an alarm
// goes to ten numbers.
int main(int argc, char* argv[])
{
    const std::string mode = argc > 1 ? argv[1] : "";
    const int connections = argc > 2 ? atoi(argv[2]) : 0;
    const int samples = argc > 3 ? atoi(argv[3]) : 1000;
    const bool withModem = mode == "setup" || mode == "pass" || mode == "alarm";
    if ((!withModem && mode != "rest" && mode != "events") || connections < 1 || samples < 1) {
        fprintf(stderr, "usage: %s rest|events|setup|pass|alarm CONNECTIONS [SAMPLES]\n", argv[0]);
        return 2;
    }
    DaemonBench bench;
    bench.configure(connections, withModem);
    PlainServer server(connections, 60000);
    if (mode == "setup")
        bench.modem->setDelay(std::chrono::milliseconds(800));
    stayOn(1);
    bench.startDaemon();
    stayOn(0);
    server.serveFirstPoll();
    std::vector<bool> states(static_cast<size_t>(connections));
    // Ten thousand events a second of an input that is evaluated and drives nothing.
    const auto tenEvents = [&server](unsigned) {
        for (int i = 0; i < 10; ++i)
            server.noise(i % 2 == 0);
    };
    std::unique_ptr<figures::Beat> noise;
    if (mode == "events")
        noise = std::make_unique<figures::Beat>(std::chrono::milliseconds(1), tenEvents);
    if (withModem && mode != "setup")
        bench.waitUntilModemReady();
    if (withModem)
        beginModemWork(*bench.modem, mode);
    Ratios ratios;
    for (int run = 0; run < kRuns; ++run) {
        printf("%-6s ", mode.c_str());
        measure(server, connections, samples, states, ratios);
    }
    printf("%-6s %5d connections: ratio, least, median and largest of %d runs: ", mode.c_str(), connections, kRuns);
    print("median", ratios.medians);
    print(", p99", ratios.late);
    printf("\n");
    if (noise)
        printf("       beside %.0f other events a second\n", 10 * noise->beatsPerSecond());
    if (withModem)
        printf("       meanwhile the modem was given %zu command lines and texts\n", bench.modem->commands().size());
    fflush(stdout);
    noise.reset();
    return 0;
}
