// The files of the bench's /etc/tav.
#ifndef SIM_BENCH_CONFIG_H
#define SIM_BENCH_CONFIG_H

#include "tavd/Ports.h"

#include <string>
#include <vector>

namespace bench {

/// The content of a file. @throws Failure
std::string readFile(const std::string& path);

/// The path of a file of /etc/tav.
std::string configPath(const std::string& name);
/// Copies the files of @p folder to /etc/tav. @throws Failure
void copyConfig(const std::string& folder);
/// Replaces a file of /etc/tav, at any time. @throws Failure
void writeConfigFile(const std::string& name, const std::string& content);

/// The ports that the pair file names: each label of a trigger is an input, each label of an action an output.
std::vector<sim::Port> portsOfPairFile();

} // namespace bench

#endif
