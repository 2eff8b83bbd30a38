#pragma once
/*
 * PerfettoProto: the sessions' timeline (TimelineLayout) in Perfetto's
 * own protobuf format, on one packet sequence: a clock snapshot naming the
 * boot-time clock as the trace's, then each track's descriptor before its
 * first event. A capture read from a log sits on a track under its camera
 * process's and thread's descriptors (the log's pid and tid), so that
 * beside the device's own trace it lies with that thread; a replay's
 * tracks sit under a track of their own. Flows run from the earlier end to
 * the later, as the trace processor joins them in time order.
 */

#include "outcome/Outcome.h"

#include <ostream>
#include <vector>

namespace zsl::output {

void writePerfettoProto(const std::vector<outcome::SessionOutcome> &sessions, std::ostream &out);

} // namespace zsl::output
