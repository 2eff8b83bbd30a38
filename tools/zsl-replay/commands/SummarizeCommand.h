#pragma once
/*
 * SummarizeCommand: `zsl-replay summarize`: the fleet summary of capture
 * tables (explain --table, on one machine or many), made by the same code
 * as explain's own summary, as text, JSON or a picture.
 */

#include "commands/Options.h"

namespace zsl::commands {

// Answers the exit status: 0 every table read, 2 bad input.
int runSummarize(const SummarizeOptions &options);

} // namespace zsl::commands
