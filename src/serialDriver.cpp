// The modem's serial port.
#include "serialDriver.h"

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace {

constexpr int kRoomMilliseconds = 1000; // a full driver buffer of 4 KiB drains in 0.4 s at 115200 baud

// Waits until the port takes bytes. write() would block for ever on a device that takes none.
bool takesBytes(int fd)
{
    pollfd port = {fd, POLLOUT, 0};
    int ready;
    do
        ready = poll(&port, 1, kRoomMilliseconds);
    while (ready < 0 && errno == EINTR);
    return ready != 0;
}

} // namespace

serialDriver::serialDriver(char* port) : fd(open(port, O_RDWR | O_NOCTTY)), portOpen(false)
{
    // On a port that is not open these calls fail without effect.
    termios attributes = {};
    (void)tcgetattr(fd, &attributes);
    (void)cfsetispeed(&attributes, B115200);
    (void)cfsetospeed(&attributes, B115200);
    attributes.c_cflag &= ~static_cast<tcflag_t>(PARENB | CSTOPB | CSIZE | CRTSCTS);
    attributes.c_cflag |= CS8 | CREAD | CLOCAL;
    attributes.c_iflag &= ~static_cast<tcflag_t>(IXON | IXOFF | IXANY | INLCR | ICRNL | INPCK);
    attributes.c_oflag &= ~static_cast<tcflag_t>(OPOST);
    attributes.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | ECHOE | ISIG);
    (void)tcsetattr(fd, TCSANOW, &attributes);
    portOpen = fd != -1;
}

serialDriver::~serialDriver()
{
    if (portOpen)
        close(fd);
}

int serialDriver::send(void* buffer, int length)
{
    if (!portOpen || length < 0 || !takesBytes(fd))
        return -1;
    return static_cast<int>(write(fd, buffer, static_cast<size_t>(length)));
}

bool serialDriver::getPortOpen()
{
    return portOpen;
}

int serialDriver::getFD()
{
    return fd;
}
