// The SVG timeline of a session's outcome. Every label is placed in a box
// estimated from its font size (0.6 em a character), and the layout keeps
// those boxes apart: rows tall enough for a frame's number, mark and anchor
// ring, frames at least kMinFrameGapPx apart, ticks far enough apart for
// their labels, long lines wrapped, the legend wrapped.
// Over 400 lines by a little: the panel's axis, rows and strips draw one
// picture and share its layout; the Perfetto layout is apart already.

#include "output/Timeline.h"

#include "outcome/AndroidEnums.h"
#include "outcome/FrameText.h"
#include "output/SvgText.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <map>
#include <optional>
#include <set>
#include <sstream>

namespace zsl::output {

using namespace zsl::outcome;

namespace {

constexpr double kMinWidth = 1000;
constexpr double kMaxWidth = 16000;
constexpr double kLeft = 170; // room for the row names
constexpr double kRight = 40;
constexpr double kMinFrameGapPx = 48;
constexpr double kRowHeight = 42;
constexpr double kStripHeight = 16;
constexpr double kLineHeight = 18;
constexpr const char kUntimed[] = "time not in the log";

using svg::escape;

std::string number(double value)
{
    return svg::fixed(value, 1);
}

double textWidth(const std::string &text, double size)
{
    // Multi-byte characters (marks) count once.
    return 0.6 * size * static_cast<double>(svg::glyphCount(text));
}

void text(std::ostream &svg, double x, double y, double size, const char *anchor, const char *cls,
          const std::string &content)
{
    svg << "<text x='" << number(x) << "' y='" << number(y) << "' font-size='" << size << "' text-anchor='" << anchor
        << "' class='" << cls << "'>" << escape(content) << "</text>\n";
}

void circle(std::ostream &svg, double x, double y, double r, const std::string &cls, const std::string &title = "")
{
    svg << "<circle cx='" << number(x) << "' cy='" << number(y) << "' r='" << r << "' class='" << cls << "'>";
    if (!title.empty())
        svg << "<title>" << escape(title) << "</title>";
    svg << "</circle>\n";
}

// Lines of at most width px at the given size, broken at blanks.
std::vector<std::string> wrap(const std::string &line, double size, double width)
{
    const size_t perLine = std::max<size_t>(10, static_cast<size_t>(width / (0.6 * size)));
    std::vector<std::string> lines;
    std::string rest = line;
    while (rest.size() > perLine) {
        size_t cut = rest.rfind(' ', perLine);
        cut = cut == std::string::npos || cut == 0 ? perLine : cut;
        lines.push_back(rest.substr(0, cut));
        rest = rest.substr(rest[cut] == ' ' ? cut + 1 : cut);
    }
    lines.push_back(rest);
    return lines;
}

// Footer lines, each wrapped; answers the y after the last.
double writeLines(std::ostream &svg, double y, double width, const char *cls, const std::vector<std::string> &lines)
{
    for (const std::string &line : lines)
        for (const std::string &part : wrap(line, 12, width - 20)) {
            text(svg, 10, y, 12, "start", cls, part);
            y += kLineHeight;
        }
    return y;
}

// The states' short cell texts, by their Android names; the legend spells them out.
const std::vector<std::pair<std::string, std::string>> &stateAbbreviations()
{
    static const std::vector<std::pair<std::string, std::string>> kShort = {{"INACTIVE", "INACT"},
                                                                            {"SEARCHING", "SRCH"},
                                                                            {"CONVERGED", "CONV"},
                                                                            {"LOCKED", "LOCK"},
                                                                            {"FLASH_REQUIRED", "FLASH"},
                                                                            {"PRECAPTURE", "PRE"},
                                                                            {"PASSIVE_SCAN", "P-SCAN"},
                                                                            {"PASSIVE_FOCUSED", "P-FOC"},
                                                                            {"ACTIVE_SCAN", "A-SCAN"},
                                                                            {"FOCUSED_LOCKED", "F-LOCK"},
                                                                            {"NOT_FOCUSED_LOCKED", "NF-LOCK"},
                                                                            {"PASSIVE_UNFOCUSED", "P-UNF"},
                                                                            {"STATIONARY", "STILL"},
                                                                            {"MOVING", "MOVE"}};
    return kShort;
}

// A state's value as a short cell text, its Android name in the tooltip.
std::string shortName(uint32_t tag, int value)
{
    const std::vector<std::string> *names = enumNames(tag);
    if (!names || value < 0 || static_cast<size_t>(value) >= names->size())
        return std::to_string(value);
    for (const auto &[name, cell] : stateAbbreviations())
        if (name == (*names)[static_cast<size_t>(value)])
            return cell;
    return (*names)[static_cast<size_t>(value)];
}

// Where a selection panel's frames sit: ms from the capture moment to x.
// The time axis, and right of it a zone for the frames whose shutter time
// the log lacks; those were shot before the capture moment, which then
// stands right of the zone, its label beside it.
constexpr double kMomentLabel = 90;
struct Axis {
    double low = 0, high = 0, width = kMinWidth, zone = 0;
    bool momentAfterZone = false;
    double end() const { return width - kRight - zone - (momentAfterZone ? kMomentLabel : 0); }
    double x(double ms) const { return kLeft + (ms - low) / (high - low) * (end() - kLeft); }
    double now() const { return momentAfterZone ? end() + zone + 12 : x(0); }
};

// In double: the difference of two times near the int64 limits overflows.
double msFrom(int64_t ns, int64_t originNs)
{
    return (static_cast<double>(ns) - static_cast<double>(originNs)) / 1e6;
}

// The frames a queue's row draws that have no shutter time: for the
// metadata queue also the listed, selected and taken frames, which a log
// names without their times.
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

// The span a panel shows, and the width that keeps its frames apart.
Axis axisOf(const StepOutcome &step)
{
    Axis axis;
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
void drawTicks(std::ostream &svg, const Axis &axis, double y)
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

// One panel per select or capture step; answers its height.
double drawSelection(std::ostream &svg, const SessionOutcome &trace, const StepOutcome &step, double top, double width)
{
    Axis axis = axisOf(step);
    axis.width = width;
    // Frames without a shutter time stand in the zone, in the order the row names them.
    std::map<uint32_t, double> inZone;
    for (const QueueView &queue : step.queues)
        for (uint32_t frame : untimedFrames(step, queue))
            inZone.try_emplace(frame, axis.end() + 24 + kMinFrameGapPx * (static_cast<double>(inZone.size()) + 0.5));
    auto xOf = [&](uint32_t frame) -> std::optional<double> {
        if (auto shutter = step.shutterNs.find(frame); shutter != step.shutterNs.end() && step.momentKnown)
            return axis.x(msFrom(shutter->second, step.captureNs));
        if (auto zone = inZone.find(frame); zone != inZone.end())
            return zone->second;
        return std::nullopt;
    };
    const std::string title = trace.name + " - " + (step.label.empty() ? stepKindName(step.kind) : step.label) +
                              " (fwkFrame " + std::to_string(step.fwkFrame) + ")" +
                              (trace.fromLog ? ", read from a log" : "");
    text(svg, 10, top + 20, 15, "start", "title", title);

    const double rowsTop = top + 62;
    const double rowsBottom = rowsTop + kRowHeight * static_cast<double>(step.queues.size());
    const double nowX = axis.now();
    text(svg, axis.momentAfterZone ? nowX + 4 : nowX, top + 38, 10, axis.momentAfterZone ? "start" : "end", "axis",
         "capture moment");
    // The frames new enough to anchor the selection: shot after zsdTs.
    if (step.zsdTs && step.momentKnown) {
        const double zx = axis.x(msFrom(*step.zsdTs, step.captureNs));
        svg << "<rect x='" << number(zx) << "' y='" << number(rowsTop) << "' width='"
            << number((axis.momentAfterZone ? nowX : axis.end()) - zx) << "' height='" << number(rowsBottom - rowsTop)
            << "' class='window'/>\n";
        svg << "<line x1='" << number(zx) << "' x2='" << number(zx) << "' y1='" << number(top + 44) << "' y2='"
            << number(rowsBottom) << "' class='zsd'/>\n";
        const std::string label =
            "zsdTs " + number(msFrom(*step.zsdTs, step.captureNs)) + " ms: frames shot later may anchor";
        const bool fitsRight = zx + 4 + textWidth(label, 11) <= width - 4;
        text(svg, fitsRight ? zx + 4 : zx - 4, top + 54, 11, fitsRight ? "start" : "end", "zsdlabel", label);
    }

    svg << "<line x1='" << number(nowX) << "' x2='" << number(nowX) << "' y1='" << number(top + 42) << "' y2='"
        << number(rowsBottom) << "' class='now'/>\n";
    if (!inZone.empty()) {
        const double zoneX = axis.end() + 12;
        svg << "<rect x='" << number(zoneX) << "' y='" << number(rowsTop) << "' width='" << number(axis.zone - 12)
            << "' height='" << number(rowsBottom - rowsTop) << "' class='untimed'/>\n";
        text(svg, zoneX, top + 38, 10, "start", "axis", kUntimed);
    }

    std::set<uint32_t> taken(step.taken.begin(), step.taken.end());
    for (size_t row = 0; row < step.queues.size(); ++row) {
        const QueueView &queue = step.queues[row];
        const double y = rowsTop + kRowHeight * static_cast<double>(row) + 26;
        svg << "<line x1='" << number(kLeft) << "' x2='" << number(width - kRight) << "' y1='" << number(y) << "' y2='"
            << number(y) << "' class='row'/>\n";
        std::string name = "[" + queue.name + "]";
        if (textWidth(name, 12) > kLeft - 16)
            name = name.substr(0, static_cast<size_t>((kLeft - 16) / 7.2) - 1) + "~";
        text(svg, 10, y - 2, 12, "start", "queue", name);
        const std::string type = queue.type == 1   ? "meta"
                                 : queue.type == 2 ? "sensor mode"
                                                   : "type " + std::to_string(queue.type);
        text(svg, 10, y + 12, 10, "start", "axis", "id " + std::to_string(queue.id) + ", " + type + " queue");

        auto selection = step.selection.find(queue.id);
        std::set<uint32_t> selected;
        if (selection != step.selection.end())
            selected.insert(selection->second.begin(), selection->second.end());
        else if (trace.fromLog) // a log shows the list, not the queues it went to
            selected.insert(step.selectedFrames.begin(), step.selectedFrames.end());
        std::vector<uint32_t> drawn = queue.held;
        for (uint32_t frame : untimedFrames(step, queue))
            if (std::find(drawn.begin(), drawn.end(), frame) == drawn.end())
                drawn.push_back(frame);
        for (uint32_t frame : drawn) {
            const auto fx = xOf(frame);
            if (!fx)
                continue;
            const bool isSelected = selected.count(frame) != 0;
            circle(svg, *fx, y, 7, std::string(isSelected ? "selected" : "held") + (taken.count(frame) ? " taken" : ""),
                   "frame " + std::to_string(frame));
            text(svg, *fx, y - 15, 10, "middle", "frame", std::to_string(frame));
            if (queue.type == 1 && step.anchorFrame == frame)
                circle(svg, *fx, y, 12, "anchor");
        }
    }

    // Strips below the rows: the verdicts, each source's states, the sensor modes.
    double y = rowsBottom + 18;
    std::vector<std::string> notes;
    text(svg, 10, y + 4, 10, "start", "axis", "checkFrame");
    for (const CheckOutcome &check : step.checks) {
        const bool known = check.unknown.empty();
        if (const auto fx = xOf(check.frame))
            text(svg, *fx, y + 5, 14, "middle",
                 !known                ? "axis"
                 : check.verdict.first ? "ok"
                                       : "bad",
                 !known                ? "?"
                 : check.verdict.first ? "\u2713"
                                       : "\u2717");
        if (!known)
            notes.push_back("frame " + std::to_string(check.frame) + ": verdict unknown: " + check.unknown);
        else if (!check.verdict.first)
            notes.push_back("frame " + std::to_string(check.frame) + " refused: " + check.explanation);
    }
    std::set<uint32_t> marked; // one mark per frame, however many warnings
    for (const StepWarning &warning : step.warnings) {
        if (const auto fx = xOf(warning.frame); fx && marked.insert(warning.frame).second)
            text(svg, *fx + 10, y + 4, 12, "start", "warn", "!");
        notes.push_back("warning: " + warning.text);
    }
    y += kStripHeight + 6;
    for (const auto &[source, frames] : step.states) {
        const std::pair<const char *, uint32_t> strips[] = {{"AE", 0x1001f}, {"AF", 0x10020}, {"lens", 0x80009}};
        for (const auto &[label, tag] : strips) {
            bool any = false;
            for (const auto &[frame, states] : frames) {
                const std::optional<int> value = tag == 0x1001f   ? states.aeState
                                                 : tag == 0x10020 ? states.afState
                                                                  : states.lensState;
                const auto fx = xOf(frame);
                if (!value || !fx)
                    continue;
                any = true;
                text(svg, *fx, y, 9, "middle", "cell", shortName(tag, *value));
            }
            if (any) {
                text(svg, 10, y, 10, "start", "axis", (source.empty() ? "" : source + " ") + label);
                y += kStripHeight;
            }
        }
    }
    if (!step.sensorModes.empty()) {
        for (const auto &[frame, mode] : step.sensorModes)
            if (const auto fx = xOf(frame))
                text(svg, *fx, y, 9, "middle", "cell", std::to_string(mode));
        text(svg, 10, y, 10, "start", "axis", "sensor mode");
        y += kStripHeight;
    }
    drawTicks(svg, axis, y);

    std::vector<std::string> summary = {
        (step.selectionUnknown.empty() ? "selected: " + frameText(step.selectedFrames) +
                                             (step.selectionCaveat.empty() ? "" : " (" + step.selectionCaveat + ")")
                                       : "selected: not known (" + step.selectionUnknown + ")") +
        (step.anchorFrame ? "   anchor: " + std::to_string(*step.anchorFrame) : "")};
    if (step.completeness != Completeness::Whole)
        summary.insert(summary.begin(), "not whole: " + completenessText(step.completeness, step.completenessWhy));
    if (!step.takenUnknown.empty())
        summary.push_back("taken: not in the log (" + step.takenUnknown + ")");
    else if (step.kind == StepKind::Capture && (step.requested > 0 || !trace.fromLog))
        summary.push_back("took " + std::to_string(step.taken.size()) + " of " + std::to_string(step.requested) +
                          " requested: " + frameText(step.taken));
    y = writeLines(svg, y + 44, width, "summary", summary);
    y = writeLines(svg, y, width, "note", notes);
    // What a log could not tell: facts of the reading, not faults of the capture.
    std::vector<std::string> logNotes;
    for (const std::string &note : step.notes)
        logNotes.push_back("note: " + note);
    return writeLines(svg, y, width, "axis", logNotes) - top + 12;
}

// A check or needed step: its answer in one line.
double drawAnswer(std::ostream &svg, const SessionOutcome &trace, const StepOutcome &step, double top, double width)
{
    const std::string title =
        trace.name + " - " + stepKindName(step.kind) + (step.label.empty() ? "" : ": " + step.label);
    text(svg, 10, top + 20, 15, "start", "title", title);
    std::vector<std::string> lines;
    if (step.needed)
        lines.push_back(std::string("ZSL needed: ") + (*step.needed ? "yes" : "no"));
    for (const CheckOutcome &check : step.checks)
        lines.push_back("frame " + std::to_string(check.frame) + ": " +
                        (!check.unknown.empty() ? "verdict unknown: " + check.unknown
                         : check.verdict.first  ? "accepted"
                                                : "refused: " + check.explanation));
    return writeLines(svg, top + 42, width, "summary", lines) - top + 12;
}

// The legend, wrapped to the width; answers its height.
double drawLegend(std::ostream &svg, double top, double width)
{
    struct Item {
        const char *shape, *cls, *label;
    };
    const Item items[] = {{"circle", "held", "held by the queue"},
                          {"circle", "selected", "selected"},
                          {"circle", "selected taken", "taken by the host"},
                          {"ring", "anchor", "anchor"},
                          {"\u2713", "ok", "accepted"},
                          {"\u2717", "bad", "refused"},
                          {"!", "warn", "warning"},
                          {"rect", "window", "after zsdTs: may anchor"},
                          {"rect", "untimed", "time not in the log"}};
    double x = 10, y = top + 12;
    for (const Item &item : items) {
        const double itemWidth = 24 + textWidth(item.label, 10) + 18;
        if (x + itemWidth > width - 10) {
            x = 10;
            y += 22;
        }
        const std::string shape = item.shape;
        if (shape == "circle")
            circle(svg, x + 7, y - 3, 6, item.cls);
        else if (shape == "ring")
            circle(svg, x + 7, y - 3, 7, item.cls);
        else if (shape == "rect")
            svg << "<rect x='" << number(x) << "' y='" << number(y - 10) << "' width='14' height='14' class='"
                << item.cls << "'/>\n";
        else
            text(svg, x + 7, y + 1, 14, "middle", item.cls, shape);
        text(svg, x + 20, y, 10, "start", "axis", item.label);
        x += itemWidth;
    }
    std::string states = "AE, AF and lens states:";
    for (const auto &[name, cell] : stateAbbreviations()) {
        std::string words = name;
        std::transform(words.begin(), words.end(), words.begin(), [](char c) {
            return c == '_' ? ' ' : static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        });
        states += " " + cell + " " + words + (&cell == &stateAbbreviations().back().second ? "" : ",");
    }
    return writeLines(svg, y + 22, width, "axis", {states}) - top;
}

} // namespace

std::string drawTimeline(const std::vector<SessionOutcome> &traces)
{
    double width = kMinWidth;
    for (const SessionOutcome &trace : traces)
        for (const StepOutcome &step : trace.steps)
            if (step.selectRan)
                width = std::max(width, axisOf(step).width);

    std::ostringstream body;
    double top = 10;
    for (const SessionOutcome &trace : traces)
        for (const StepOutcome &step : trace.steps)
            top += step.selectRan ? drawSelection(body, trace, step, top, width)
                                  : drawAnswer(body, trace, step, top, width);
    top += drawLegend(body, top, width) + 10;

    std::ostringstream svg;
    svg << "<svg xmlns='http://www.w3.org/2000/svg' width='" << number(width) << "' height='" << number(top)
        << "' viewBox='0 0 " << number(width) << " " << number(top) << "' font-family='sans-serif'>\n"
        << "<style>\n"
        << ".title{font-weight:bold}.axis{fill:#555}.cell{fill:#333}.row{stroke:#ccc}.tick{stroke:#888}\n"
        << ".window{fill:#e3f4e1}.untimed{fill:none;stroke:#888;stroke-dasharray:4,3}.zsd{stroke:#c62828;stroke-"
           "dasharray:5,3}.zsdlabel{fill:#c62828}\n"
        << ".now{stroke:#333;stroke-dasharray:2,2}.held{fill:#fff;stroke:#777}.selected{fill:#1e88e5;stroke:#0d47a1}\n"
        << ".taken{stroke:#000;stroke-width:3}.anchor{fill:none;stroke:#f9a825;stroke-width:3}\n"
        << ".ok{fill:#2e7d32}.bad{fill:#c62828}.warn{fill:#ef6c00;font-weight:bold}.note{fill:#c62828}\n"
        << "</style>\n"
        << "<rect width='100%' height='100%' fill='#fff'/>\n"
        << body.str() << "</svg>\n";
    return svg.str();
}

} // namespace zsl::output
