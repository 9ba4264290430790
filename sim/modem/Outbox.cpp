#include "modem/Outbox.h"

#include <algorithm>

namespace modemsim {

void Outbox::reply(milliseconds silence, std::string bytes, bool joined)
{
    m_pieces.push_back({silence, std::move(bytes), true, joined && !m_pieces.empty(), false, {}});
    if (m_pieces.size() == 1) {
        timeFront(Clock::now());
    }
}

void Outbox::unasked(std::string bytes)
{
    const auto place = std::find_if(m_pieces.begin(), m_pieces.end(), [](const Piece& piece) {
        return piece.isReply && !piece.started && !piece.joined;
    });
    m_pieces.insert(place, {milliseconds(0), std::move(bytes), false, false, false, Clock::now()});
}

bool Outbox::replying() const
{
    return std::any_of(m_pieces.begin(), m_pieces.end(), [](const Piece& piece) { return piece.isReply; });
}

std::optional<Clock::time_point> Outbox::due() const
{
    return m_pieces.empty() ? std::nullopt : std::optional<Clock::time_point>(m_pieces.front().due);
}

std::string Outbox::ready(Clock::time_point now, std::size_t most) const
{
    if (m_pieces.empty() || m_pieces.front().due > now) {
        return {};
    }
    return most == 0 ? m_pieces.front().bytes : m_pieces.front().bytes.substr(0, most);
}

void Outbox::left(std::size_t count, Clock::time_point now, milliseconds pause)
{
    Piece& front = m_pieces.front();
    front.started = true;
    front.bytes.erase(0, count);
    front.due = now + pause;
    if (front.bytes.empty()) {
        m_pieces.pop_front();
        timeFront(now);
    }
}

void Outbox::timeFront(Clock::time_point now)
{
    if (!m_pieces.empty() && m_pieces.front().due == Clock::time_point{}) {
        m_pieces.front().due = now + m_pieces.front().silence;
    }
}

} // namespace modemsim
