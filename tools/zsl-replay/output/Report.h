#pragma once
/*
 * Report: what a replay found, as text for an engineer (per step: window or
 * anchor, lists, anchor frame, begin, selection, each frame's verdict with
 * the plug-in's reason, the frame the host takes) or as JSON for machines
 * (the same results plus every system-log line as a record).
 */

#include "outcome/Outcome.h"

#include <nlohmann/json.hpp>

#include <ostream>
#include <string>
#include <vector>

namespace zsl::output {

void writeText(std::ostream &out, const outcome::SessionOutcome &trace, bool withLog);
// The session's lines of the text report, above its steps.
void writeSessionHeader(std::ostream &out, const outcome::SessionOutcome &trace);
// One step of the text report, as writeText writes it under its session:
// its stepText(), then, `withLog`, its plug-in's lines (writeStepLog).
void writeStepText(std::ostream &out, const outcome::SessionOutcome &trace, const outcome::StepOutcome &step,
                   bool withLog);
// `answer`: the step's answerText() where the caller has made it already.
std::string stepText(const outcome::SessionOutcome &trace, const outcome::StepOutcome &step,
                     const std::string *answer = nullptr);
void writeStepLog(std::ostream &out, const outcome::StepOutcome &step);
// The JSON of a session with its steps; of one step; of the session's own facts.
nlohmann::json toJson(const outcome::SessionOutcome &trace);
nlohmann::json stepJson(const outcome::SessionOutcome &trace, const outcome::StepOutcome &step);
nlohmann::json sessionJson(const outcome::SessionOutcome &trace);

} // namespace zsl::output
