// Prints what a long record costs: the time to write a line, to read it and to compare it, each against reading the
// same file's lines and nothing more, and the memory that grew meanwhile. Usage: records [LINES], by default ten
// million
#include "../unit/scratchFolder.h"
#include "figures.h"
#include "record/Compare.h"
#include "record/Replay.h"

#include <cstdlib>
#include <fstream>
#include <string>
#include <unistd.h>

namespace {

long residentKiB()
{
    long pages = 0;
    std::ifstream("/proc/self/statm") >> pages >> pages;
    return pages * sysconf(_SC_PAGESIZE) / 1024;
}

// Prints the time of a line and the growth since the last measurement. @return seconds
double measure(const char* what, long lines, double baseline, const std::function<void()>& work)
{
    const long before = residentKiB();
    const auto start = figures::Clock::now();
    work();
    const double seconds = figures::microseconds(figures::Clock::now() - start) / 1e6;
    printf("%-28s %7.2f us a line", what, seconds * 1e6 / static_cast<double>(lines));
    if (baseline > 0)
        printf(", %5.1f times reading the lines", seconds / baseline);
    printf("; memory grew by %ld KiB to %ld KiB\n", residentKiB() - before, residentKiB());
    return seconds;
}

sim::Port portOf(long i)
{
    sim::Port port;
    port.output = i % 2 == 1;
    port.label = (port.output ? "OUT" : "IN") + std::to_string(i / 2 % 50);
    port.status = port.state = i / 100 % 2 == 0 ? 1 : 2;
    port.toggled = 4;
    return port;
}

void write(const std::string& file, long lines)
{
    int64_t now = 0;
    record::Recorder recorder([&now] { return now; });
    const std::string wrong = recorder.open(file);
    if (!wrong.empty())
        printf("%s\n", wrong.c_str());
    recorder.begin("bench", {});
    for (long i = 0; i < lines; ++i, ++now)
        recorder.port(portOf(i));
}

// As a replay does that finds what was recorded, each a little later.
void compare(const std::string& file)
{
    record::Reader reader(file);
    record::Compare comparison;
    for (record::Change change; reader.next(change);) {
        if (change.kind != record::Change::Output)
            continue;
        const std::string stream = "output " + change.port.label, state = sim::stateWord(change.port.state);
        comparison.recorded(stream, state, change.time, 5000, reader.line());
        comparison.happened(stream, state, change.time + 1, 5000, reader.line());
        comparison.waits(change.time + 1);
    }
    if (comparison.first())
        printf("a difference: %s\n", comparison.first()->text.c_str());
}

} // namespace

int main(int argc, char* argv[])
{
    const long lines = argc > 1 ? strtol(argv[1], nullptr, 10) : 10000000;
    const ScratchFolder folder;
    const std::string file = folder.path("record");
    measure("written", lines, 0, [&] { write(file, lines); });
    const double baseline = measure("lines read, nothing more", lines, 0, [&] {
        std::ifstream stream(file);
        for (std::string line; std::getline(stream, line);)
            ;
    });
    measure("surveyed", lines, baseline, [&] {
        record::Contents contents;
        const std::string wrong = record::survey(file, contents);
        printf("%s%s\n", wrong.c_str(), contents.text().c_str());
    });
    measure("read and compared", lines, baseline, [&] { compare(file); });
    return 0;
}
