#include "record/Compare.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace record {

namespace {

std::string seconds(int64_t milliseconds)
{
    char text[40];
    snprintf(text, sizeof text, "%lld.%03d s", static_cast<long long>(milliseconds / 1000),
             static_cast<int>(std::llabs(milliseconds % 1000)));
    return text;
}

} // namespace

void Compare::setValue(const std::string& stream, const std::string& value)
{
    m_streams[stream].value = value;
}

void Compare::recorded(const std::string& stream, const std::string& value, int64_t time, int64_t tolerance,
                       uint64_t line)
{
    m_streams[stream].recorded.push_back({value, time, tolerance, line});
    match(stream, m_streams[stream]);
}

void Compare::happened(const std::string& stream, const std::string& value, int64_t time, int64_t tolerance,
                       uint64_t line)
{
    m_streams[stream].happened.push_back({value, time, tolerance, line});
    match(stream, m_streams[stream]);
}

void Compare::stoodStill(int64_t milliseconds)
{
    for (auto& stream : m_streams) {
        for (Item& item : stream.second.happened)
            item.time += milliseconds;
    }
}

void Compare::match(const std::string& name, Stream& stream)
{
    while (!stream.recorded.empty() && !stream.happened.empty()) {
        const Item record = stream.recorded.front(), now = stream.happened.front();
        if (record.value == now.value) {
            if (std::llabs(now.time - record.time) > std::max(record.tolerance, now.tolerance))
                miss(record, name + ' ' + record.value + " came " + seconds(std::llabs(now.time - record.time)) +
                                 (now.time > record.time ? " later" : " sooner") + " than recorded");
            if (stream.value)
                stream.value = record.value;
            stream.recorded.pop_front();
            stream.happened.pop_front();
            ++m_compared;
        } else if (!flickers(stream, stream.recorded) && !flickers(stream, stream.happened)) {
            if (mayFlicker(stream, stream.recorded, m_now) || mayFlicker(stream, stream.happened, m_now))
                return;
            miss(record, name + ' ' + record.value + " was recorded; here it was " + now.value);
            stream.recorded.pop_front();
            stream.happened.pop_front();
        }
    }
}

// Removes a pulse from the front. @return whether there was one
bool Compare::flickers(Stream& stream, std::deque<Item>& items)
{
    if (!stream.value || items.size() < 2 || items[0].value == *stream.value || items[1].value != *stream.value ||
        items[1].time - items[0].time > kFlicker)
        return false;
    items.erase(items.begin(), items.begin() + 2);
    return true;
}

// The end of the pulse may not have happened, or not have been read, yet.
bool Compare::mayFlicker(const Stream& stream, const std::deque<Item>& items, int64_t now)
{
    return stream.value && items.size() == 1 && items[0].value != *stream.value && now <= items[0].time + kFlicker;
}

void Compare::expire(const std::string& name, Stream& stream)
{
    match(name, stream);
    const auto over = [](const std::deque<Item>& items, int64_t now) {
        return !items.empty() && now > items.front().time + items.front().tolerance;
    };
    while (over(stream.recorded, m_now)) {
        if (flickers(stream, stream.recorded))
            continue;
        const Item& item = stream.recorded.front();
        miss(item, name + ' ' + item.value + " was recorded, and did not come here within " + seconds(item.tolerance));
        stream.recorded.pop_front();
    }
    while (over(stream.happened, std::min(m_now, m_end))) {
        if (flickers(stream, stream.happened))
            continue;
        const Item& item = stream.happened.front();
        if (!m_extra)
            m_extra = Found{
                {item.line, name + ' ' + item.value + " came here, and was not recorded"}, item.time, item.tolerance};
        stream.happened.pop_front();
    }
}

bool Compare::waits(int64_t now)
{
    m_now = std::max(m_now, now);
    bool more = false;
    for (auto& stream : m_streams) {
        expire(stream.first, stream.second);
        more = more || !stream.second.recorded.empty();
    }
    return more;
}

void Compare::miss(const Item& item, const std::string& text)
{
    if (!m_missed || item.line < m_missed->difference.line)
        m_missed = Found{{item.line, text}, item.time, item.tolerance};
}

// An event that was not recorded has no line. A nearby line whose event is missing is probably its counterpart.
std::optional<Difference> Compare::first() const
{
    const int64_t near = m_extra ? m_extra->time + m_extra->tolerance : 0;
    for (const auto& stream : m_streams) {
        if (stream.second.recorded.empty())
            continue;
        const Item& item = stream.second.recorded.front();
        if (m_missed ? item.line < m_missed->difference.line : item.time <= near)
            return {};
    }
    if (!m_extra)
        return m_missed ? std::optional<Difference>(m_missed->difference) : std::nullopt;
    if (!m_missed || m_missed->time > near)
        return m_extra->difference;
    return Difference{m_missed->difference.line, m_missed->difference.text + "; " + m_extra->difference.text};
}

} // namespace record
