// The proposed changes as a patch, and their application.
#ifndef CHECK_FIX_H
#define CHECK_FIX_H

#include "Report.h"

/// Prints the edits of @p report as a unified diff. Then writes the files, if @p yes or a person at the terminal
/// agrees. Each file is replaced as a whole, with its owner and mode, unless it has changed meanwhile.
/// @return false, with a line on standard error, on failure
bool fix(const Report& report, bool yes);

#endif
