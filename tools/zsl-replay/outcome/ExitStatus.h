#pragma once
/*
 * ExitStatus: what zsl-replay's exit status says, the same for every
 * subcommand (and written in each man page's EXIT STATUS).
 */

namespace zsl::outcome {

enum ExitStatus : int {
    kExitOk = 0,
    kExitDiffers = 1,     // replay: a trace's expectations are not met
    kExitFailed = 2,      // a usage error or an input or output that could not be used, said in one line each
    kExitGateTripped = 3, // compare --fail-on: a gate tripped
};

} // namespace zsl::outcome
