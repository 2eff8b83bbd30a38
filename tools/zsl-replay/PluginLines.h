#pragma once
/*
 * PluginLines: the plug-in's own log lines read back into facts: the
 * selection's time stamps, anchor offset and begin index, the anchor frame,
 * and why a frame was refused, in the plug-in's words. Works on the message
 * texts alone, whatever output or device they came from.
 */

#include "Outcome.h"

#include <LogRecorder.h>

#include <string>
#include <vector>

namespace replay {

// Fills zsdTs, curTime, anchorOffset, csbegin and anchorFrame from the lines
// of one selectZSLFrames call.
void readSelectionLines(const std::vector<kohost::LogLine> &lines, StepOutcome &step);

// The reason of one refused checkFrame call, from its lines.
std::string refusalReason(const std::vector<kohost::LogLine> &lines);

} // namespace replay
