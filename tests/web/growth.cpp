// Prints what the page and its server hold while events come by: growth TAVBENCH CONFIGURATION [EVENTS]
#include "Browser.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <httplib.h>
#include <stdexcept>
#include <thread>

namespace {

constexpr int kBurst = 100; // events in a tenth of a second

long residentKiB(pid_t process)
{
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("VmRSS:", 0) == 0)
            return atol(line.c_str() + 6);
    }
    return -1;
}

void print(Browser& browser, const Program& bench, int events)
{
    const auto begin = std::chrono::steady_clock::now();
    const auto elements = browser.value("document.querySelectorAll('*').length").get<int>();
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - begin;
    const double heap = browser.heap();
    printf("%8d events: page %6.1f MB, %5d elements, answers in %5.1f ms; tavbench %ld KiB\n", events, heap / 1e6,
           elements, took.count(), residentKiB(bench.pid()));
    fflush(stdout);
}

} // namespace

int main(int argc, char* argv[])
{
    const int most = argc > 3 ? atoi(argv[3]) : 86400;
    if (argc < 3 || most < 1) {
        fprintf(stderr, "usage: page-growth TAVBENCH CONFIGURATION [EVENTS]\n");
        return 2;
    }
    try {
        Program bench({argv[1], "--web", "0", "--config", argv[2]});
        Browser browser;
        const std::string link = bench.lineAfter("Open ");
        browser.open(link);
        const size_t begin = link.find("//") + 2, end = link.find('/', begin);
        httplib::Client client("http://" + link.substr(begin, end - begin));
        client.set_read_timeout(std::chrono::seconds(30));
        const httplib::Headers known = {{"Authorization", "Bearer " + link.substr(link.find('=') + 1)}};
        const std::string burst = "{\"line\": \"flood DRAIN " + std::to_string(kBurst) + "\"}";
        auto next = std::chrono::steady_clock::now();
        for (int events = 0; events < most; events += kBurst) {
            const auto answer = client.Post("/command", known, burst, "application/json");
            if (!answer)
                throw std::runtime_error("tavbench: " + httplib::to_string(answer.error()));
            if (events % (most / 8 / kBurst * kBurst + kBurst) == 0)
                print(browser, bench, events);
            next += std::chrono::milliseconds(100);
            std::this_thread::sleep_until(next);
        }
        print(browser, bench, most);
    } catch (const std::exception& problem) {
        fprintf(stderr, "page-growth: %s\n", problem.what());
        return 1;
    }
    return 0;
}
