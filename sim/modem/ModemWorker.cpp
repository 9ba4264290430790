// The simulated modem's thread: the terminal, time and power. Its replies are in ModemTalk.cpp.
#include "modem/ModemSimImpl.h"

#include <algorithm>
#include <cerrno>
#include <poll.h>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>

using modemsim::Clock;

ModemSim::Impl::Impl(Options options) : pty(options.link), me(options), key(options)
{
    me.say = [this](milliseconds after, const std::string& line) { say(after, line); };
    wakeFd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (wakeFd == -1) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    if (key.isOn()) {
        powered(false);
    }
    worker = std::thread([this] { run(); });
}

ModemSim::Impl::~Impl()
{
    change([this] { stopping = true; });
    worker.join();
    close(wakeFd);
}

void ModemSim::Impl::changed()
{
    ++changes;
    something.notify_all();
    const std::uint64_t one = 1;
    (void)!write(wakeFd, &one, sizeof one);
}

bool ModemSim::Impl::waitUntil(const std::function<bool()>& condition, milliseconds patience) const
{
    const auto deadline = Clock::now() + patience;
    std::unique_lock<std::mutex> lock(mutex);
    for (;;) {
        const std::uint64_t seen = changes;
        lock.unlock();
        if (condition()) {
            return true;
        }
        lock.lock();
        if (!something.wait_until(lock, deadline, [&] { return changes != seen; })) {
            lock.unlock();
            return condition();
        }
    }
}

void ModemSim::Impl::say(milliseconds after, const std::string& line)
{
    timers.emplace(Clock::now() + after, lineEnd + line + lineEnd);
}

void ModemSim::Impl::powered(bool before)
{
    if (before == key.isOn()) {
        return;
    }
    for (std::size_t lost = 0; lost < modemsim::kMostBacklog;) { // drops what was typed while it was off
        const std::size_t count = pty.read().size();
        if (count == 0) {
            break;
        }
        lost += count;
    }
    input.reset();
    outbox.clear();
    timers.clear();
    booted = false;
    if (key.isOn()) {
        bootTime = Clock::now() + me.options.bootTime;
        me.powerUp();
        fireTimers(Clock::now());
    }
}

void ModemSim::Impl::hangUp()
{
    change([this] { hangUpAsked = pty.isOpen(); });
    waitUntil([this] { return ask([this] { return !hangUpAsked; }); }, kPatience);
}

void ModemSim::Impl::run()
{
    std::unique_lock<std::mutex> lock(mutex);
    while (!stopping) {
        followTerminal();
        fireTimers(Clock::now());
        takeInput();
        speak(Clock::now());
        ++changes;
        something.notify_all();
        tellObservers(lock);
        wait(lock);
    }
}

void ModemSim::Impl::wait(std::unique_lock<std::mutex>& lock)
{
    const auto now = Clock::now();
    auto until = now + std::chrono::hours(1);
    if (!timers.empty()) {
        until = std::min(until, timers.begin()->first);
    }
    if (key.isOn() && !booted) {
        until = std::min(until, bootTime);
    }
    if (const auto due = outbox.due(); due && !terminalFull) {
        until = std::min(until, *due);
    }
    if (input.backlog() > 0 && !outbox.replying()) {
        until = now;
    }
    const bool mayRead = input.backlog() < modemsim::kMostBacklog;
    const auto events = static_cast<short>((mayRead ? POLLIN : 0) | (terminalFull ? POLLOUT : 0));
    const pollfd terminal = hasUser ? pollfd{pty.fd(), events, 0} : pollfd{pty.usersFd(), POLLIN, 0};
    pollfd fds[] = {{wakeFd, POLLIN, 0}, terminal};
    const nfds_t count = pty.isOpen() ? 2 : 1;
    const auto left = std::chrono::ceil<milliseconds>(until - now).count();
    lock.unlock();
    if (poll(fds, count, static_cast<int>(std::max<decltype(left)>(left, 0))) > 0 && (fds[0].revents & POLLIN) != 0) {
        std::uint64_t times = 0;
        (void)!read(wakeFd, &times, sizeof times);
    }
    lock.lock();
}

void ModemSim::Impl::tellObservers(std::unique_lock<std::mutex>& lock)
{
    const auto news = record.takeNews();
    const std::vector<SentSms> sent(me.sent.begin() + static_cast<std::ptrdiff_t>(sentTold), me.sent.end());
    sentTold = me.sent.size();
    const auto traffic = onTraffic;
    const auto messages = onSent;
    lock.unlock();
    if (traffic) {
        for (const TrafficLine& line : news) {
            traffic(line);
        }
    }
    if (messages) {
        for (const SentSms& message : sent) {
            messages(message);
        }
    }
    lock.lock();
}

void ModemSim::Impl::followTerminal()
{
    if (hangUpAsked) {
        pty.hangUp();
        hangUpAsked = false;
        input.reset();
        outbox.clear();
    }
    pty.forgetUsers();
    const bool user = pty.hasUser();
    if (hasUser && !user && pty.isOpen()) {
        pty.forgetUnread();
    }
    hasUser = user;
}

void ModemSim::Impl::fireTimers(TimePoint now)
{
    if (key.isOn() && !booted && now >= bootTime) {
        booted = true;
        for (const std::string& line : me.options.bootLines) {
            outbox.unasked(lineEnd + line + lineEnd);
        }
    }
    while (!timers.empty() && timers.begin()->first <= now) {
        outbox.unasked(timers.begin()->second);
        timers.erase(timers.begin());
    }
}

void ModemSim::Impl::speak(TimePoint now)
{
    terminalFull = false;
    while (outbox.due() && *outbox.due() <= now) {
        const std::string bytes = outbox.ready(now, me.options.chunk);
        const bool heard = hasUser && !silent && listens();
        const std::size_t count = heard ? pty.write(bytes) : bytes.size();
        if (heard) {
            record.fromModem(bytes.substr(0, count));
        }
        if (count == 0 && !bytes.empty()) {
            terminalFull = true;
            return;
        }
        outbox.left(count, now, me.options.chunk != 0 ? me.options.chunkPause : milliseconds(0));
    }
}
