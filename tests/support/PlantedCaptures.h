#pragma once
/*
 * Capture-table rows drawn with planted effects, for compare's tests: a
 * side's share of captures that take every frame, its lag, its AF
 * refusals and its captures with an unknown verdict are set, the rest is
 * drawn alike.
 */

#include "compare/Comparison.h"
#include "compare/Side.h"
#include "output/CaptureTable.h"

#include <gtest/gtest.h>

#include <algorithm>

#include <cmath>
#include <random>
#include <string>

namespace kotest {

// What a side's captures are drawn from.
struct Planted {
    double hit = 0.9;        // share of captures that take every frame they want
    double lagShiftMs = 0;   // added to every taken frame's lag
    double afRefusal = 0.05; // share of checks refused for AF
    double unknown = 0.1;    // share of captures with a check whose verdict is not known
};

// One capture: 1 to 3 frames wanted, taken frames 33 ms apart after a lag
// the capture shares (so frames of a capture are not independent).
inline zsl::output::CaptureRow drawCapture(std::mt19937_64 &rng, const Planted &planted, const std::string &device = "ab7")
{
    std::uniform_real_distribution<double> uniform(0, 1);
    std::exponential_distribution<double> wait(1 / 20.0);
    zsl::output::CaptureRow row;
    row.input = "trial.csv";
    row.device = device;
    row.kind = "select";
    const size_t requested = 1 + rng() % 3;
    row.requested = requested;
    row.selected = requested + 2;
    const size_t taken = uniform(rng) < planted.hit ? requested : rng() % requested;
    row.taken = taken;
    const double first = 10 + wait(rng) + planted.lagShiftMs;
    for (size_t i = 0; i < taken; ++i)
        row.takenLagsMs.push_back(std::round((first + 33.3 * double(i)) * 1000) / 1000);
    row.checks = requested + 1;
    for (size_t i = 0; i < row.checks; ++i)
        if (uniform(rng) < planted.afRefusal) {
            ++row.refused["af"];
            ++row.refusedFrames;
        }
    if (uniform(rng) < planted.unknown)
        row.verdictUnknown = 1;
    return row;
}

// A side of `captures` captures drawn with `planted`, from `seed`.
inline zsl::compare::Side drawSide(const std::string &name, uint64_t seed, size_t captures, const Planted &planted)
{
    std::mt19937_64 rng(seed);
    zsl::compare::Side side(name, false);
    for (size_t i = 0; i < captures; ++i)
        side.add(drawCapture(rng, planted));
    return side;
}

// A comparison's result for the measure `name`.
inline const zsl::compare::MeasureResult &resultOf(const zsl::compare::CompareResult &result, const std::string &name)
{
    const auto found = std::find_if(result.results.begin(), result.results.end(),
                                    [&](const zsl::compare::MeasureResult &row) { return row.measure->name == name; });
    EXPECT_NE(found, result.results.end()) << name;
    return *found;
}

} // namespace kotest
