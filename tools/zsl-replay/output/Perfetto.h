#pragma once
/*
 * Perfetto: a session's outcome as a trace in the Trace Event Format, which
 * ui.perfetto.dev and chrome://tracing open. Per session one process; per
 * queue one track with an instant at each frame's shutter time; per step a
 * track with the capture as a slice holding the plug-in's calls, and the
 * zsdTs moment; counters per frame for AE state, AF state, lens state and
 * sensor mode; a flow from each capture to each frame the host took.
 * Times are the boot-time clock's (in the format's microseconds, to the
 * nanosecond), so the file lines up with a device's own trace. The calls'
 * slices are laid out one after another from the capture moment: neither
 * a replay (its clock is pinned) nor a log (its clock is the wall clock, in
 * milliseconds) times them on the boot-time clock.
 */

#include "outcome/Outcome.h"

#include <nlohmann/json.hpp>

#include <vector>

namespace zsl::output {

nlohmann::json perfettoTrace(const std::vector<outcome::SessionOutcome> &sessions);

} // namespace zsl::output
