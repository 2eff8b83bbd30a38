#pragma once
/*
 * WhatIfCommand: `zsl-replay whatif`: traces and captures read from logs,
 * each replayed before and after a change of the selector's properties (or
 * at each value of a sweep), compared, and written as a report, JSON, a
 * table, a summary and the sweep's picture.
 */

#include "commands/Options.h"

namespace zsl::commands {

// Answers the exit status: 0 every input compared, 2 bad input.
int runWhatIf(const WhatIfOptions &options);

} // namespace zsl::commands
