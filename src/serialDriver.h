// The modem's serial port.
#ifndef SERIALDRIVER_H
#define SERIALDRIVER_H

/// A serial port in raw 8N1 mode at 115200 baud, without flow control. VMIN and VTIME are left as they were.
/// Threads: send() is called with CmdHandler::buffMutex held, while the receive thread reads the same descriptor.
/// Errors:  check getPortOpen() after construction. Nothing is printed or logged.
class serialDriver {
public:
    /// Opens and configures the device @p port. The text is not kept.
    explicit serialDriver(char* port);
    serialDriver(const serialDriver&) = delete;
    serialDriver& operator=(const serialDriver&) = delete;
    /// Closes the port.
    virtual ~serialDriver();

    /// Writes @p length bytes of @p buffer with one write(). A short write is not repeated.
    /// @return bytes written; -1 if the port is not open, takes no byte for a second, or write() fails
    int send(void* buffer, int length);
    bool getPortOpen();
    /// The descriptor, which the driver keeps; -1 if the port could not be opened.
    int getFD();

private:
    int fd;
    bool portOpen;
};

#endif
