// Walks the daemon's roads for tests/speed/instructions, which counts their instructions with callgrind, or with the
// emulator's plugin roadCounter; counts their allocations itself. Each road is walked until it is warm, and then
// counted, on the thread that walks it alone.
#include "../unit/scratchFolder.h"
#include "card.h"
#include "gsmIOpairs.h"
#include "modem/ModemSim.h"

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <unistd.h>

#if __has_include(<valgrind/callgrind.h>)
#include <valgrind/callgrind.h>
#else
#define CALLGRIND_TOGGLE_COLLECT
#define CALLGRIND_ZERO_STATS
#define CALLGRIND_DUMP_STATS_AT(name)
#endif

// The allocator's entries stand before the C library's, and the GSM handler's sleep before its usleep.
extern "C" void* __libc_malloc(size_t size);
extern "C" void* __libc_calloc(size_t count, size_t size);
extern "C" void* __libc_realloc(void* old, size_t size);

// The plugin knows these two by their names.
extern "C" __attribute__((noinline)) void roadBegins()
{
    __asm__ volatile("");
}

extern "C" __attribute__((noinline)) void roadEnds()
{
    __asm__ volatile("" : : : "memory");
}

namespace {

thread_local bool counting = false;
thread_local unsigned long allocations = 0;

void begin()
{
    CALLGRIND_ZERO_STATS;
    allocations = 0;
    counting = true;
    CALLGRIND_TOGGLE_COLLECT;
    roadBegins();
}

void end(const char* road, unsigned walks)
{
    roadEnds();
    CALLGRIND_TOGGLE_COLLECT;
    counting = false;
    CALLGRIND_DUMP_STATS_AT(road);
    printf("%s %u %lu\n", road, walks, allocations / walks);
    fflush(stdout);
}

class IdlePolls {
public:
    static constexpr unsigned kPolls = 1000;

    /// Called by the GSM handler at each of its sleeps.
    void sleep()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_wanted)
            return;
        if (m_seen == 0)
            begin();
        else if (m_seen == kPolls) {
            end("idle-polls-1000", 1);
            m_wanted = false;
            m_over.notify_all();
        }
        ++m_seen;
    }
    void count()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_wanted = true;
        m_over.wait(lock, [this] { return !m_wanted; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_over;
    bool m_wanted = false;
    unsigned m_seen = 0;
} idlePolls;

} // namespace

extern "C" void* malloc(size_t size)
{
    allocations += counting ? 1 : 0;
    return __libc_malloc(size);
}

extern "C" void* calloc(size_t count, size_t size)
{
    allocations += counting ? 1 : 0;
    return __libc_calloc(count, size);
}

extern "C" void* realloc(void* old, size_t size)
{
    allocations += counting ? 1 : 0;
    return __libc_realloc(old, size);
}

extern "C" int usleep(useconds_t time)
{
    std::this_thread::sleep_for(std::chrono::microseconds(time));
    idlePolls.sleep();
    return 0;
}

namespace {

// Of events that set and clear the input in turn.
template <typename Deliver> void countTenEvents(const char* road, Deliver deliver)
{
    const auto walk = [&] {
        for (int i = 0; i < 10; ++i)
            deliver(i % 2 == 0);
    };
    walk();
    begin();
    walk();
    end(road, 10);
}

// From a received frame to the frame that drives an output, with its line in the log.
void countEvent(int connections, const char* road)
{
    Card card(connections);
    const std::string contents[] = {Card::event(0, false), Card::event(0, true)};
    countTenEvents(road, [&](bool set) { card.deliver(contents[set ? 1 : 0]); });
}

// The daemon's own part of it: from the decoded event to the output's new state, its log at WARN.
void countOwnPart(int connections, const char* road)
{
    cWlog::init(cWlog::WARN);
    Card card(connections);
    std::string problem;
    const std::string contents[] = {Card::event(0, false), Card::event(0, true)};
    const auto clear = tavcodec::decode(contents[0].data(), contents[0].size(), problem);
    const auto set = tavcodec::decode(contents[1].data(), contents[1].size(), problem);
    card.manager.leaveServer();
    countTenEvents(road, [&](bool isSet) { card.manager.handleObjectAction((isSet ? set : clear)->list.get()); });
    cWlog::init(cWlog::INFO);
}

void countRefresh()
{
    Card card(16);
    begin();
    card.manager.update_lists();
    end("refresh-16", 1);
}

// An SMS of a listed number that drives the one output of its record among 16 connections.
void countCommand()
{
    const ScratchFolder folder;
    std::string pairs = "<io_connections>\n";
    for (int i = 0; i < 16; ++i)
        pairs += "<connection><trigger operation=\"OR\"><detail dev_type=\"IO\" io_label=\"" + Card::input(i) +
                 "\"/></trigger><action><detail dev_type=\"IO\" io_label=\"" + Card::output(i) +
                 "\"/></action></connection>\n";
    const std::string pairFile = folder.write("p", pairs + "</io_connections>\n");
    const std::string messageFile =
        folder.write("m", "<gsm_connections><Label name=\"" + Card::input(0) +
                              "\"><message value=\"PUMP\"/><number value=\"111\"/></Label></gsm_connections>\n");
    Card card(16);
    cIOpairs connections(pairFile.c_str());
    cEnumeratedList<cgsmMessageInfo>* list = cgsmIOpairs().getGsmInfoList(messageFile.c_str());
    cWlog logger("gsm_handler_tread");
    const auto walk = [&](const char* text) {
        Sms sms;
        sms.initialise("\"111\"", text, "1", false);
        card.manager.obey(&sms, nullptr, list, &connections, &logger);
    };
    walk("PUMP ON");
    walk("PUMP OFF");
    begin();
    walk("PUMP ON");
    end("sms-command", 1);
}

void countIdlePolls()
{
    auto& modem = *new ModemSim();
    auto& manager = ManagerBench::forEver();
    snprintf(manager.mConfig_struct.serialPortName, sizeof manager.mConfig_struct.serialPortName, "%s",
             modem.path().c_str());
    strcpy(manager.mConfig_struct.simPin, "1357");
    std::thread([&manager] { GSMIOmanager::create_gsm_handler(&manager); }).detach();
    if (!modem.waitForCommand("AT+CMGD=10", 1, std::chrono::seconds(300)))
        exit(1);
    sleep(3); // the pass and the first send request end
    idlePolls.count();
}

} // namespace

int main()
{
    cWlog::init(cWlog::INFO);
    countEvent(16, "event-16");
    countEvent(1024, "event-1024");
    countOwnPart(16, "event-16-own");
    countOwnPart(1024, "event-1024-own");
    countRefresh();
    countCommand();
    countIdlePolls();
    _exit(0); // the threads of the daemon have no end
}
