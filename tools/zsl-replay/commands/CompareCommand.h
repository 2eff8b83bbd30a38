#pragma once
/*
 * CompareCommand: `zsl-replay compare`: builds, devices or field trials side
 * by side, per measure and device, with each difference's interval and a
 * verdict; the sides from capture tables or from logs explained first, or
 * as the values of one column. Exit status 3 when a --fail-on gate trips.
 */

#include "commands/Options.h"

namespace zsl::commands {

// Answers the exit status: 0 compared, 2 bad input, 3 a gate tripped.
int runCompare(const CompareOptions &options);

} // namespace zsl::commands
