// The line that the modem is sending.
#ifndef REPLYLINE_H
#define REPLYLINE_H

#include "Command.h"

#include <cstddef>
#include <cstring>

/// Cuts the modem's bytes into lines. Belongs to the receive thread.
class ReplyLine {
public:
    /// Keeps one byte. A carriage return or a line feed is not kept but ends the line, which @p cmd is handed and the
    /// line is empty again: CR LF yields the line and an empty one. What a line has over 255 bytes is dropped.
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
