#include "bench/TracePrinter.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace bench {

namespace {

const char* nameOf(Trace kind)
{
    static const char* const names[] = {"input", "sms in", "power", "modem", "sms out", "output", "stdout", "log"};
    return names[static_cast<int>(kind)];
}

} // namespace

TracePrinter::TracePrinter(Card& card, bool talk, bool log) : m_card(card), m_talk(talk), m_log(log)
{
    card.onTrace([this](Trace kind, const std::string& text) { add(kind, text); });
    card.time().onSettled([this] { print(); });
}

TracePrinter::~TracePrinter()
{
    m_card.onTrace(nullptr);
    m_card.time().onSettled(nullptr);
    print();
}

void TracePrinter::add(Trace kind, const std::string& text)
{
    if (((kind == Trace::Log || kind == Trace::StandardOutput) && !m_log) || (kind == Trace::ModemTalk && !m_talk))
        return;
    const std::chrono::duration<double> since = Time::Clock::now() - m_begin;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_lines.push_back({kind, since.count(), text});
    }
    if (m_card.time().machines())
        print();
}

void TracePrinter::print()
{
    std::vector<Line> lines;
    const std::lock_guard<std::mutex> lock(m_mutex);
    lines.swap(m_lines);
    std::stable_sort(lines.begin(), lines.end(), [](const Line& one, const Line& other) {
        return one.time != other.time ? one.time < other.time : one.kind < other.kind;
    });
    for (const Line& line : lines)
        printf("%9.3f %-7s %s\n", line.time, nameOf(line.kind), line.text.c_str());
}

} // namespace bench
