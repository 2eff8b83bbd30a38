#pragma once
/*
 * ReplayCommand: `zsl-replay replay`: the traces given (or the built-in
 * captures) driven through the plug-in, each session fed to the outputs
 * asked for, and every step's results compared with its expectations (or
 * written into its trace).
 */

#include "commands/Options.h"

namespace zsl::commands {

// Answers the exit status: 0 all met, 1 an expectation differs, 2 bad input.
int runReplay(const ReplayOptions &options);

} // namespace zsl::commands
