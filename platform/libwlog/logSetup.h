/// How log4cpp is configured: by the "log4cpp." lines of a properties file, or without any.
#ifndef LOGSETUP_H
#define LOGSETUP_H

#include <string>
#include <vector>

/// The configuration of log4cpp that this process made, and can take back.
/// Threads: not safe by itself; cWlog calls it under its mutex, so that no line is on its way meanwhile.
/// What other code attached to log4cpp's categories by its own hand stays attached, unless the file names its category.
namespace logSetup {

/// Takes back the last configuration and makes the one that @p file describes. Never throws.
/// @return what was wrong, a text a trouble, ready to be logged; empty when nothing was
std::vector<std::string> fromFile(const char* file);

/// Takes back the last configuration; @p priority and more urgent go to standard error. Never throws.
void toStandardError(int priority);

} // namespace logSetup

#endif
