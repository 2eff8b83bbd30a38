#pragma once
/*
 * TimelineAxis: where a timeline panel's frames sit. Times are ms from the
 * capture moment, on an axis wide enough that frames stay kMinFrameGapPx
 * apart; right of it, a zone for the frames whose shutter time the log
 * lacks, which were shot before the capture moment, so the moment then
 * stands right of the zone with its label beside it. The ticks fall every 1,
 * 2 or 5 times a power of ten ms, far enough apart for their labels.
 */

#include "outcome/Outcome.h"

#include <cstdint>
#include <ostream>
#include <vector>

namespace zsl::output {

constexpr double kMinWidth = 1000;
constexpr double kMaxWidth = 16000;
constexpr double kLeft = 170; // room for the row names
constexpr double kRight = 40;
constexpr double kMinFrameGapPx = 48;
constexpr double kMomentLabel = 90;
constexpr const char kUntimed[] = "time not in the log";

struct TimelineAxis {
    // The span in ms, the picture's width, the untimed zone's width.
    double low = 0, high = 0, width = kMinWidth, zone = 0;
    bool momentAfterZone = false;
    double end() const { return width - kRight - zone - (momentAfterZone ? kMomentLabel : 0); }
    double x(double ms) const { return kLeft + (ms - low) / (high - low) * (end() - kLeft); }
    double now() const { return momentAfterZone ? end() + zone + 12 : x(0); }
};

// In double: the difference of two times near the int64 limits overflows.
double msFrom(int64_t ns, int64_t originNs);
// The frames a queue's row draws that have no shutter time: for the
// metadata queue also the listed, selected and taken frames, which a log
// names without their times.
std::vector<uint32_t> untimedFrames(const outcome::StepOutcome &step, const outcome::QueueView &queue);
// The span a panel shows, and the width that keeps its frames apart.
TimelineAxis axisOf(const outcome::StepOutcome &step);
// The axis line with its ticks and their labels, at y.
void drawTicks(std::ostream &svg, const TimelineAxis &axis, double y);

} // namespace zsl::output
