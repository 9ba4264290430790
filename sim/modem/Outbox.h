// What the modem has to say, piece by piece, each at its time.
#pragma once

#include "modem/ModemTypes.h"

#include <deque>
#include <optional>
#include <string>

namespace modemsim {

/// Replies keep their order and their silences; an unasked line goes between pieces, never into a line that is under
/// way. Threads: none of its own; its owner's lock guards it.
class Outbox {
public:
    /// Adds a piece of a reply: @p silence after the piece before it, then @p bytes. @p joined: it continues that
    /// piece.
    void reply(milliseconds silence, std::string bytes, bool joined = false);
    void unasked(std::string bytes);
    void clear() { m_pieces.clear(); }

    bool replying() const; ///< some piece of a reply has not left yet
    bool empty() const { return m_pieces.empty(); }
    /// When the next bytes are due; nothing: there are none.
    std::optional<Clock::time_point> due() const;
    /// The bytes that are due at @p now, at most @p most (0: the whole piece); empty: none.
    std::string ready(Clock::time_point now, std::size_t most) const;
    /// @p count of those bytes have left; the rest of the piece is due @p pause later.
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
