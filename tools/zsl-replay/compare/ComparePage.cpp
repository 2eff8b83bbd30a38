// The comparison's page: pictures drawn here as inline SVG, no script.

#include "compare/ComparePage.h"

#include "compare/CompareReport.h"
#include "output/SvgText.h"

#include <algorithm>
#include <cmath>
#include <sstream>

namespace zsl::compare {

namespace {

using output::svg::escape;
using output::svg::fixed;

constexpr const char kBaseColour[] = "#1565c0", kCandidateColour[] = "#e65100";

const char kStyle[] = R"(:root { color-scheme: light; --ink: #1a1a1a; --muted: #4a4a4a; --line: #c8c8c8; --ok: #1b5e20;
        --bad: #b71c1c; --head: #eef1f5; }
* { box-sizing: border-box; }
body { font: 14px/1.45 system-ui, -apple-system, "Segoe UI", Roboto, "DejaVu Sans", sans-serif; color: var(--ink);
       background: #fff; margin: 0 1.5rem 2rem; }
h1 { font-size: 1.4rem; margin: 1rem 0 0.2rem; }
h2 { font-size: 1.15rem; margin: 1.6rem 0 0.5rem; }
h3 { font-size: 1rem; margin: 1rem 0 0.4rem; }
p.lead { color: var(--muted); margin: 0.2rem 0 0.6rem; max-width: 60rem; }
table { border-collapse: collapse; }
th, td { border: 1px solid var(--line); padding: 0.2rem 0.45rem; text-align: left; vertical-align: top; }
thead th { background: var(--head); }
td.num { text-align: right; font-variant-numeric: tabular-nums; white-space: nowrap; }
td.interval { text-align: right; font-variant-numeric: tabular-nums; white-space: nowrap; }
td.verdict { min-width: 8rem; }
.worse { color: var(--bad); font-weight: bold; }
.better { color: var(--ok); font-weight: bold; }
.quiet { color: var(--muted); }
.pictures { display: flex; flex-wrap: wrap; gap: 1rem 2.5rem; align-items: flex-start; margin: 0.5rem 0 0.8rem; }
figure { margin: 0; }
figcaption { color: var(--muted); font-size: 0.9rem; max-width: 34rem; }
svg text { font-family: "DejaVu Sans", system-ui, sans-serif; font-size: 12px; fill: #1a1a1a; }
.key { display: inline-block; width: 0.9rem; height: 0.9rem; vertical-align: -0.1rem; margin: 0 0.3rem 0 0.8rem; })";

// Round ticks from low (or below) to high or above: about five, at 1, 2 or 5 times a power of ten.
std::vector<double> ticks(double low, double high)
{
    const double span = std::max(high - low, 1e-9);
    const double raw = span / 5, power = std::pow(10, std::floor(std::log10(raw)));
    const double step = raw / power < 1.5   ? power
                        : raw / power < 3.5 ? 2 * power
                        : raw / power < 7.5 ? 5 * power
                                            : 10 * power;
    std::vector<double> out;
    for (double tick = std::floor(low / step + 1e-6) * step; out.empty() || out.back() < high - step * 1e-6;
         tick += step)
        out.push_back(std::fabs(tick) < step * 1e-6 ? 0 : tick);
    return out;
}

std::string tickText(double value, double step)
{
    return fixed(value, step >= 1 ? 0 : step >= 0.1 ? 1 : 2);
}

// The share of each side's lags in equal bins, drawn as two outlines over each other.
std::string lagPicture(const Sample &base, const Sample &candidate)
{
    const std::vector<double> a = base.lags().sortedMs(), b = candidate.lags().sortedMs();
    if (a.empty() || b.empty())
        return "";
    // Up to the larger 99.5th percentile: one far frame would flatten the rest; it is counted apart.
    auto at = [](const std::vector<double> &sorted, double share) {
        return sorted[std::min(sorted.size() - 1, static_cast<size_t>(share * double(sorted.size())))];
    };
    const double low = std::min({0.0, a.front(), b.front()});
    const double high = std::max({at(a, 0.995), at(b, 0.995), low + 1});
    constexpr size_t kBins = 40;
    auto shares = [&](const std::vector<double> &lags, size_t &beyond) {
        std::vector<double> out(kBins, 0);
        for (double lag : lags) {
            if (lag > high) {
                ++beyond;
                continue;
            }
            out[std::min(kBins - 1, static_cast<size_t>((lag - low) / (high - low) * kBins))] +=
                100.0 / double(lags.size());
        }
        return out;
    };
    size_t beyondA = 0, beyondB = 0;
    const std::vector<double> sa = shares(a, beyondA), sb = shares(b, beyondB);
    const double top = std::max(*std::max_element(sa.begin(), sa.end()), *std::max_element(sb.begin(), sb.end()));
    constexpr double kW = 520, kH = 250, kLeft = 52, kRight = 14, kTop = 14, kBottom = 46;
    const std::vector<double> yTicks = ticks(0, top), xTicks = ticks(low, high);
    const double yTop = yTicks.back();
    // The axis runs from tick to tick; the bins from low to high inside it.
    const double axisLow = xTicks.front(), axisHigh = xTicks.back();
    auto x = [&](double ms) { return kLeft + (ms - axisLow) / (axisHigh - axisLow) * (kW - kLeft - kRight); };
    auto y = [&](double share) { return kH - kBottom - share / yTop * (kH - kTop - kBottom); };
    std::ostringstream svg;
    svg << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << kW << "\" height=\"" << kH << "\" role=\"img\" "
        << "aria-label=\"the taken frames' lags of both sides\">";
    for (double tick : yTicks)
        svg << "<line x1=\"" << kLeft << "\" x2=\"" << kW - kRight << "\" y1=\"" << fixed(y(tick), 1) << "\" y2=\""
            << fixed(y(tick), 1) << "\" stroke=\"#e3e3e3\"/><text x=\"" << kLeft - 6 << "\" y=\""
            << fixed(y(tick) + 4, 1) << "\" text-anchor=\"end\">"
            << tickText(tick, yTicks.size() > 1 ? yTicks[1] - yTicks[0] : 1) << "%</text>";
    for (double tick : xTicks)
        svg << "<line x1=\"" << fixed(x(tick), 1) << "\" x2=\"" << fixed(x(tick), 1) << "\" y1=\"" << kH - kBottom
            << "\" y2=\"" << kH - kBottom + 5 << "\" stroke=\"#1a1a1a\"/><text x=\"" << fixed(x(tick), 1) << "\" y=\""
            << kH - kBottom + 18 << "\" text-anchor=\"middle\">"
            << tickText(tick, xTicks.size() > 1 ? xTicks[1] - xTicks[0] : 1) << "</text>";
    svg << "<line x1=\"" << kLeft << "\" x2=\"" << kW - kRight << "\" y1=\"" << kH - kBottom << "\" y2=\""
        << kH - kBottom << "\" stroke=\"#1a1a1a\"/><line x1=\"" << kLeft << "\" x2=\"" << kLeft << "\" y1=\"" << kTop
        << "\" y2=\"" << kH - kBottom << "\" stroke=\"#1a1a1a\"/>";
    svg << "<text x=\"" << (kLeft + kW - kRight) / 2 << "\" y=\"" << kH - 8
        << "\" text-anchor=\"middle\">lag: ms before the capture moment</text>";
    svg << "<text transform=\"translate(13," << (kTop + kH - kBottom) / 2
        << ") rotate(-90)\" text-anchor=\"middle\">share of taken frames</text>";
    auto outline = [&](const std::vector<double> &share, const char *colour, const char *dash) {
        svg << "<path fill=\"none\" stroke=\"" << colour << "\" stroke-width=\"2\"" << dash << " d=\"M"
            << fixed(x(low), 1) << "," << fixed(y(0), 1);
        for (size_t i = 0; i < kBins; ++i) {
            const double from = low + (high - low) * double(i) / kBins, to = low + (high - low) * double(i + 1) / kBins;
            svg << " L" << fixed(x(from), 1) << "," << fixed(y(share[i]), 1) << " L" << fixed(x(to), 1) << ","
                << fixed(y(share[i]), 1);
        }
        svg << " L" << fixed(x(high), 1) << "," << fixed(y(0), 1) << "\"/>";
    };
    outline(sa, kBaseColour, "");
    outline(sb, kCandidateColour, " stroke-dasharray=\"6 3\"");
    svg << "</svg>";
    std::string beyond;
    if (beyondA + beyondB > 0)
        beyond = " Beyond " + fixed(high, 1) + " ms, not drawn: " + std::to_string(beyondA) +
                 " of the base's frames, " + std::to_string(beyondB) + " of the candidate's.";
    return "<figure>" + svg.str() + "<figcaption>The taken frames' lags, each side as its share of its own " +
           std::to_string(a.size()) + " and " + std::to_string(b.size()) + " frames per " +
           fixed((high - low) / kBins, 2) + " ms bin (base solid, candidate dashed)." + escape(beyond) +
           "</figcaption></figure>";
}

// Each rate of both sides as a bar with its 95% interval.
std::string ratePicture(const std::vector<const MeasureResult *> &rates)
{
    std::vector<const MeasureResult *> shown; // not those with nothing on either side
    for (const MeasureResult *rate : rates)
        if (rate->base && rate->candidate && !(rate->untested && rate->base->value == 0))
            shown.push_back(rate);
    if (shown.empty())
        return "";
    constexpr double kZ = 1.959963984540054;
    double most = 0;
    for (const MeasureResult *rate : shown)
        most = std::max(
            {most, rate->base->value + kZ * rate->base->se, rate->candidate->value + kZ * rate->candidate->se});
    const std::vector<double> xTicks = ticks(0, std::min(1.0, most) * 100);
    const double right = std::max(xTicks.back(), 1e-9);
    const std::string hidden = shown.size() < rates.size() ? " Rates with nothing on either side are not drawn." : "";
    constexpr double kW = 520, kLeft = 170, kRight = 20, kRow = 34, kTop = 10, kBottom = 40;
    const double height = kTop + kRow * double(shown.size()) + kBottom;
    auto x = [&](double fraction) {
        return kLeft + std::clamp(fraction * 100 / right, 0.0, 1.0) * (kW - kLeft - kRight);
    };
    std::ostringstream svg;
    svg << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << kW << "\" height=\"" << height << "\" role=\"img\" "
        << "aria-label=\"rates of both sides with their 95% intervals\">";
    for (double tick : xTicks)
        svg << "<line x1=\"" << fixed(x(tick / 100), 1) << "\" x2=\"" << fixed(x(tick / 100), 1) << "\" y1=\"" << kTop
            << "\" y2=\"" << fixed(height - kBottom + 5, 1) << "\" stroke=\"#e3e3e3\"/><text x=\""
            << fixed(x(tick / 100), 1) << "\" y=\"" << fixed(height - kBottom + 18, 1) << "\" text-anchor=\"middle\">"
            << tickText(tick, xTicks.size() > 1 ? xTicks[1] - xTicks[0] : 1) << "%</text>";
    svg << "<text x=\"" << (kLeft + kW - kRight) / 2 << "\" y=\"" << fixed(height - 6, 1)
        << "\" text-anchor=\"middle\">percent (the whisker: its 95% interval)</text>";
    for (size_t i = 0; i < shown.size(); ++i) {
        const MeasureResult &rate = *shown[i];
        const double top = kTop + kRow * double(i);
        svg << "<text x=\"" << kLeft - 8 << "\" y=\"" << fixed(top + 20, 1) << "\" text-anchor=\"end\">"
            << escape(rate.measure->name) << "</text>";
        const std::pair<const Estimate *, const char *> bars[] = {{&*rate.base, kBaseColour},
                                                                  {&*rate.candidate, kCandidateColour}};
        for (size_t side = 0; side < 2; ++side) {
            const auto &[estimate, colour] = bars[side];
            const double y = top + 5 + 12 * double(side);
            svg << "<rect x=\"" << kLeft << "\" y=\"" << fixed(y, 1) << "\" width=\""
                << fixed(x(estimate->value) - kLeft, 1) << "\" height=\"10\" fill=\"" << colour << "\"/>";
            const double low = x(estimate->value - kZ * estimate->se), high = x(estimate->value + kZ * estimate->se);
            svg << "<path stroke=\"#1a1a1a\" d=\"M" << fixed(low, 1) << "," << fixed(y + 5, 1) << " H" << fixed(high, 1)
                << " M" << fixed(low, 1) << "," << fixed(y + 1, 1) << " V" << fixed(y + 9, 1) << " M" << fixed(high, 1)
                << "," << fixed(y + 1, 1) << " V" << fixed(y + 9, 1) << "\"/>";
        }
    }
    svg << "<line x1=\"" << kLeft << "\" x2=\"" << kLeft << "\" y1=\"" << kTop << "\" y2=\""
        << fixed(height - kBottom, 1) << "\" stroke=\"#1a1a1a\"/></svg>";
    return "<figure>" + svg.str() + "<figcaption>Rates of both sides (base above, candidate below)." + hidden +
           "</figcaption></figure>";
}

std::string verdictTable(const std::vector<const MeasureResult *> &rows)
{
    std::ostringstream html;
    html << "<table><thead><tr><th>measure</th><th>base</th><th>candidate</th><th>difference</th><th>95% interval</th>"
            "<th>verdict</th></tr></thead><tbody>";
    for (const MeasureResult *row : rows) {
        const Measure &measure = *row->measure;
        // A long name may break after an underscore, so the table fits a narrow window.
        std::string name = escape(measure.name);
        for (size_t at = 0; (at = name.find('_', at)) != std::string::npos; at += 6)
            name.insert(at + 1, "<wbr>");
        html << "<tr><td title=\"" << escape(directionName(measure.direction)) << "\">" << name << "</td>";
        auto cell = [&](const std::optional<Estimate> &value) {
            html << "<td class=\"num\">" << (value ? escape(valueText(measure, value->value)) : "-") << "</td>";
        };
        cell(row->base);
        cell(row->candidate);
        if (row->verdict == Verdict::NotMeasured) {
            html << "<td class=\"num\">-</td><td class=\"num\">-</td><td class=\"verdict quiet\">not measured: "
                 << escape(notMeasuredWhy(*row)) << "</td></tr>";
            continue;
        }
        const char *style = row->verdict == Verdict::Worse    ? "worse"
                            : row->verdict == Verdict::Better ? "better"
                                                              : "quiet";
        html << "<td class=\"num\">" << escape(valueText(measure, row->difference, true))
             << "</td><td class=\"interval\">" << escape(intervalText(*row)) << "</td><td class=\"verdict " << style
             << "\">" << escape(verdictText(*row)) << "</td></tr>";
    }
    html << "</tbody></table>";
    return html.str();
}

std::string sideLine(const char *role, const Side &side)
{
    return std::string("<li>") + role + " <b>" + escape(side.name()) + "</b>: " + std::to_string(side.captures()) +
           " captures from " + std::to_string(side.inputs().size()) +
           (side.inputs().size() == 1 ? " input" : " inputs") + "</li>";
}

} // namespace

std::string comparePage(const Side &base, const std::vector<Side> &candidates, const CompareResult &result)
{
    std::ostringstream html;
    html << "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">"
         << "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src 'unsafe-inline'; "
            "img-src data:\">"
         << "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\"><title>zsl-replay compare: "
         << escape(base.name()) << "</title><style>" << kStyle << "</style></head><body>\n";
    html << "<h1>ZSL captures compared</h1><ul>" << sideLine("Base", base);
    for (const Side &candidate : candidates)
        html << sideLine("Candidate", candidate);
    html << "</ul><p class=\"lead\">Differences are candidate - base, with their 95% intervals. The verdicts test all "
         << result.tests
         << " differences together by Holm's method, so that the chance of any false verdict is at most "
            "5% (so an interval clear of 0 is not a verdict alone); \"would show\" gives the least change these "
            "captures "
            "would have shown 4 times in 5. "
            "Colours: <span class=\"key\" style=\"background:"
         << kBaseColour << "\"></span>base <span class=\"key\" style=\"background:" << kCandidateColour
         << "\"></span>candidate.</p>\n";
    for (const OneSided &alone : result.oneSided)
        html << "<p>Device <b>" << escape(alone.device) << "</b> is only on the "
             << (alone.onBase ? "base" : "candidate") << " side (" << alone.captures << " captures"
             << (alone.onBase ? "" : " of " + escape(alone.side)) << "): not compared.</p>\n";
    for (size_t from = 0; from < result.results.size();) {
        const MeasureResult &first = result.results[from];
        std::vector<const MeasureResult *> rows, rates;
        size_t to = from;
        for (; to < result.results.size() && result.results[to].device == first.device &&
               result.results[to].side == first.side;
             ++to) {
            rows.push_back(&result.results[to]);
            if (result.results[to].measure->unit == "fraction")
                rates.push_back(&result.results[to]);
        }
        html << "<h2>Device " << escape(first.device) << ": " << escape(first.side) << " against "
             << escape(base.name()) << "</h2><p class=\"lead\">" << first.candidateCaptures << " against "
             << first.baseCaptures << " captures.</p><div class=\"pictures\">";
        const auto candidate = std::find_if(candidates.begin(), candidates.end(),
                                            [&](const Side &side) { return side.name() == first.side; });
        if (candidate != candidates.end())
            html << lagPicture(base.devices().at(first.device), candidate->devices().at(first.device));
        html << ratePicture(rates) << "</div>" << verdictTable(rows) << "\n";
        from = to;
    }
    html << "</body></html>\n";
    return html.str();
}

} // namespace zsl::compare
