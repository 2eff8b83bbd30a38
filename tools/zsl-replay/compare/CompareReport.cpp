// A comparison as text and as JSON.

#include "compare/CompareReport.h"

#include "output/Plural.h"
#include "output/SvgText.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace zsl::compare {

namespace {

using Json = nlohmann::ordered_json;
using output::plural;

std::string sideText(const Side &side)
{
    return "\"" + side.name() + "\" (" + plural(side.captures(), "capture", "captures") + " from " +
           plural(side.inputs().size(), "input", "inputs") + ")";
}

// Numbers as the JSON shows them: no float noise past the ninth decimal, where
// machines may differ (the normal distribution's tail in long double).
double rounded(double value)
{
    return std::round(value * 1e9) / 1e9;
}

// A p-value to ten significant digits: a tiny one keeps its size.
double significant(double value)
{
    char text[32];
    std::snprintf(text, sizeof(text), "%.10g", value);
    return std::strtod(text, nullptr);
}

Json sideJson(const Side &side)
{
    Json out;
    out["name"] = side.name();
    out["captures"] = side.captures();
    out["inputs"] = side.inputs();
    Json devices = Json::object();
    for (const auto &[device, sample] : side.devices())
        devices[device] = sample.captures();
    out["devices"] = devices;
    return out;
}

} // namespace

std::string valueText(const Measure &measure, double value, bool sign)
{
    const bool rate = measure.unit == "fraction";
    const double shown = rate ? value * 100 : value;
    std::string text = output::svg::fixed(std::fabs(shown), 2);
    if (text.find_first_not_of("0.") == std::string::npos)
        text = output::svg::fixed(0, 2); // no "-0.00"
    else if (shown < 0)
        text = "-" + text;
    else if (sign)
        text = "+" + text;
    return text + (rate ? (sign ? " pts" : "%") : " ms");
}

std::string sizeText(const Measure &measure, double size)
{
    const std::string text = valueText(measure, std::fabs(size), true);
    return text[0] == '+' ? text.substr(1) : text;
}

std::string intervalText(const MeasureResult &result)
{
    const std::string unit = result.measure->unit == "fraction" ? " pts" : " ms";
    auto bare = [&](double value) {
        const std::string text = valueText(*result.measure, value, true);
        return text.substr(0, text.size() - unit.size());
    };
    return bare(result.low) + " to " + bare(result.high) + unit;
}

std::string verdictText(const MeasureResult &result)
{
    std::string text = verdictName(result.verdict);
    if (result.untested)
        text += result.base->value == 0 ? " (none on either side: not tested)" : " (all on both sides: not tested)";
    else if (result.verdict == Verdict::NoChange)
        text += " (" + sizeText(*result.measure, result.detectable) + " would show)";
    return text;
}

std::string notMeasuredWhy(const MeasureResult &result)
{
    const char *what = result.measure->kind == Measure::Kind::Lag       ? "no taken frame's lag"
                       : result.measure->kind == Measure::Kind::Refusal ? "no frame check with a verdict"
                       : result.measure->kind == Measure::Kind::Unknown ? "no capture"
                                                                        : "no capture whose frames taken are known";
    const char *where = !result.base && !result.candidate ? "either side"
                        : !result.base                    ? "the base side"
                                                          : "the candidate side";
    return std::string(what) + " on " + where;
}

void writeCompareText(std::ostream &out, const Side &base, const std::vector<Side> &candidates,
                      const CompareResult &result)
{
    out << "Base " << sideText(base) << "\n";
    for (const Side &candidate : candidates)
        out << "Candidate " << sideText(candidate) << "\n";
    out << "Differences are candidate - base, with their 95% intervals. The verdicts test all " << result.tests
        << " differences\ntogether (Holm's method, 5% in all), so an interval clear of 0 is not a verdict alone.\n"
           "\"would show\": the least change these captures would show 4 times in 5.\n";
    for (const OneSided &alone : result.oneSided)
        out << "\nDevice " << alone.device << ": only on the " << (alone.onBase ? "base" : "candidate") << " side ("
            << plural(alone.captures, "capture", "captures") << (alone.onBase ? "" : " of \"" + alone.side + "\"")
            << "): not compared\n";
    const std::vector<std::string> heads = {"measure", "base", "candidate", "difference", "95% interval", "verdict"};
    for (size_t from = 0; from < result.results.size();) {
        const MeasureResult &first = result.results[from];
        size_t to = from;
        std::vector<std::vector<std::string>> rows;
        for (; to < result.results.size() && result.results[to].device == first.device &&
               result.results[to].side == first.side;
             ++to) {
            const MeasureResult &row = result.results[to];
            const Measure &measure = *row.measure;
            if (row.verdict == Verdict::NotMeasured) {
                rows.push_back({measure.name, row.base ? valueText(measure, row.base->value) : "-",
                                row.candidate ? valueText(measure, row.candidate->value) : "-", "-", "-",
                                std::string("not measured: ") + notMeasuredWhy(row)});
                continue;
            }
            rows.push_back({measure.name, valueText(measure, row.base->value), valueText(measure, row.candidate->value),
                            valueText(measure, row.difference, true), intervalText(row), verdictText(row)});
        }
        out << "\nDevice " << first.device << ": \"" << first.side << "\" against \"" << base.name() << "\" ("
            << first.candidateCaptures << " against " << plural(first.baseCaptures, "capture", "captures") << ")\n";
        std::vector<size_t> widths(heads.size());
        for (size_t i = 0; i < heads.size(); ++i)
            widths[i] = heads[i].size();
        for (const auto &row : rows)
            for (size_t i = 0; i < row.size(); ++i)
                widths[i] = std::max(widths[i], output::svg::glyphCount(row[i]));
        auto line = [&](const std::vector<std::string> &cells) {
            std::string text = " ";
            for (size_t i = 0; i < cells.size(); ++i) {
                const std::string pad(widths[i] - output::svg::glyphCount(cells[i]), ' ');
                text += "  " + (i == 0 || i + 1 == cells.size() ? cells[i] + pad : pad + cells[i]);
            }
            out << text.substr(0, text.find_last_not_of(' ') + 1) << "\n";
        };
        line(heads);
        for (const auto &row : rows)
            line(row);
        from = to;
    }
}

Json compareJson(const Side &base, const std::vector<Side> &candidates, const CompareResult &result)
{
    Json out;
    out["schema"] = kCompareSchema;
    out["base"] = sideJson(base);
    out["candidates"] = Json::array();
    for (const Side &candidate : candidates)
        out["candidates"].push_back(sideJson(candidate));
    out["interval"] = 0.95;
    out["correction"] = "holm";
    out["alpha"] = kAlpha;
    out["tests"] = result.tests;
    out["measures"] = Json::array();
    for (const MeasureResult &row : result.results) {
        Json measure;
        measure["name"] = row.measure->name;
        measure["device"] = row.device;
        measure["unit"] = row.measure->unit;
        measure["direction"] =
            row.measure->direction == Direction::LowerIsBetter ? "lower_is_better" : "higher_is_better";
        measure["side"] = row.side;
        measure["base"] = row.base ? Json(rounded(row.base->value)) : Json();
        measure["candidate"] = row.candidate ? Json(rounded(row.candidate->value)) : Json();
        const bool measured = row.verdict != Verdict::NotMeasured;
        measure["difference"] = measured ? Json(rounded(row.difference)) : Json();
        measure["ci"] = measured ? Json::array({rounded(row.low), rounded(row.high)}) : Json();
        measure["verdict"] = verdictName(row.verdict);
        measure["captures"] = Json::array({row.baseCaptures, row.candidateCaptures});
        measure["p"] = measured ? Json(significant(row.p)) : Json();
        measure["p_adjusted"] = measured && !row.untested ? Json(significant(row.pAdjusted)) : Json();
        measure["tested"] = measured && !row.untested;
        measure["detectable"] = measured ? Json(rounded(row.detectable)) : Json();
        measure["standard_errors"] =
            measured ? Json::array({rounded(row.base->se), rounded(row.candidate->se)}) : Json();
        if (!measured)
            measure["why"] = notMeasuredWhy(row);
        out["measures"].push_back(measure);
    }
    out["one_sided"] = Json::array();
    for (const OneSided &alone : result.oneSided)
        out["one_sided"].push_back(
            {{"device", alone.device}, {"side", alone.onBase ? "base" : alone.side}, {"captures", alone.captures}});
    return out;
}

} // namespace zsl::compare
