// The program's entry. Its optional argument is a file that configures logging until the properties file is read.
#include "GSMIOmanager.h"
#include "cWlog.h"

#include <csignal>
#include <cstdio>

int main(int argc, char* argv[])
{
    // Lines on standard output must reach a pipe at once, and a reader that has gone must not end the daemon.
    setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    signal(SIGPIPE, SIG_IGN);

    const char* path = argc > 1 ? argv[1] : "/etc/tav/telnodriver.conf";
    cWlog::init(path);
    GSMIOmanager::start();
    return 0;
}
