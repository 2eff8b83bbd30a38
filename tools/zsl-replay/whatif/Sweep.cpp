// A sweep's rows, as text, JSON and a picture.

#include "whatif/Sweep.h"

#include "whatif/PropertyChange.h"

#include "output/FleetSummary.h"
#include "output/SvgText.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sstream>

namespace zsl::whatif {

using output::svg::escape;
using output::svg::fixed;

namespace {

template <typename Known> std::vector<bool> atEveryValue(const std::vector<SweepRow> &rows, Known known)
{
    std::vector<bool> every(rows.empty() ? 0 : rows.front().summary.seen().size(), true);
    for (const SweepRow &row : rows)
        for (size_t i = 0; i < every.size(); ++i)
            every[i] = every[i] && i < row.summary.seen().size() && known(row.summary.seen()[i]);
    return every;
}

} // namespace

std::vector<bool> inFullAtEveryValue(const std::vector<SweepRow> &rows)
{
    return atEveryValue(rows, [](const WhatIfSummary::Seen &seen) { return seen.inFull[1].has_value(); });
}

std::vector<bool> lagsAtEveryValue(const std::vector<SweepRow> &rows)
{
    return atEveryValue(rows, [](const WhatIfSummary::Seen &seen) { return seen.lags[1].has_value(); });
}

void writeSweepText(std::ostream &out, const std::string &name, const std::vector<SweepRow> &rows)
{
    // Like with like: each share and lag over the same captures at every value.
    const std::vector<bool> inFullEvery = inFullAtEveryValue(rows), lagsEvery = lagsAtEveryValue(rows);
    char line[256];
    std::snprintf(line, sizeof(line), "%-22s %8s %8s %14s %14s %14s %8s\n", name.c_str(), "changed", "anchors",
                  "in full", "median lag ms", "p90 lag ms", "unknown");
    out << line;
    for (const SweepRow &row : rows) {
        const WhatIfSummary &s = row.summary;
        const auto median = s.lagMsAmong(lagsEvery, 1, 50), p90 = s.lagMsAmong(lagsEvery, 1, 90);
        const std::string inFull =
            std::to_string(s.inFullAfterAmong(inFullEvery)) + "/" + std::to_string(counted(inFullEvery));
        std::snprintf(line, sizeof(line), "%-22lld %8zu %8zu %14s %14s %14s %8zu\n", static_cast<long long>(row.value),
                      s.changed(), s.anchorsMoved(), inFull.c_str(), median ? fixed(*median, 3).c_str() : "-",
                      p90 ? fixed(*p90, 3).c_str() : "-", s.unknownFacts());
        out << line;
    }
    if (!rows.empty())
        out << "(" << rows.front().summary.captures() << " captures at each value; anchors: moved; in full: taken "
            << "in full after the change, of the " << counted(inFullEvery) << " captures whose frames taken are "
            << "known at every value; lag: of the frames taken by the " << counted(lagsEvery) << " captures whose "
            << "lags are known at every value; unknown: facts the inputs do not ground)\n";
}

nlohmann::ordered_json sweepJson(const std::string &name, const std::vector<SweepRow> &rows)
{
    nlohmann::ordered_json values = nlohmann::ordered_json::array();
    const std::vector<bool> inFullEvery = inFullAtEveryValue(rows), lagsEvery = lagsAtEveryValue(rows);
    auto orNull = [](std::optional<double> value) { return value ? nlohmann::ordered_json(*value) : nullptr; };
    for (const SweepRow &row : rows)
        values.push_back({{"value", row.value},
                          {"summary", row.summary.toJson()},
                          {"atEveryValue",
                           {{"takenInFull", row.summary.inFullAfterAmong(inFullEvery)},
                            {"lagMedianMs", orNull(row.summary.lagMsAmong(lagsEvery, 1, 50))},
                            {"lagP90Ms", orNull(row.summary.lagMsAmong(lagsEvery, 1, 90))}}}});
    return {{"property", name},
            {"atEveryValue", {{"takenInFullCaptures", counted(inFullEvery)}, {"lagCaptures", counted(lagsEvery)}}},
            {"values", values}};
}

// A round top for an axis from 0 to `most`, and its step: 1, 2 or 5 times a
// power of ten, about four steps.
std::pair<double, double> niceScale(double most)
{
    if (most <= 0)
        return {1, 0.25};
    const double rough = most / 4, decade = std::pow(10.0, std::floor(std::log10(rough)));
    double step = 10 * decade;
    for (double multiple : {5.0, 2.0, 1.0})
        if (multiple * decade >= rough)
            step = multiple * decade;
    return {std::ceil(most / step) * step, step};
}

// Long: one picture drawn top to bottom, each part a few lines.
std::string sweepSvg(const std::string &name, const std::vector<SweepRow> &rows)
{
    constexpr double kWidth = 720, kLeft = 70, kRight = 30, kPanel = 170, kTop = 40, kGap = 60;
    // Points stay this far inside a panel's frame.
    constexpr double kInset = 10;
    const double plotWidth = kWidth - kLeft - kRight, height = kTop + 2 * kPanel + kGap + 80;
    int64_t low = rows.empty() ? 0 : rows.front().value, high = low;
    size_t captures = 0;
    for (const SweepRow &row : rows) {
        low = std::min(low, row.value);
        high = std::max(high, row.value);
        captures = std::max(captures, row.summary.captures());
    }
    auto x = [&](int64_t value) {
        return high == low ? kLeft + plotWidth / 2
                           : kLeft + kInset +
                                 (plotWidth - 2 * kInset) * (static_cast<double>(value) - static_cast<double>(low)) /
                                     (static_cast<double>(high) - static_cast<double>(low));
    };
    // A value of a panel from `top`, 0 at its foot and `yHigh` at its head.
    auto y = [&](double top, double value, double yHigh) {
        return top + kPanel - kInset - (kPanel - 2 * kInset) * value / yHigh;
    };
    std::ostringstream svg;
    svg << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << fixed(kWidth, 0) << "\" height=\""
        << fixed(height, 0) << "\" font-family=\"sans-serif\" font-size=\"12\">\n"
        << "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n"
        << "<text x=\"" << fixed(kLeft, 0) << "\" y=\"22\" font-size=\"15\">What if " << escape(name)
        << " were each value: " << captures << " captures</text>\n";
    // One panel: its frame, its value axis with ticks and grid, and a line per series.
    auto panel = [&](double top, const std::string &title, double yHigh, double yStep, const std::string &unit,
                     const std::vector<std::pair<std::string, std::vector<std::optional<double>>>> &series) {
        const char *colours[] = {"#1f6fb2", "#d9822b"};
        svg << "<rect x=\"" << fixed(kLeft, 0) << "\" y=\"" << fixed(top, 0) << "\" width=\"" << fixed(plotWidth, 0)
            << "\" height=\"" << fixed(kPanel, 0) << "\" fill=\"none\" stroke=\"#999\"/>\n"
            << "<text x=\"" << fixed(kLeft, 0) << "\" y=\"" << fixed(top - 6, 0) << "\">" << escape(title)
            << "</text>\n";
        for (double tick = 0; tick <= yHigh + yStep / 2; tick += yStep) {
            const double ty = y(top, tick, yHigh);
            svg << "<line x1=\"" << fixed(kLeft - 4, 0) << "\" y1=\"" << fixed(ty, 1) << "\" x2=\""
                << fixed(kLeft + plotWidth, 0) << "\" y2=\"" << fixed(ty, 1) << "\" stroke=\"#e4e4e4\"/>\n"
                << "<text x=\"" << fixed(kLeft - 6, 0) << "\" y=\"" << fixed(ty + 4, 1) << "\" text-anchor=\"end\">"
                << fixed(tick, yStep < 1 ? 1 : 0) << " " << unit << "</text>\n";
        }
        for (size_t s = 0; s < series.size(); ++s) {
            std::string points;
            for (size_t i = 0; i < rows.size(); ++i) {
                const std::optional<double> value = series[s].second[i];
                if (!value)
                    continue;
                const double px = x(rows[i].value), py = y(top, *value, yHigh);
                points += fixed(px, 1) + "," + fixed(py, 1) + " ";
                svg << "<circle cx=\"" << fixed(px, 1) << "\" cy=\"" << fixed(py, 1) << "\" r=\"3\" fill=\""
                    << colours[s] << "\"/>\n";
            }
            if (!points.empty())
                svg << "<polyline points=\"" << points << "\" fill=\"none\" stroke=\"" << colours[s]
                    << (s ? "\" stroke-dasharray=\"5,3" : "") << "\"/>\n";
            svg << "<text x=\"" << fixed(kLeft + plotWidth - 170 * double(series.size() - 1 - s), 0) << "\" y=\""
                << fixed(top - 6, 0) << "\" text-anchor=\"end\" fill=\"" << colours[s] << "\">"
                << escape(series[s].first) << "</text>\n";
        }
    };
    const std::vector<bool> inFullEvery = inFullAtEveryValue(rows), lagsEvery = lagsAtEveryValue(rows);
    const double common = static_cast<double>(counted(inFullEvery));
    std::vector<std::optional<double>> inFull, median, p90;
    double lagHigh = 0;
    for (const SweepRow &row : rows) {
        inFull.push_back(common > 0
                             ? std::optional<double>(100.0 * double(row.summary.inFullAfterAmong(inFullEvery)) / common)
                             : std::nullopt);
        median.push_back(row.summary.lagMsAmong(lagsEvery, 1, 50));
        p90.push_back(row.summary.lagMsAmong(lagsEvery, 1, 90));
        lagHigh = std::max(lagHigh, p90.back().value_or(0));
    }
    const auto [lagTopValue, lagStep] = niceScale(lagHigh);
    // What is not known at a value is a band from the least to the most it
    // could be, over every capture that takes frames: never a line.
    const double bandTop = kTop + 20;
    for (size_t i = 0; i + 1 < rows.size(); ++i) {
        auto bounds = [&](const SweepRow &row) {
            const double all = static_cast<double>(row.summary.selections());
            const double known = static_cast<double>(row.summary.inFullAfter());
            return all > 0 ? std::pair<double, double>(100.0 * known / all,
                                                       100.0 * (known + double(row.summary.inFullUnknownAfter())) / all)
                           : std::pair<double, double>(0, 0);
        };
        const auto [low0, high0] = bounds(rows[i]);
        const auto [low1, high1] = bounds(rows[i + 1]);
        if (high0 == low0 && high1 == low1)
            continue;
        auto at = [&](double percent) { return y(bandTop, percent, 100); };
        svg << "<polygon points=\"" << fixed(x(rows[i].value), 1) << "," << fixed(at(high0), 1) << " "
            << fixed(x(rows[i + 1].value), 1) << "," << fixed(at(high1), 1) << " " << fixed(x(rows[i + 1].value), 1)
            << "," << fixed(at(low1), 1) << " " << fixed(x(rows[i].value), 1) << "," << fixed(at(low0), 1)
            << "\" fill=\"#d9822b\" fill-opacity=\"0.2\"/>\n";
    }
    panel(bandTop,
          "captures taken in full: of the " + std::to_string(counted(inFullEvery)) +
              " known at every value; band: all, not known included",
          100, 25, "%", {{"in full", inFull}});
    const double lagTop = kTop + 20 + kPanel + kGap;
    panel(lagTop,
          "lag, the " + std::to_string(counted(lagsEvery)) + (counted(lagsEvery) == 1 ? " capture" : " captures") +
              " known at every value",
          lagTopValue, lagStep, "ms", {{"median", median}, {"p90", p90}});
    if (counted(lagsEvery) == 0)
        svg << "<text x=\"" << fixed(kLeft + plotWidth / 2, 0) << "\" y=\"" << fixed(lagTop + kPanel / 2, 0)
            << "\" text-anchor=\"middle\" fill=\"#666\">no capture's lags are known at every value</text>\n";
    // Each value under the lag panel, or every few when they would crowd.
    const double axis = kTop + 20 + 2 * kPanel + kGap + 18;
    const size_t every = std::max<size_t>(1, (rows.size() + 11) / 12);
    for (size_t i = 0; i < rows.size(); ++i)
        if (i % every == 0 || i + 1 == rows.size())
            svg << "<line x1=\"" << fixed(x(rows[i].value), 1) << "\" y1=\"" << fixed(axis - 18, 0) << "\" x2=\""
                << fixed(x(rows[i].value), 1) << "\" y2=\"" << fixed(axis - 13, 0) << "\" stroke=\"#999\"/>\n"
                << "<text x=\"" << fixed(x(rows[i].value), 1) << "\" y=\"" << fixed(axis, 0)
                << "\" text-anchor=\"middle\">" << rows[i].value << "</text>\n";
    const std::string unit = unitOf(name);
    svg << "<text x=\"" << fixed(kLeft + plotWidth / 2, 0) << "\" y=\"" << fixed(axis + 20, 0)
        << "\" text-anchor=\"middle\">" << escape(name) << (unit.empty() ? " (0 off, 1 on)" : " (" + unit + ")")
        << "</text>\n</svg>\n";
    return svg.str();
}

} // namespace zsl::whatif
