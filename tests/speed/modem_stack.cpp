// Prints how fast the receive thread reads, and what an exchange with the modem costs.
#include "CmdHandler.h"
#include "modem/ModemSim.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <string>
#include <thread>

namespace {

class LineCounter : public Command {
public:
    LineCounter() : Command(nullptr) {}
    void handleData(unsigned char* data) override
    {
        ++m_lines;
        Command::handleData(data);
    }
    std::atomic<long> m_lines{0};
};

double wallSeconds()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

double cpuSeconds()
{
    timespec time = {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

} // namespace

int main()
{
    constexpr int kExchanges = 20;
    constexpr long kLines = 20000;
    const std::string line(78, 'x');

    auto& modem = *new ModemSim; // as engine and port, it stays until the process exits
    std::string path = modem.path();
    auto& port = *new serialDriver(path.data());
    auto& handler = *new CmdHandler(&port);
    handler.init(&handler);

    const double cpuBefore = cpuSeconds();
    for (int i = 0; i < kExchanges; ++i)
        handler.execute(new CmdSignalStr(nullptr));
    printf("exchange: %.6f CPU seconds, of which a part is the simulated modem's\n",
           (cpuSeconds() - cpuBefore) / kExchanges);

    auto& counter = *new LineCounter;
    handler.execute(&counter);
    const long before = counter.m_lines;
    const double start = wallSeconds();
    for (long i = 0; i < kLines; ++i)
        modem.sendRaw(line + "\r\n");
    while (counter.m_lines < before + kLines && wallSeconds() < start + 60)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    const double took = wallSeconds() - start;
    const double bytes = static_cast<double>(counter.m_lines - before) * 80;
    printf("receive thread: %.0f bytes per second (115200 baud carries 11520)\n", bytes / took);
    return counter.m_lines == before + kLines ? 0 : 1;
}
