#include "web/Hub.h"

#include "clock/benchclock.h"

#include <algorithm>
#include <ctime>
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

using nlohmann::json;
using std::chrono::milliseconds;

namespace web {

namespace {

constexpr milliseconds kGathering(50);
constexpr size_t kInbox = 20000;       // happenings of one batch
constexpr size_t kBatches = 100;       // kept for viewers that are behind
constexpr size_t kEventsOfBatch = 500; // more are left out: nobody could read them
// The daemon is fast: an output may be reported before the input that caused it.
constexpr int64_t kOutputsAfter = 3;

int64_t now()
{
    timespec time{};
    syscall(SYS_clock_gettime, CLOCK_REALTIME, &time); // the viewers' clock, not the bench's
    return int64_t{time.tv_sec} * 1000 + time.tv_nsec / 1000000;
}

std::string sent(const char* event, const json& data)
{
    // Labels and texts have been made UTF-8; what may come from elsewhere must not throw here.
    return std::string("event: ") + event + "\ndata: " + data.dump(-1, ' ', false, json::error_handler_t::replace) +
           "\n\n";
}

} // namespace

void giveWay()
{
    // On Linux each thread has a priority of its own.
    const sched_param none{};
    (void)sched_setscheduler(0, SCHED_BATCH, &none);
    (void)setpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)), 19);
    pthread_setname_np(pthread_self(), kMachineTime);
}

// Numbers begin with the time, so that no number of an earlier run is taken for one of this.
Hub::Hub(json about) : m_about(std::move(about)), m_last(static_cast<uint64_t>(now())), m_thread([this] { run(); }) {}

Hub::~Hub()
{
    close();
    m_thread.join();
}

void Hub::tell(Happening happening)
{
    happening.time = now();
    const std::lock_guard<std::mutex> lock(m_inboxMutex);
    if (m_inbox.size() < kInbox) {
        m_inbox.push_back(std::move(happening));
        return;
    }
    ++m_leftOut;
    if (happening.kind == Happening::Port) {
        const std::pair<bool, std::string> key(happening.port.output, happening.port.label);
        m_overflow[key] = std::move(happening);
    }
}

void Hub::tell(Happening::Kind kind, const std::string& text, const std::string& who)
{
    Happening happening;
    happening.kind = kind;
    happening.text = text;
    happening.who = who;
    tell(std::move(happening));
}

void Hub::tell(const sim::Port& port)
{
    Happening happening;
    happening.kind = Happening::Port;
    happening.port = port;
    tell(std::move(happening));
}

void Hub::setPorts(const std::vector<sim::Port>& ports)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_board.setPorts(ports);
}

void Hub::setRules(const std::string& pairFile)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_board.setRules(pairFile);
}

void Hub::set(const std::string& part, json value)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_board.set(part, std::move(value));
}

void Hub::run()
{
    giveWay();
    while (!closed()) {
        std::this_thread::sleep_for(kGathering);
        batch();
    }
}

void Hub::batch()
{
    std::vector<Happening> inbox;
    size_t leftOut = 0;
    {
        const std::lock_guard<std::mutex> lock(m_inboxMutex);
        inbox.swap(m_inbox);
        for (auto& last : m_overflow)
            inbox.push_back(std::move(last.second));
        m_overflow.clear();
        std::swap(leftOut, m_leftOut);
    }
    const auto due = [](const Happening& happening) {
        return happening.time + (happening.kind == Happening::Port && happening.port.output ? kOutputsAfter : 0);
    };
    std::stable_sort(inbox.begin(), inbox.end(),
                     [&](const Happening& one, const Happening& other) { return due(one) < due(other); });

    const std::lock_guard<std::mutex> lock(m_mutex);
    std::deque<json> events;
    for (const Happening& happening : inbox) {
        json event = m_board.apply(happening);
        if (event.is_null())
            continue;
        events.push_back(std::move(event));
        if (events.size() > kEventsOfBatch) {
            events.pop_front();
            ++leftOut;
        }
    }
    json news = m_board.changes();
    if (!events.empty())
        news["events"] = events;
    if (leftOut > 0) {
        news["leftOut"] = leftOut;
        news["parts"]["ports"] = m_board.ports();
    }
    if (news.empty())
        return;
    m_batches.push_back(sent("news", news));
    if (m_batches.size() > kBatches)
        m_batches.pop_front();
    ++m_last;
    m_news.notify_all();
}

std::string Hub::next(uint64_t& seen, milliseconds patience)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    const bool first = seen == 0;
    if (!first)
        m_news.wait_for(lock, patience, [&] { return m_closed || m_last > seen; });
    if (m_closed || m_last == seen)
        return {};
    if (first || m_last - seen > m_batches.size()) {
        if (m_snapshotOf != m_last || m_snapshot.empty()) {
            json snapshot = m_board.snapshot();
            snapshot["about"] = m_about;
            m_snapshot = sent("snapshot", snapshot);
            m_snapshotOf = m_last;
        }
        seen = m_last;
        return m_snapshot;
    }
    std::string all;
    for (size_t i = m_batches.size() - static_cast<size_t>(m_last - seen); i < m_batches.size(); ++i)
        all += m_batches[i];
    seen = m_last;
    return all;
}

void Hub::close()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_closed = true;
    m_news.notify_all();
}

bool Hub::closed() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_closed;
}

} // namespace web
