// The SVG timeline of a session's outcome.

#include "Timeline.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <set>
#include <sstream>

namespace replay {

namespace {

constexpr double kWidth = 1000;
constexpr double kLeft = 170;  // room for the queue names
constexpr double kRight = 40;
constexpr double kRowHeight = 46;

std::string escape(const std::string &text)
{
    std::string out;
    for (char c : text) {
        switch (c) {
        case '&': out += "&amp;"; break;
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        case '"': out += "&quot;"; break;
        default: out += c;
        }
    }
    return out;
}

std::string number(double value)
{
    char text[32];
    std::snprintf(text, sizeof(text), "%.1f", value);
    return text;
}

const CheckOutcome *checkOf(const StepOutcome &step, uint32_t frame)
{
    for (const CheckOutcome &check : step.checks)
        if (check.frame == frame)
            return &check;
    return nullptr;
}

// One panel per select or capture step; answers its height.
double drawStep(std::ostringstream &svg, const SessionOutcome &trace, const StepOutcome &step, double top)
{
    const int64_t origin = step.captureNs;
    // In double: the difference of two times near the int64 limits overflows.
    auto ms = [origin](int64_t ns) { return (static_cast<double>(ns) - static_cast<double>(origin)) / 1e6; };

    double low = 0, high = 0;
    for (const auto &[frame, ns] : step.shutterNs) {
        low = std::min(low, ms(ns));
        high = std::max(high, ms(ns));
    }
    if (step.zsdTs) {
        low = std::min(low, ms(*step.zsdTs));
        high = std::max(high, ms(*step.zsdTs));
    }
    const double pad = std::max(5.0, (high - low) * 0.06);
    low -= pad;
    high += pad;
    auto x = [&](double valueMs) { return kLeft + (valueMs - low) / (high - low) * (kWidth - kLeft - kRight); };

    std::set<uint32_t> selected(step.selectedFrames.begin(), step.selectedFrames.end());
    std::set<uint32_t> taken(step.taken.begin(), step.taken.end());
    const double rowsTop = top + 58;
    const double rowsBottom = rowsTop + kRowHeight * static_cast<double>(step.queues.size());

    std::string title = trace.name + " - " + (step.label.empty() ? "capture" : step.label) +
                        " (fwkFrame " + std::to_string(step.fwkFrame) + ")";
    svg << "<text x='10' y='" << number(top + 20) << "' class='title'>" << escape(title) << "</text>\n";

    // The window of frames new enough to be the anchor: after zsdTs.
    if (step.zsdTs) {
        double zx = x(ms(*step.zsdTs));
        svg << "<rect x='" << number(zx) << "' y='" << number(rowsTop - 14) << "' width='"
            << number(kWidth - kRight - zx) << "' height='" << number(rowsBottom - rowsTop + 14)
            << "' class='window'/>\n";
        svg << "<line x1='" << number(zx) << "' x2='" << number(zx) << "' y1='" << number(rowsTop - 18)
            << "' y2='" << number(rowsBottom + 6) << "' class='zsd'/>\n";
        svg << "<text x='" << number(zx + 4) << "' y='" << number(rowsTop - 22) << "' class='zsdlabel'>zsdTs "
            << number(ms(*step.zsdTs)) << " ms, newer frames may anchor</text>\n";
    }
    double nowX = x(0);
    svg << "<line x1='" << number(nowX) << "' x2='" << number(nowX) << "' y1='" << number(rowsTop - 18)
        << "' y2='" << number(rowsBottom + 6) << "' class='now'/>\n";
    svg << "<text x='" << number(nowX - 4) << "' y='" << number(rowsBottom + 20)
        << "' class='axis' text-anchor='end'>capture moment</text>\n";

    // Axis ticks every round number of ms (1, 2 or 5 times a power of ten),
    // about ten of them whatever the span.
    const double rough = (high - low) / 10;
    const double decade = std::pow(10.0, std::floor(std::log10(rough)));
    double tick = 10 * decade;
    for (double multiple : {5.0, 2.0, 1.0})
        if (multiple * decade >= 0.7 * rough)
            tick = multiple * decade;
    for (double t = std::ceil(low / tick) * tick; t <= high; t += tick)
        svg << "<text x='" << number(x(t)) << "' y='" << number(rowsBottom + 34) << "' class='axis'>"
            << number(t) << " ms</text>\n";

    std::vector<std::string> notes;
    for (size_t row = 0; row < step.queues.size(); ++row) {
        const QueueView &queue = step.queues[row];
        const double y = rowsTop + kRowHeight * static_cast<double>(row) + kRowHeight / 2;
        svg << "<line x1='" << number(kLeft) << "' x2='" << number(kWidth - kRight) << "' y1='" << number(y)
            << "' y2='" << number(y) << "' class='row'/>\n";
        std::string typeName = queue.type == 1 ? "meta" : queue.type == 2 ? "sensor mode" : "type " + std::to_string(queue.type);
        svg << "<text x='10' y='" << number(y - 2) << "' class='queue'>[" << escape(queue.name) << "]</text>\n";
        svg << "<text x='10' y='" << number(y + 12) << "' class='axis'>id " << queue.id << ", "
            << escape(typeName) << " queue</text>\n";

        auto selection = step.selection.find(queue.id);
        std::set<uint32_t> queueSelected;
        if (selection != step.selection.end())
            queueSelected.insert(selection->second.begin(), selection->second.end());
        std::vector<uint32_t> untimed;
        for (uint32_t frameNum : queue.held) {
            auto time = step.shutterNs.find(frameNum);
            if (time == step.shutterNs.end()) {
                untimed.push_back(frameNum);
                continue;
            }
            const double fx = x(ms(time->second));
            const bool isSelected = queueSelected.count(frameNum) != 0;
            svg << "<circle cx='" << number(fx) << "' cy='" << number(y) << "' r='7' class='"
                << (isSelected ? "selected" : "held") << (taken.count(frameNum) ? " taken" : "") << "'>"
                << "<title>frame " << frameNum << " at " << number(ms(time->second)) << " ms</title></circle>\n";
            svg << "<text x='" << number(fx) << "' y='" << number(y - 15) << "' class='frame'>" << frameNum
                << "</text>\n";
            if (queue.type == 1 && step.anchorFrame && *step.anchorFrame == frameNum)
                svg << "<circle cx='" << number(fx) << "' cy='" << number(y) << "' r='12' class='anchor'/>\n";
            if (queue.type == 1) {
                if (const CheckOutcome *check = checkOf(step, frameNum)) {
                    svg << "<text x='" << number(fx) << "' y='" << number(y + 27) << "' class='"
                        << (check->verdict.first ? "ok'>&#10003;" : "bad'>&#10007;") << "</text>\n";
                    if (!check->verdict.first)
                        notes.push_back("frame " + std::to_string(frameNum) + " refused: " + check->reason);
                }
            }
        }
        if (!untimed.empty()) {
            std::string list;
            for (uint32_t frame : untimed)
                list += (list.empty() ? "" : " ") + std::to_string(frame);
            svg << "<text x='" << number(kWidth - kRight) << "' y='" << number(y + 18)
                << "' class='axis' text-anchor='end'>held, no shutter time: " << list << "</text>\n";
        }
    }

    double y = rowsBottom + 56;
    std::string summary = "selected: ";
    for (uint32_t frame : step.selectedFrames)
        summary += std::to_string(frame) + " ";
    if (step.selectedFrames.empty())
        summary += "none ";
    if (step.kind == StepKind::Capture) {
        summary += "  host takes: ";
        for (uint32_t frame : step.taken)
            summary += std::to_string(frame) + " ";
        if (step.taken.empty())
            summary += "none";
    }
    if (step.anchorFrame)
        summary += "  anchor: " + std::to_string(*step.anchorFrame);
    svg << "<text x='10' y='" << number(y) << "' class='summary'>" << escape(summary) << "</text>\n";
    for (const std::string &note : notes) {
        y += 18;
        svg << "<text x='10' y='" << number(y) << "' class='note'>" << escape(note) << "</text>\n";
    }
    return y - top + 30;
}

} // namespace

std::string drawTimeline(const std::vector<SessionOutcome> &traces)
{
    std::ostringstream body;
    double top = 10;
    for (const SessionOutcome &trace : traces)
        for (const StepOutcome &step : trace.steps)
            if (step.selectRan)
                top += drawStep(body, trace, step, top);

    // The legend, drawn once at the bottom.
    body << "<g transform='translate(10," << number(top + 4) << ")' class='axis'>"
         << "<circle cx='6' cy='0' r='6' class='held'/><text x='16' y='4'>held by the queue</text>"
         << "<circle cx='136' cy='0' r='6' class='selected'/><text x='146' y='4'>selected</text>"
         << "<circle cx='216' cy='0' r='6' class='selected taken'/><text x='226' y='4'>taken by the host</text>"
         << "<circle cx='346' cy='0' r='9' class='anchor'/><text x='360' y='4'>anchor</text>"
         << "<text x='420' y='5' class='ok'>&#10003;</text><text x='430' y='4'>accepted</text>"
         << "<text x='500' y='5' class='bad'>&#10007;</text><text x='510' y='4'>refused</text>"
         << "<rect x='570' y='-7' width='14' height='14' class='window'/><text x='590' y='4'>after zsdTs</text>"
         << "</g>\n";
    top += 20;

    std::ostringstream svg;
    svg << "<svg xmlns='http://www.w3.org/2000/svg' width='" << kWidth << "' height='" << number(top + 20)
        << "' viewBox='0 0 " << kWidth << " " << number(top + 20) << "' font-family='sans-serif'>\n"
        << "<style>\n"
        << ".title{font-size:15px;font-weight:bold}.queue{font-size:12px}.axis{font-size:10px;fill:#555}\n"
        << ".frame{font-size:10px;text-anchor:middle}.row{stroke:#ccc}\n"
        << ".window{fill:#e3f4e1}.zsd{stroke:#c62828;stroke-dasharray:5,3}.zsdlabel{font-size:11px;fill:#c62828}\n"
        << ".now{stroke:#333;stroke-dasharray:2,2}.held{fill:#fff;stroke:#777}.selected{fill:#1e88e5;stroke:#0d47a1}\n"
        << ".taken{stroke:#000;stroke-width:3}.anchor{fill:none;stroke:#f9a825;stroke-width:3}\n"
        << ".ok{fill:#2e7d32;font-size:14px;text-anchor:middle}.bad{fill:#c62828;font-size:14px;text-anchor:middle}\n"
        << ".summary{font-size:12px}.note{font-size:12px;fill:#c62828}\n"
        << "</style>\n"
        << "<rect width='100%' height='100%' fill='#fff'/>\n"
        << body.str() << "</svg>\n";
    return svg.str();
}

} // namespace replay
