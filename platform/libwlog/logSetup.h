/// Configures log4cpp, from a properties file or with a default.
#ifndef LOGSETUP_H
#define LOGSETUP_H

#include <string>
#include <vector>

/// Each call replaces the whole configuration of log4cpp, and deletes every appender of the process.
/// Threads: cWlog holds its mutex during a call, so that no line is being written.
namespace logSetup {

/// Applies the "log4cpp." lines of @p file. Never throws.
/// @return "FILE[:LINE]: text" for each mistake, ready to be logged
std::vector<std::string> fromFile(const char* file);

/// Sends lines of @p priority and above to standard error. Never throws.
void toStandardError(int priority);

} // namespace logSetup

#endif
