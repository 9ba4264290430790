// Bytes from the modem to lines.
#ifndef REPLYLINE_H
#define REPLYLINE_H

#include "Command.h"

#include <cstddef>
#include <cstring>

/// Collects the line that the modem is sending. For the receive thread only.
class ReplyLine {
public:
    /// Adds a byte. A carriage return or a line feed ends the line and passes it to @p cmd; CR LF therefore gives an
    /// empty line too. Bytes beyond 255 are dropped.
    void take(unsigned char byte, Command& cmd)
    {
        if (byte == '\r' || byte == '\n') {
            cmd.parseData(buff);
            memset(buff, 0, sizeof buff);
            pos = 0;
        } else if (pos < sizeof buff - 1) {
            buff[pos++] = byte;
        }
    }

private:
    unsigned char buff[256] = {}; ///< always ends in a NUL
    std::size_t pos = 0;
};

#endif
