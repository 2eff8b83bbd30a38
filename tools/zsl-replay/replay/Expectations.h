#pragma once
/*
 * Expectations: a step's expected results (the trace's "expect") against
 * what the replay saw, one line per difference, so that a trace serves as a
 * regression test; and the results written back into a trace file as its
 * expectations, as golden files are made.
 */

#include "outcome/Outcome.h"
#include "replay/Trace.h"

#include <string>
#include <vector>

namespace zsl::replay {

// One line per difference, each naming what differs: "taken: expected
// [44], got [45]".
std::vector<std::string> differences(const ExpectSpec &expect, const outcome::StepOutcome &outcome);

// Rewrites the trace file at path with every step's results as its
// "expect", keys in their order; the text goes to a temporary file that is
// renamed over the trace, so a failure leaves the trace as it was. Throws
// TraceError when the file cannot be read or written.
void writeExpectations(const std::string &path, const outcome::SessionOutcome &outcome);

} // namespace zsl::replay
