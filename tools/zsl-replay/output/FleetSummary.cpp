// The fleet summary: text, JSON and SVG from the capture table's rows.

#include "output/FleetSummary.h"

#include "outcome/PluginLines.h"
#include "output/SvgText.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <set>
#include <sstream>

namespace zsl::output {

using namespace zsl::outcome;
using svg::glyphCount;
using svg::glyphPrefix;

namespace {

const double kPercentiles[] = {50, 90, 99};

std::string groupName(const std::string &text, const char *none)
{
    return text.empty() ? none : text;
}

std::string number(double value, int decimals = 3)
{
    return svg::fixed(value, decimals);
}

std::string percent(size_t part, size_t whole)
{
    return whole == 0 ? "-" : number(100.0 * static_cast<double>(part) / static_cast<double>(whole), 0) + "%";
}

} // namespace

double FleetSummary::percentile(const std::vector<double> &sorted, double p)
{
    if (sorted.empty())
        return 0;
    const auto rank = static_cast<size_t>(std::ceil(p / 100 * static_cast<double>(sorted.size())));
    return sorted[std::clamp<size_t>(rank, 1, sorted.size()) - 1];
}

void FleetSummary::add(const CaptureRow &row)
{
    ++mCaptures;
    mInputs.insert(row.input);
    Group &group = mGroups[{row.device, row.build}];
    ++group.captures;
    if (row.selected)
        ++group.selections;
    if (row.taken && row.requested) {
        ++group.takenKnown;
        if (*row.taken >= *row.requested)
            ++group.takenInFull;
    }
    mChecks += row.checks;
    mRefusedFrames += row.refusedFrames;
    mVerdictUnknown += row.verdictUnknown;
    for (const auto &[kind, count] : row.refused)
        mRefused[kind] += count;
    mLagsMs.insert(mLagsMs.end(), row.takenLagsMs.begin(), row.takenLagsMs.end());
    mLagUnknown += row.takenLagUnknown;
}

void FleetSummary::add(const FleetSummary &other)
{
    mCaptures += other.mCaptures;
    mRepeats += other.mRepeats;
    mInputs.insert(other.mInputs.begin(), other.mInputs.end());
    for (const auto &[key, group] : other.mGroups) {
        Group &into = mGroups[key];
        into.captures += group.captures;
        into.selections += group.selections;
        into.takenKnown += group.takenKnown;
        into.takenInFull += group.takenInFull;
    }
    mChecks += other.mChecks;
    mRefusedFrames += other.mRefusedFrames;
    mVerdictUnknown += other.mVerdictUnknown;
    for (const auto &[kind, count] : other.mRefused)
        mRefused[kind] += count;
    mLagsMs.insert(mLagsMs.end(), other.mLagsMs.begin(), other.mLagsMs.end());
    mLagUnknown += other.mLagUnknown;
}

std::vector<double> FleetSummary::sortedLags() const
{
    std::vector<double> lags = mLagsMs;
    std::sort(lags.begin(), lags.end());
    return lags;
}

FleetSummary::Histogram FleetSummary::histogram(size_t bins) const
{
    Histogram out;
    if (mLagsMs.empty() || bins == 0)
        return out;
    const auto [least, most] = std::minmax_element(mLagsMs.begin(), mLagsMs.end());
    out.low = std::min(0.0, *least);
    out.high = std::max(*most, out.low + 1);
    out.counts.assign(bins, 0);
    for (double lag : mLagsMs)
        ++out.counts[std::min(bins - 1, static_cast<size_t>((lag - out.low) / (out.high - out.low) * double(bins)))];
    return out;
}

void FleetSummary::writeText(std::ostream &out) const
{
    out << "Summary: " << mCaptures << " capture" << (mCaptures == 1 ? "" : "s") << " from " << mInputs.size()
        << " input" << (mInputs.size() == 1 ? "" : "s");
    if (mRepeats > 0)
        out << "; " << mRepeats << (mRepeats == 1 ? " was" : " were") << " read twice and counted once";
    out << "\n";
    const std::vector<std::string> heads = {"device",     "build",       "captures",
                                            "selections", "taken known", "taken in full"};
    std::vector<std::vector<std::string>> cells;
    for (const auto &[key, group] : mGroups)
        cells.push_back(
            {groupName(key.first, "(no bug report)"), groupName(key.second, "-"), std::to_string(group.captures),
             std::to_string(group.selections), std::to_string(group.takenKnown),
             std::to_string(group.takenInFull) + " (" + percent(group.takenInFull, group.takenKnown) + ")"});
    std::vector<size_t> widths;
    for (const std::string &head : heads)
        widths.push_back(head.size());
    for (const auto &line : cells)
        for (size_t i = 0; i < line.size(); ++i)
            widths[i] = std::max(widths[i], line[i].size());
    auto row = [&](const std::vector<std::string> &line) {
        std::string text = " ";
        for (size_t i = 0; i < line.size(); ++i) {
            const std::string pad(widths[i] - line[i].size(), ' ');
            text += "  " + (i < 2 ? line[i] + pad : pad + line[i]); // names left, counts right
        }
        out << text.substr(0, text.find_last_not_of(' ') + 1) << "\n";
    };
    row(heads);
    for (const auto &line : cells)
        row(line);

    out << "   frames checked: " << mChecks << ", refused: " << mRefusedFrames;
    std::string classes;
    for (const char *kind : kRefusalClasses)
        if (auto count = mRefused.find(kind); count != mRefused.end())
            classes += (classes.empty() ? "" : ", ") + std::string(kind) + " " + std::to_string(count->second);
    out << (classes.empty() ? "" : " (" + classes + ")");
    if (mVerdictUnknown > 0)
        out << ", verdict not in the log: " << mVerdictUnknown;
    out << "\n";

    const std::vector<double> lags = sortedLags();
    out << "   taken frames shot before the capture moment: ";
    if (lags.empty()) {
        out << "no taken frame's time is known";
    } else {
        for (double p : kPercentiles)
            out << "p" << p << " " << number(percentile(lags, p)) << " ms, ";
        out << "max " << number(lags.back()) << " ms (" << lags.size() << " frame" << (lags.size() == 1 ? "" : "s")
            << ")";
    }
    if (mLagUnknown > 0)
        out << "; shutter time not in the log: " << mLagUnknown << " frame" << (mLagUnknown == 1 ? "" : "s");
    out << "\n";
}

nlohmann::json FleetSummary::toJson() const
{
    nlohmann::json out;
    out["captures"] = mCaptures;
    out["repeated"] = mRepeats;
    out["inputs"] = mInputs.size();
    out["groups"] = nlohmann::json::array();
    for (const auto &[key, group] : mGroups)
        out["groups"].push_back({{"device", key.first},
                                 {"build", key.second},
                                 {"captures", group.captures},
                                 {"selections", group.selections},
                                 {"takenKnown", group.takenKnown},
                                 {"takenInFull", group.takenInFull}});
    out["framesChecked"] = mChecks;
    out["framesRefused"] = mRefusedFrames;
    out["refusedByClass"] = nlohmann::json::object();
    for (const char *kind : kRefusalClasses)
        out["refusedByClass"][kind] = mRefused.count(kind) ? mRefused.at(kind) : 0;
    out["verdictUnknown"] = mVerdictUnknown;
    const std::vector<double> lags = sortedLags();
    nlohmann::json lag = {{"frames", lags.size()}, {"unknown", mLagUnknown}};
    for (double p : kPercentiles)
        lag["p" + number(p, 0)] = lags.empty() ? nlohmann::json() : nlohmann::json(percentile(lags, p));
    lag["max"] = lags.empty() ? nlohmann::json() : nlohmann::json(lags.back());
    out["takenLagMs"] = lag;
    return out;
}

// Long: one picture drawn top to bottom, each part a few lines.
std::string FleetSummary::svg() const
{
    // Three panels, one under the other: captures per device and build
    // (taken in full, short, not told), refusals per reason class, and the
    // taken frames' lag as a histogram with its percentiles marked.
    // Labels start at the left edge and the bars after the longest one, with
    // room for fonts up to 0.75 em a character (librsvg's run wider than
    // Chromium's): a label is never cut, nor drawn over a bar.
    const int barWidth = 330, rowHeight = 22, kMaxName = 40;
    auto labelWidth = [](size_t glyphs) { return static_cast<int>(glyphs) * 9; }; // 12 px text
    size_t longest = std::string("sensor_mode").size();
    for (const auto &[key, group] : mGroups)
        longest = std::max(longest, std::min<size_t>(kMaxName, glyphCount(groupName(key.first, "(no bug report)") +
                                                                          "  " + groupName(key.second, ""))));
    const int left = 10 + labelWidth(longest) + 12;
    const int width = std::max(760, left + barWidth + labelWidth(24)); // "16000 (100% in full)" after the bar
    std::ostringstream body;
    int y = 20;
    auto title = [&](const std::string &text) {
        body << "<text x=\"10\" y=\"" << y + 14 << "\" class=\"title\">" << svg::escape(text) << "</text>\n";
        y += 28;
    };
    auto bar = [&](int x, int w, const char *colour, const std::string &tip) {
        if (w > 0)
            body << "<rect x=\"" << x << "\" y=\"" << y << "\" width=\"" << w << "\" height=\"" << rowHeight - 6
                 << "\" fill=\"" << colour << "\"><title>" << svg::escape(tip) << "</title></rect>\n";
    };
    auto label = [&](int x, const std::string &text, const char *anchor = "start") {
        body << "<text x=\"" << x << "\" y=\"" << y + 12 << "\" text-anchor=\"" << anchor << "\">" << svg::escape(text)
             << "</text>\n";
    };

    title("Captures per device and build");
    int legendX = 10;
    for (const auto &[colour, meaning] :
         {std::pair{"#2e7d32", "took every frame wanted"}, std::pair{"#ef6c00", "took fewer"},
          std::pair{"#9e9e9e", "not told (no selection, or not in the log)"}}) {
        body << "<rect x=\"" << legendX << "\" y=\"" << y - 6 << "\" width=\"10\" height=\"10\" fill=\"" << colour
             << "\"/><text x=\"" << legendX + 14 << "\" y=\"" << y + 3 << "\" class=\"small\">" << meaning
             << "</text>\n";
        legendX += 30 + static_cast<int>(std::string(meaning).size()) * 5;
    }
    y += 12;
    size_t most = 1;
    for (const auto &entry : mGroups)
        most = std::max(most, entry.second.captures);
    auto scaled = [&](size_t count, size_t of) {
        return static_cast<int>(std::lround(double(count) * barWidth / double(of)));
    };
    for (const auto &[key, group] : mGroups) {
        const std::string name = groupName(key.first, "(no bug report)") + "  " + groupName(key.second, "");
        // A long build is cut on the plot and whole in its tooltip.
        body << "<text x=\"10\" y=\"" << y + 12 << "\"><title>" << svg::escape(name) << "</title>"
             << svg::escape(glyphCount(name) > kMaxName ? glyphPrefix(name, kMaxName - 1) + "…" : name) << "</text>\n";
        const size_t shortCount = group.takenKnown - group.takenInFull, untold = group.captures - group.takenKnown;
        const int full = scaled(group.takenInFull, most), cut = scaled(shortCount, most);
        bar(left, full, "#2e7d32", std::to_string(group.takenInFull) + " taken in full");
        bar(left + full, cut, "#ef6c00", std::to_string(shortCount) + " took fewer frames than wanted");
        bar(left + full + cut, scaled(untold, most), "#9e9e9e",
            std::to_string(untold) + " frames taken not told (no selection, or not in the log)");
        label(left + scaled(group.captures, most) + 6,
              std::to_string(group.captures) + " (" + percent(group.takenInFull, group.takenKnown) + " in full)");
        y += rowHeight;
    }
    y += 14;

    title("Frames refused, by reason class (" + std::to_string(mRefusedFrames) + " of " + std::to_string(mChecks) +
          " checked)");
    size_t mostRefused = 1;
    for (const auto &entry : mRefused)
        mostRefused = std::max(mostRefused, entry.second);
    for (const char *kind : kRefusalClasses) {
        const size_t count = mRefused.count(kind) ? mRefused.at(kind) : 0;
        label(10, kind);
        bar(left, scaled(count, mostRefused), "#c62828", std::to_string(count) + " frames refused: " + kind);
        label(left + scaled(count, mostRefused) + 6, std::to_string(count));
        y += rowHeight;
    }
    y += 14;

    const std::vector<double> lags = sortedLags();
    title("Taken frames: shot how long before the capture moment (ms; " + std::to_string(lags.size()) + " frames" +
          (mLagUnknown ? ", " + std::to_string(mLagUnknown) + " not in the log" : "") + ")");
    const int plotHeight = 120, bins = 20, plotLeft = 60, plotWidth = width - plotLeft - 40;
    if (lags.empty()) {
        label(plotLeft, "no taken frame's shutter time is known");
        y += rowHeight;
    } else {
        const Histogram shape = histogram(bins);
        const double low = shape.low, high = shape.high;
        const std::vector<size_t> &counts = shape.counts;
        const size_t tallest = *std::max_element(counts.begin(), counts.end());
        // The percentiles' labels in a band of their own above the bars.
        const int band = 12 * static_cast<int>(std::size(kPercentiles)) + 6;
        const int base = y + band + plotHeight;
        for (int b = 0; b < bins; ++b) {
            const int h = static_cast<int>(std::lround(double(counts[b]) * plotHeight / double(tallest)));
            body << "<rect x=\"" << plotLeft + b * plotWidth / bins << "\" y=\"" << base - h << "\" width=\""
                 << plotWidth / bins - 2 << "\" height=\"" << h << "\" fill=\"#1565c0\"><title>" << counts[b]
                 << " frames, " << number(low + (high - low) * b / bins, 1) << " to "
                 << number(low + (high - low) * (b + 1) / bins, 1) << " ms</title></rect>\n";
            if (counts[b] > 0)
                body << "<text x=\"" << plotLeft + b * plotWidth / bins + (plotWidth / bins - 2) / 2 << "\" y=\""
                     << base - h - 3 << "\" text-anchor=\"middle\" class=\"small\">" << counts[b] << "</text>\n";
        }
        body << "<line x1=\"" << plotLeft << "\" y1=\"" << base << "\" x2=\"" << plotLeft + plotWidth << "\" y2=\""
             << base << "\" stroke=\"#333\"/>\n";
        // The count axis: frames per bar, from 0 to the tallest.
        body << "<line x1=\"" << plotLeft << "\" y1=\"" << base - plotHeight << "\" x2=\"" << plotLeft << "\" y2=\""
             << base << "\" stroke=\"#333\"/>\n<text x=\"10\" y=\"" << base - plotHeight - 8
             << "\" class=\"small\">frames</text>\n";
        for (const size_t tick : std::set<size_t>{0, (tallest + 1) / 2, tallest}) {
            const long ty = base - std::lround(double(tick) * plotHeight / double(tallest));
            body << "<line x1=\"" << plotLeft - 4 << "\" y1=\"" << ty << "\" x2=\"" << plotLeft << "\" y2=\"" << ty
                 << "\" stroke=\"#333\"/>\n<text x=\"" << plotLeft - 6 << "\" y=\"" << ty + 4
                 << "\" text-anchor=\"end\" class=\"small\">" << tick << "</text>\n";
        }
        int line = 0; // percentiles one under another, so that equal ones stay readable
        for (double p : kPercentiles) {
            const double value = percentile(lags, p);
            const int x = plotLeft + static_cast<int>(std::lround((value - low) / (high - low) * plotWidth));
            const bool atRight = x > plotLeft + plotWidth - 80;
            body << "<line x1=\"" << x << "\" y1=\"" << y - 4 << "\" x2=\"" << x << "\" y2=\"" << base
                 << "\" stroke=\"#000\" stroke-dasharray=\"3,3\"/>\n<text x=\"" << x + (atRight ? -3 : 3) << "\" y=\""
                 << y + 8 + 12 * line++ << "\" class=\"small\" text-anchor=\"" << (atRight ? "end" : "start") << "\">p"
                 << p << " " << number(value, 1) << " ms</text>\n";
        }
        y = base + 4;
        for (double tick : {low, (low + high) / 2, high})
            body << "<text x=\"" << plotLeft + static_cast<int>(std::lround((tick - low) / (high - low) * plotWidth))
                 << "\" y=\"" << y + 12 << "\" text-anchor=\"middle\" class=\"small\">" << number(tick, 1)
                 << " ms</text>\n";
        y += 24;
    }

    std::ostringstream out;
    out << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << width << "\" height=\"" << y + 10
        << "\" font-family=\"sans-serif\" font-size=\"12\">\n<style>.title{font-weight:bold;font-size:14px}"
        << ".small{font-size:10px}</style>\n<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n"
        << "<text x=\"10\" y=\"14\" class=\"small\">" << mCaptures << (mCaptures == 1 ? " capture" : " captures")
        << " from " << mInputs.size() << (mInputs.size() == 1 ? " input" : " inputs") << "</text>\n"
        << body.str() << "</svg>\n";
    return out.str();
}

} // namespace zsl::output
