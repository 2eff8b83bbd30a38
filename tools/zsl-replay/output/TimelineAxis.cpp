// The timeline panel's axis: its span, width and ticks.

#include "output/TimelineAxis.h"

#include "output/SvgText.h"

#include <algorithm>
#include <cmath>

namespace zsl::output {

using namespace zsl::outcome;
using svg::number;
using svg::text;
using svg::textWidth;

double msFrom(int64_t ns, int64_t originNs)
{
    return (static_cast<double>(ns) - static_cast<double>(originNs)) / 1e6;
}

std::vector<uint32_t> untimedFrames(const StepOutcome &step, const QueueView &queue)
{
    std::vector<uint32_t> frames;
    auto add = [&](const std::vector<uint32_t> &list) {
        for (uint32_t frame : list)
            if ((!step.momentKnown || !step.shutterNs.count(frame)) &&
                std::find(frames.begin(), frames.end(), frame) == frames.end())
                frames.push_back(frame);
    };
    add(queue.held);
    if (queue.type == 1 && &queue == &step.queues.front()) {
        add(step.consumer);
        add(step.selectedFrames);
        add(step.taken);
    }
    return frames;
}

TimelineAxis axisOf(const StepOutcome &step)
{
    TimelineAxis axis;
    size_t untimed = 0;
    for (const QueueView &queue : step.queues)
        untimed = std::max(untimed, untimedFrames(step, queue).size());
    if (untimed > 0)
        axis.zone = std::max(24 + kMinFrameGapPx * static_cast<double>(untimed), 24 + textWidth(kUntimed, 10));
    std::vector<double> times; // the frames' shutter times, then zsdTs
    for (const auto &entry : step.shutterNs)
        if (step.momentKnown) // else no time is drawn: it would be measured from a moment not in the log
            times.push_back(msFrom(entry.second, step.captureNs));
    const size_t frames = times.size();
    if (step.zsdTs && step.momentKnown)
        times.push_back(msFrom(*step.zsdTs, step.captureNs));
    axis.momentAfterZone = step.momentKnown && untimed > 0;
    // The capture moment is a time on the axis unless the zone stands before it.
    const double moment = axis.momentAfterZone && !times.empty() ? *std::max_element(times.begin(), times.end()) : 0.0;
    axis.low = std::min(moment, times.empty() ? 0.0 : *std::min_element(times.begin(), times.end()));
    axis.high = std::max(moment, times.empty() ? 0.0 : *std::max_element(times.begin(), times.end()));
    const double pad = std::max(5.0, (axis.high - axis.low) * 0.06);
    axis.low -= pad;
    axis.high += pad;
    times.resize(frames); // frames apart; zsdTs may sit anywhere
    std::sort(times.begin(), times.end());
    double gap = axis.high - axis.low;
    for (size_t i = 1; i < times.size(); ++i)
        if (times[i] > times[i - 1])
            gap = std::min(gap, times[i] - times[i - 1]);
    const double needed = kLeft + kRight + axis.zone + (axis.momentAfterZone ? kMomentLabel : 0) +
                          (axis.high - axis.low) * kMinFrameGapPx / gap;
    axis.width = std::clamp(needed, kMinWidth, kMaxWidth);
    return axis;
}

// Ticks every 1, 2 or 5 times a power of ten ms, far enough apart for
// their labels.
void drawTicks(std::ostream &svg, const TimelineAxis &axis, double y)
{
    const double rough = (axis.high - axis.low) / 10;
    const double decade = std::pow(10.0, std::floor(std::log10(rough)));
    double tick = 10 * decade;
    for (double multiple : {5.0, 2.0, 1.0})
        if (multiple * decade >= 0.7 * rough)
            tick = multiple * decade;
    const double label = textWidth(number(axis.low) + " ms", 10) + 12;
    while (axis.x(tick) - axis.x(0) < label)
        tick *= 2;
    svg << "<line x1='" << number(kLeft) << "' x2='" << number(axis.end()) << "' y1='" << number(y) << "' y2='"
        << number(y) << "' class='row'/>\n";
    for (double t = std::ceil(axis.low / tick) * tick; t <= axis.high; t += tick) {
        svg << "<line x1='" << number(axis.x(t)) << "' x2='" << number(axis.x(t)) << "' y1='" << number(y) << "' y2='"
            << number(y + 4) << "' class='tick'/>\n";
        text(svg, axis.x(t), y + 16, 10, "middle", "axis", number(t) + " ms");
    }
    if (axis.momentAfterZone)
        text(svg, axis.now(), y + 16, 10, "middle", "axis", number(0) + " ms");
}

} // namespace zsl::output
