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

TracePrinter::TracePrinter(Card& card, bool talk, bool log)
    : m_card(card), m_talk(talk), m_log(log), m_self(new Self{{}, this})
{
    // The card may call after the printer has been destroyed.
    card.onTrace([printer = m_self](Trace kind, const std::string& text) {
        const std::lock_guard<std::mutex> lock(printer->mutex);
        if (printer->self != nullptr)
            printer->self->add(kind, text);
    });
    card.time().onSettled([this] { print(); });
}

TracePrinter::~TracePrinter()
{
    m_card.time().onSettled(nullptr);
    print();
    const std::lock_guard<std::mutex> lock(m_self->mutex);
    m_self->self = nullptr;
}

void TracePrinter::add(Trace kind, const std::string& text)
{
    if (((kind == Trace::Log || kind == Trace::StandardOutput) && !m_log) || (kind == Trace::ModemTalk && !m_talk))
        return;
    const std::chrono::duration<double> since = Time::Clock::now() - m_begin;
    m_lines.push_back({kind, since.count(), text});
    if (m_card.time().machines())
        printLines();
}

void TracePrinter::print()
{
    const std::lock_guard<std::mutex> lock(m_self->mutex);
    printLines();
}

void TracePrinter::printLines()
{
    std::vector<Line> lines;
    lines.swap(m_lines);
    std::stable_sort(lines.begin(), lines.end(), [](const Line& one, const Line& other) {
        return one.time != other.time ? one.time < other.time : one.kind < other.kind;
    });
    for (const Line& line : lines)
        printf("%9.3f %-7s %s\n", line.time, nameOf(line.kind), line.text.c_str());
}

} // namespace bench
