#pragma once
/*
 * Measures: what compare measures of a side's captures, each with a stable
 * name (used by --json and --fail-on), a unit, the direction that is
 * better, and how a capture-table row counts towards it. One table, in
 * report order, so that a new measure is one entry and docs/compare.md's
 * table follows it.
 */

#include <string>
#include <string_view>
#include <vector>

namespace zsl::compare {

enum class Direction { LowerIsBetter, HigherIsBetter };

struct Measure {
    enum class Kind { Hit, Missing, Lag, Refusal, Unknown };
    std::string name;
    std::string unit; // "fraction" or "ms"
    Direction direction;
    Kind kind;
    double percentile = 0;    // Lag: which
    std::string refusalClass; // Refusal: which
};

// Every measure, in report order: the refusal classes as the table has them.
const std::vector<Measure> &measures();
const Measure *findMeasure(std::string_view name);
const char *directionName(Direction direction);

} // namespace zsl::compare
