#pragma once
/*
 * ExplainCommand: `zsl-replay explain`: captures rebuilt from device logs,
 * bug reports and folders of them (read on a pool of threads, handed over
 * in the inputs' order), or from one log as it is written (--follow), each
 * session fed to the outputs asked for.
 */

#include "commands/Options.h"

namespace zsl::commands {

// Answers the exit status: 0 every input read, 2 bad input.
int runExplain(const ExplainOptions &options);

} // namespace zsl::commands
