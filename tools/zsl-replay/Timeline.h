#pragma once
/*
 * Timeline: draws each capture of a replay as an SVG timeline. Frames sit on
 * a time axis by shutter time (relative to the capture moment), one row per
 * queue showing which frames it holds; the zsdTs line with the new-enough
 * window, the anchor, the selected frames, the accepted ones and the refused
 * ones with the plug-in's reason.
 */

#include "Outcome.h"

#include <string>
#include <vector>

namespace replay {

std::string drawTimeline(const std::vector<SessionOutcome> &traces);

} // namespace replay
