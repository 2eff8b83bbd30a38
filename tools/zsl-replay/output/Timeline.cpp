// The SVG timeline of a session's outcome. Every label is placed in a box
// estimated from its font size (0.6 em a character), and the layout keeps
// those boxes apart: rows tall enough for a frame's number, mark and anchor
// ring, frames at least kMinFrameGapPx apart, ticks far enough apart for
// their labels, long lines wrapped, the legend wrapped.
// The panel's time axis is TimelineAxis.

#include "output/Timeline.h"

#include "outcome/AndroidEnums.h"
#include "outcome/FrameText.h"
#include "output/SvgText.h"
#include "output/TimelineAxis.h"

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

constexpr double kRowHeight = 42;
constexpr double kStripHeight = 16;
constexpr double kLineHeight = 18;

using svg::circle;
using svg::escape;
using svg::number;
using svg::text;
using svg::textWidth;
using svg::wrap;

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

// Long: one panel drawn top to bottom (rows, marks, strips, footer) with
// its layout shared by every part.
// One panel per select or capture step; answers its height.
double drawSelection(std::ostream &svg, const SessionOutcome &trace, const StepOutcome &step, double top, double width)
{
    TimelineAxis axis = axisOf(step);
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
                text(svg, 10, y, 10, "start", "axis",
                     (source.isCamera() ? statesSourceText(source) + " " : "") + label);
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
