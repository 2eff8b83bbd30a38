#pragma once
/*
 * Answer: the one sentence a capture opens with in every output (the text
 * report, --json, the table and the page), which answers the ticket before
 * the detail does: which frames became the photo and how long before the
 * capture moment they were shot, what was refused and why, and what the log
 * cannot tell. Made from the step's facts only; where a fact is not known it
 * says so, never more than the step holds.
 */

#include "outcome/Outcome.h"

#include <string>

namespace zsl::output {

// "took frame 65 (shot: not in the log); 64 refused: sensor mode: frame 2,
// request 3". `fromLog`: the step was read from a device log, not replayed.
std::string answerText(const outcome::StepOutcome &step, bool fromLog);

} // namespace zsl::output
