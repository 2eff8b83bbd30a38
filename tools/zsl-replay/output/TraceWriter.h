#pragma once
/*
 * TraceWriter: a capture read from a device log, written back as a trace
 * (docs/trace-format.md), so that it can be replayed through the plug-in,
 * changed and replayed again. What the log shows is written as it stands
 * (lists, logged shutter times, the states and EVs the frame check printed,
 * sensor modes, the time window, the request's EV and switches); what it
 * cannot show is filled in the plainest way and said in the trace's
 * description: shutter times after the anchor follow the logged frame
 * interval, frames never judged carry no metadata, no frame counts as used.
 */

#include "outcome/Outcome.h"

#include <nlohmann/json.hpp>

namespace zsl::output {

// How many frames the rebuilt capture requests: as the log tells, else the
// fewest that give the logged begin (a begin of 0 tells only a least number).
size_t requestsToRebuild(const outcome::StepOutcome &step);

// The trace of one select or capture step of a session read from a log.
nlohmann::ordered_json traceFromLog(const outcome::SessionOutcome &session, const outcome::StepOutcome &step);

} // namespace zsl::output
