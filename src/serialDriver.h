// The serial port to which the modem is attached.
#ifndef SERIALDRIVER_H
#define SERIALDRIVER_H

/// A serial port in raw 8N1 mode at 115200 baud, without flow control; VMIN and VTIME stay as the port had them.
/// Threads: send() is called with CmdHandler::buffMutex held; the receive thread reads the same descriptor meanwhile.
/// Errors:  construction never fails visibly; ask getPortOpen(). Nothing is printed or logged.
class serialDriver {
public:
    /// Opens and configures the device with the path @p port; only read, never kept.
    explicit serialDriver(char* port);
    serialDriver(const serialDriver&) = delete;
    serialDriver& operator=(const serialDriver&) = delete;
    /// Closes the port.
    virtual ~serialDriver();

    /// Writes @p length bytes with a single write(); a short write is not retried.
    /// @param buffer  bytes to write; only read, never kept
    /// @return bytes written, or -1 when the port is not open, has taken no byte for a second, or write() failed
    int send(void* buffer, int length);
    bool getPortOpen();
    /// The descriptor, which stays the driver's; -1 when the port could not be opened.
    int getFD();

private:
    int fd;
    bool portOpen;
};

#endif
