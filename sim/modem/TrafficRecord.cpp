#include "modem/TrafficRecord.h"

#include <algorithm>
#include <cstdio>

namespace modemsim {

namespace {

constexpr std::size_t kMostLines = 100000;

bool isCommand(const TrafficLine& line, const std::string& prefix)
{
    return line.direction == TrafficLine::ToModem && line.text.compare(0, prefix.size(), prefix) == 0;
}

} // namespace

std::string visible(const std::string& text)
{
    std::string shown;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        char code[8];
        std::snprintf(code, sizeof code, byte < ' ' || byte == 127 ? "\\x%02x" : "%c", byte);
        shown += code;
    }
    return shown;
}

void TrafficRecord::toModem(const std::string& line)
{
    if (!m_partial.empty()) {
        add(TrafficLine::FromModem, std::move(m_partial));
        m_partial.clear();
    }
    add(TrafficLine::ToModem, line);
}

void TrafficRecord::fromModem(const std::string& bytes)
{
    for (const char c : bytes) {
        if (c != '\r' && c != '\n') {
            m_partial += c;
        } else if (!m_partial.empty()) {
            add(TrafficLine::FromModem, std::move(m_partial));
            m_partial.clear();
        }
    }
}

void TrafficRecord::add(TrafficLine::Direction direction, std::string text)
{
    m_lines.push_back({direction, std::move(text), Clock::now()});
    m_news.push_back(m_lines.back());
    if (m_lines.size() > kMostLines) {
        m_lines.pop_front();
    }
}

void TrafficRecord::clear()
{
    m_lines.clear();
    m_partial.clear();
}

std::size_t TrafficRecord::count(const std::string& prefix) const
{
    return static_cast<std::size_t>(std::count_if(m_lines.begin(), m_lines.end(),
                                                  [&](const TrafficLine& line) { return isCommand(line, prefix); }));
}

std::vector<std::string> TrafficRecord::commands() const
{
    std::vector<std::string> texts;
    for (const TrafficLine& line : m_lines) {
        if (line.direction == TrafficLine::ToModem) {
            texts.push_back(line.text);
        }
    }
    return texts;
}

std::string TrafficRecord::transcript() const
{
    std::string text;
    for (const TrafficLine& line : m_lines) {
        char time[32];
        std::snprintf(time, sizeof time, "%9.3f", std::chrono::duration<double>(line.time - m_start).count());
        text +=
            std::string(time) + (line.direction == TrafficLine::ToModem ? " > " : " < ") + visible(line.text) + '\n';
    }
    return text;
}

std::vector<TrafficLine> TrafficRecord::takeNews()
{
    std::vector<TrafficLine> news;
    news.swap(m_news);
    return news;
}

} // namespace modemsim
