// The program entry: one optional argument, the file from which logging is configured at first.
#include "GSMIOmanager.h"
#include "cWlog.h"

#include <csignal>
#include <cstdio>

int main(int argc, char* argv[])
{
    // The few lines on standard output reach a pipe at once; a reader that has gone away does not end the daemon.
    setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    signal(SIGPIPE, SIG_IGN);

    const char* path = argc > 1 ? argv[1] : "/etc/tav/telnodriver.conf";
    cWlog::init(path);
    GSMIOmanager::start();
    return 0;
}
