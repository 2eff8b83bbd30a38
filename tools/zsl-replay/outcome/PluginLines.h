#pragma once
/*
 * PluginLines: the plug-in's own log lines read back into facts: the
 * selection's time stamps, anchor offset and begin index, the anchor frame,
 * the frames it found gone or missing, and why a frame was refused, in the
 * plug-in's words and in a camera engineer's. Works on the decoded
 * messages alone (messages/PluginEvent), whatever output or device they
 * came from.
 */

#include "messages/PluginEvent.h"
#include "outcome/Outcome.h"

#include <LogRecorder.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zsl::outcome {

// Fills the consumer and producer lists, a motion capture's anchor, the
// shutter times logged, zsdTs, curTime, anchorOffset, csbegin, anchorFrame
// and the warnings (a listed frame that left the queue, a begin moved past a
// frame a queue lacks) from the lines of one selectZSLFrames call.
void readSelectionLines(const std::vector<kohost::LogLine> &lines, StepOutcome &step);

// The producer frames a logged anchor scan passed over without a line:
// those had no record. The scan stops at its anchor; past that, nothing is known.
std::vector<uint32_t> producerWithoutRecord(const StepOutcome &step);

// The selector's configuration its construction line states.
SelectorConfig configOf(const messages::PluginEvent &configLine);
// ... the last such line of `lines` (a replay's setup lines), if any.
std::optional<SelectorConfig> configIn(const std::vector<kohost::LogLine> &lines);

// What one line shows of the request (the trace writer writes it back as
// the request's metadata), added to what earlier lines showed: the first
// value of each stays. readSelectionLines adds the selection's lines.
void readRequestLine(const messages::PluginEvent &event, RequestSeen &seen);
void addRequestSeen(RequestSeen &seen, const RequestSeen &later);

// Why one checkFrame call refused its frame: the plug-in's own line, and
// the same worded alike for EV, AF, AE and sensor mode, states named as
// Android names them ("AF: mode CONTINUOUS_PICTURE, state ACTIVE_SCAN,
// lens MOVING").
struct Refusal {
    std::string reason;
    std::string explanation;
    RefusalClasses classes = 0; // each rule's class, once
};
Refusal refusal(const std::vector<kohost::LogLine> &lines);

// The stable names of a set of refusal classes, in the order of
// kRefusalClasses: a frame refused by two cameras for AE counts once for AE.
std::vector<std::string> refusalClassNames(RefusalClasses classes);

} // namespace zsl::outcome
