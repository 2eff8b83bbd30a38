#pragma once
/*
 * Perfetto: the sessions' timeline (TimelineLayout) as a file that
 * ui.perfetto.dev opens: in the Trace Event Format's JSON, which
 * chrome://tracing opens too (times in its microseconds, to the
 * nanosecond), or in Perfetto's own protobuf format (PerfettoProto), which
 * can sit beside a device's trace on one timeline.
 */

#include "outcome/Outcome.h"

#include <nlohmann/json.hpp>

#include <vector>

namespace zsl::output {

nlohmann::json perfettoTrace(const std::vector<outcome::SessionOutcome> &sessions);

} // namespace zsl::output
