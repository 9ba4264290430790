// The bench's command "replay".
#ifndef SIM_RECORD_COMMAND_H
#define SIM_RECORD_COMMAND_H

#include "bench/Time.h"
#include "bench/Tools.h"
#include "record/Recorder.h"

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace record {

/// The arguments of "replay".
struct Order {
    std::string file;
    std::vector<std::string> compare; ///< "log", "at"
    std::string tolerance;            ///< a time, or nothing
    bool check = false;
};

/// @param app,order borrowed until the command line is parsed
CLI::App* addReplay(CLI::App& app, Order& order);

/// Moves this process into a sandbox, replays there, and prints the outcome. @param config  a folder, or empty
/// @return exit status: 0 no difference, 1 a difference, 2 not replayed
int replay(const Order& order, const std::string& config, const bench::Tools& tools, bench::Pace pace);

} // namespace record

#endif
