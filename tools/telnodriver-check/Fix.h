// The proposed changes as a patch, and their application.
#ifndef CHECK_FIX_H
#define CHECK_FIX_H

#include "Report.h"

/// Shows what @p report proposes as a unified diff on standard output. Then, with @p yes or when a person at a terminal
/// agrees, writes the files: each is replaced as a whole, with its owner and mode, unless it has changed meanwhile.
/// @return false with a line on standard error when something could not be done
bool fix(const Report& report, bool yes);

#endif
