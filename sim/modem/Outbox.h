// The modem's output, in pieces with a time each.
#pragma once

#include "modem/ModemTypes.h"

#include <deque>
#include <optional>
#include <string>

namespace modemsim {

/// Replies keep their order and their pauses. An unsolicited line is sent between pieces, never within a line.
/// Threads: the owner's lock guards it.
class Outbox {
public:
    /// Adds a piece of a reply, which is sent @p silence after the last one. @param joined  it continues the last piece
    void reply(milliseconds silence, std::string bytes, bool joined = false);
    void unasked(std::string bytes);
    void clear() { m_pieces.clear(); }

    bool replying() const; ///< whether part of a reply is still to be sent
    bool empty() const { return m_pieces.empty(); }
    /// The time of the next bytes; no value if there are none.
    std::optional<Clock::time_point> due() const;
    /// The bytes that are due at @p now, at most @p most (0 for the whole piece); empty if there are none.
    std::string ready(Clock::time_point now, std::size_t most) const;
    /// Removes @p count of those bytes, which were sent. The rest of the piece is due @p pause later.
    void left(std::size_t count, Clock::time_point now, milliseconds pause);

private:
    struct Piece {
        milliseconds silence;
        std::string bytes;
        bool isReply;
        bool joined;
        bool started;
        Clock::time_point due; ///< valid for the front piece
    };
    void timeFront(Clock::time_point now);

    std::deque<Piece> m_pieces;
};

} // namespace modemsim
