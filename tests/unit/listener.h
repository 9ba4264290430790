// A listener to events for tests, and the wait for what it hears.
#ifndef LISTENER_H
#define LISTENER_H

#include "EventNotifier.h"
#include "ModemEvent.h"
#include "smsSendRequestEvent.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

/// Waits until @p condition holds, for half a minute at most. @return whether it holds
inline bool eventually(const std::function<bool()>& condition)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

/// A send request that says something, and counts how many there are.
class Request : public smsSendRequestEvent {
public:
    Request(std::string text, std::atomic<int>& alive) : m_text(std::move(text)), m_alive(alive) { ++m_alive; }
    ~Request() override { --m_alive; }
    const std::string m_text;

private:
    std::atomic<int>& m_alive;
};

/// Hands on what an event says: the place of an SMS, the network's answer, the text of a Request.
class Listener : public EventNotifier {
public:
    explicit Listener(std::function<void(const std::string&)> hear) : m_hear(std::move(hear)) {}
    void EventOccured(ModemEvent& event) override
    {
        const bool isSms = event.getEventType() == ModemEvent::SMS;
        m_hear(isSms ? static_cast<SmsEvent&>(event).getSmsId() : static_cast<USDEvent&>(event).getUsdCode());
    }
    void EventOccured(smsSendRequestEvent& event) override { m_hear(static_cast<Request&>(event).m_text); }

private:
    const std::function<void(const std::string&)> m_hear;
};

/// Texts in the order in which they came. Any thread.
class Heard {
public:
    void add(const std::string& text)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_texts.push_back(text);
    }
    std::vector<std::string> all()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_texts;
    }
    bool waitFor(const std::string& text)
    {
        return eventually([&] {
            const std::vector<std::string> texts = all();
            return std::find(texts.begin(), texts.end(), text) != texts.end();
        });
    }

private:
    std::mutex m_mutex; // guards the texts
    std::vector<std::string> m_texts;
};

#endif
