// Prints how long an event takes to a driven output without the page, with it, and with twenty viewers who look.
#include "daemonBench.h"
#include "web/Site.h"

#include <array>
#include <atomic>
#include <httplib.h>

namespace {

constexpr int kViewers = 20;
constexpr int kRounds = 12;

// Viewers that read everything they are sent, and one more that reads nothing.
class Viewers {
public:
    Viewers(const std::string& link)
    {
        const size_t begin = link.find("//") + 2, end = link.find('/', begin);
        const std::string host = link.substr(begin, end - begin);
        const httplib::Headers known = {{"Authorization", "Bearer " + link.substr(link.find('=') + 1)}};
        for (int i = 0; i <= kViewers; ++i) {
            m_threads.emplace_back([this, host, known, lazy = i == kViewers] {
                httplib::Client client("http://" + host);
                client.Get("/events", known, [this, lazy](const char*, size_t length) {
                    m_bytes += length;
                    while (lazy && !m_end)
                        std::this_thread::sleep_for(std::chrono::milliseconds(20));
                    return !m_end;
                });
            });
        }
    }
    ~Viewers()
    {
        m_end = true;
        for (std::thread& thread : m_threads)
            thread.join();
    }
    size_t bytes() const { return m_bytes; }

private:
    std::atomic<bool> m_end{false};
    std::atomic<size_t> m_bytes{0};
    std::vector<std::thread> m_threads;
};

void measure(DaemonBench& bench, std::vector<double>& roads, int samples, bool& state)
{
    for (int i = 0; i < samples; ++i) {
        state = !state;
        const double time = bench.road(0, state);
        if (time < 0)
            DaemonBench::check("an output did not follow");
        roads.push_back(time);
        std::this_thread::sleep_for(std::chrono::microseconds(500));
    }
}

} // namespace

// viewers [EVENTS-A-SECOND] [SAMPLES]: the three cases take turns, so that they share the machine's good and bad times.
int main(int argc, char* argv[])
{
    const int rate = argc > 1 ? atoi(argv[1]) : 1000, samples = argc > 2 ? atoi(argv[2]) : 3000;
    DaemonBench bench;
    bench.configure(10, false);
    std::atomic<bool> told{false};
    web::Hub hub(nlohmann::json{{"title", "speed"}});
    web::Site site;
    DaemonBench::check(site.listen("0"));
    bench.alsoTold = [&](const sim::Port& port) {
        if (told)
            hub.tell(port);
    };
    hub.setRules("/etc/tav/telnodriver.xml");
    hub.setPorts(bench.server.ports());
    site.serve(hub, nullptr);
    bench.startServer();
    bench.startDaemon();
    bench.waitUntilObeyed();

    // Events of an input that drives nothing, for the viewers to see.
    const figures::Beat noise(std::chrono::microseconds(1000000 / std::max(rate, 1)),
                              [&](unsigned i) { bench.server.setInput("NOISE", i % 2 + 1); });
    std::array<std::vector<double>, 3> roads;
    size_t bytes = 0;
    bool state = false;
    for (int round = 0; round < kRounds; ++round) {
        for (const size_t which : {size_t{0}, size_t{1}, size_t{2}}) {
            told = which > 0;
            const std::unique_ptr<Viewers> viewers = which == 2 ? std::make_unique<Viewers>(site.link()) : nullptr;
            measure(bench, roads[which], samples / kRounds, state);
            bytes += viewers ? viewers->bytes() : 0;
        }
    }
    const std::array<const char*, 3> names = {"without the page", "with the page", "and 20 viewers"};
    for (size_t which = 0; which < names.size(); ++which) {
        const double middle = figures::median(roads[which]), late = figures::percentile(roads[which], 99);
        printf("%-17s median %7.1f us (ratio %4.2f)   p99 %7.1f us (ratio %4.2f)   %zu samples\n", names[which], middle,
               middle / figures::median(roads[0]), late, late / figures::percentile(roads[0], 99), roads[which].size());
    }
    printf("beside %d other events a second; the viewers were sent %.1f MB\n", rate, static_cast<double>(bytes) / 1e6);
    return 0;
}
