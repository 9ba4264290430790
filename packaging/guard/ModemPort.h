// A modem's serial port, for a few AT commands.
#pragma once

#include <string>
#include <vector>

/// Opens the port at 115200 baud, 8N1; the destructor closes it. One thread.
class ModemPort {
public:
    /// @param path  the serial device; check isOpen() afterwards
    explicit ModemPort(const std::string& path);
    ~ModemPort();
    ModemPort(const ModemPort&) = delete;
    ModemPort& operator=(const ModemPort&) = delete;

    bool isOpen() const { return m_fd >= 0; }

    /// Sends @p command and a carriage return, and reads lines up to the modem's final result, for at most @p seconds.
    /// @return the lines that are not empty, without line ends. The last is "OK" or contains "ERROR", unless the time
    ///         has run out. Lines from before the command are dropped.
    std::vector<std::string> ask(const std::string& command, int seconds);

private:
    bool write(const std::string& bytes);

    int m_fd;
};
