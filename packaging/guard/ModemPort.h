// A modem's serial port, for a few questions and answers.
#pragma once

#include <string>
#include <vector>

/// Opens the port at 115200 baud, 8N1, and closes it again; holds nothing else. One thread.
class ModemPort {
public:
    /// @param path  the serial device; a port that cannot be opened is asked by isOpen()
    explicit ModemPort(const std::string& path);
    ~ModemPort();
    ModemPort(const ModemPort&) = delete;
    ModemPort& operator=(const ModemPort&) = delete;

    bool isOpen() const { return m_fd >= 0; }

    /// Sends @p command and a carriage return, and gathers lines up to the modem's final result, at most @p seconds.
    /// @return the lines without their ends and without empty ones; the last is "OK" or holds "ERROR", unless the
    ///         time ran out. Lines that the modem sent before the command are dropped.
    std::vector<std::string> ask(const std::string& command, int seconds);

private:
    bool write(const std::string& bytes);

    int m_fd;
};
