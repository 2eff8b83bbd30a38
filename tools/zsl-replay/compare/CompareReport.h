#pragma once
/*
 * CompareReport: a comparison in words and as JSON (schema zsl-compare/1,
 * docs/compare.md): per candidate and device, one row per measure with
 * both sides, the difference and its interval, and the verdict; devices on
 * one side only named. Rates are fractions in JSON and percent in words.
 */

#include "compare/Comparison.h"
#include "compare/Side.h"

#include <nlohmann/json.hpp>

#include <ostream>
#include <string>
#include <vector>

namespace zsl::compare {

constexpr const char kCompareSchema[] = "zsl-compare/1";

void writeCompareText(std::ostream &out, const Side &base, const std::vector<Side> &candidates,
                      const CompareResult &result);
nlohmann::ordered_json compareJson(const Side &base, const std::vector<Side> &candidates, const CompareResult &result);

// A measure's value in words: "87.20%", "33.10 ms"; `signed`: with its sign (a difference).
std::string valueText(const Measure &measure, double value, bool sign = false);
// A size of change: "1.20 pts", "3.10 ms".
std::string sizeText(const Measure &measure, double size);
// The 95% interval in words: "-6.92 to -2.88 pts".
std::string intervalText(const MeasureResult &result);
// The verdict in words, with what it rests on ("no change detected (1.20 ms would show)").
std::string verdictText(const MeasureResult &result);
// Why a measure was not measured: which side has nothing for it.
std::string notMeasuredWhy(const MeasureResult &result);

} // namespace zsl::compare
