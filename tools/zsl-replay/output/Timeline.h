#pragma once
/*
 * Timeline: draws each step of a replay as an SVG timeline. Frames sit on a
 * time axis by shutter time (relative to the capture moment), one row per
 * queue showing which frames it holds; the zsdTs line with the new-enough
 * window, the anchor, the selected and the taken frames; strips below give
 * each frame's verdict, warnings, AE, AF and lens states (per camera) and
 * sensor mode; the footer says what was taken of how many wanted and why
 * frames were refused. Check and needed steps get their answer. The picture
 * widens so that frames stay apart, and no label covers another.
 */

#include "outcome/Outcome.h"

#include <string>
#include <vector>

namespace zsl::output {

std::string drawTimeline(const std::vector<outcome::SessionOutcome> &traces);

} // namespace zsl::output
