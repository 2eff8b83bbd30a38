// compare's statistics on tables with planted effects: a planted change is
// found, and found the right way; sides drawn alike are called different
// no more often than the stated 5%; intervals hold the true difference at
// about their level (every number against a plain second computation is in
// ComparePlainComputationTest); sides that share captures or devices, and
// the CI gates.

#include "compare/CompareReport.h"
#include "compare/Comparison.h"
#include "compare/FailOn.h"
#include "compare/Measures.h"
#include "compare/Side.h"

#include "PlantedCaptures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace zsl::compare;
using zsl::output::CaptureRow;
using kotest::Planted;
using kotest::drawCapture;
using kotest::drawSide;
using kotest::resultOf;

TEST(CompareVerdicts, APlantedChangeIsFoundTheWayItGoes)
{
    struct Case {
        const char *what;
        Planted candidate;
        std::vector<std::pair<const char *, Verdict>> expected;
    };
    const Case cases[] = {
        {"lag 10 ms later", {.lagShiftMs = 10},
         {{"lag_p50_ms", Verdict::Worse}, {"lag_p90_ms", Verdict::Worse}, {"hit_rate", Verdict::NoChange}}},
        {"lag 10 ms earlier", {.lagShiftMs = -10}, {{"lag_p50_ms", Verdict::Better}, {"lag_p90_ms", Verdict::Better}}},
        {"hit rate 5 points lower", {.hit = 0.85},
         {{"hit_rate", Verdict::Worse}, {"missing_rate", Verdict::Worse}, {"refusal_rate_af", Verdict::NoChange}}},
        {"AF refusals doubled", {.afRefusal = 0.10}, {{"refusal_rate_af", Verdict::Worse}, {"lag_p50_ms", Verdict::NoChange}}},
        {"more unknown", {.unknown = 0.2}, {{"unknown_rate", Verdict::Worse}}},
    };
    for (const Case &c : cases) {
        const Side base = drawSide("base", 1, 2000, Planted{});
        const Side candidate = drawSide("candidate", 2, 2000, c.candidate);
        const CompareResult result = compareSides(base, {candidate});
        for (const auto &[name, verdict] : c.expected)
            EXPECT_EQ(verdictName(resultOf(result, name).verdict), std::string(verdictName(verdict)))
                << c.what << ": " << name;
    }
}

TEST(CompareVerdicts, SidesDrawnAlikeAreCalledDifferentAtMostAtTheStatedRate)
{
    // 200 pairs of sides from one distribution: Holm keeps the chance of any
    // verdict other than "no change detected" in a run at 5%, so about 10 runs
    // in 200 at most (20 is more than three standard deviations above).
    // Each measure's interval holds the true difference, 0, about 95% of the time.
    constexpr int kRuns = 200;
    int runsWithAVerdict = 0;
    std::map<std::string, int> held, measured;
    for (int seed = 0; seed < kRuns; ++seed) {
        const Side base = drawSide("base", 1000 + 2 * seed, 1000, Planted{});
        const Side candidate = drawSide("candidate", 1001 + 2 * seed, 1000, Planted{});
        const CompareResult result = compareSides(base, {candidate});
        bool any = false;
        for (const MeasureResult &row : result.results) {
            if (row.verdict == Verdict::NotMeasured)
                continue;
            any = any || row.verdict != Verdict::NoChange;
            ++measured[row.measure->name];
            held[row.measure->name] += row.low <= 0 && 0 <= row.high;
        }
        runsWithAVerdict += any;
    }
    EXPECT_LE(runsWithAVerdict, 20);
    for (const auto &[name, count] : measured) {
        EXPECT_EQ(count, kRuns) << name; // every measure has something to measure on these sides
        EXPECT_GE(held[name], 0.90 * count) << name << ": the interval held 0 in " << held[name] << " of " << count;
    }
}

TEST(CompareVerdicts, IntervalsHoldAPlantedDifferenceAtAboutTheirLevel)
{
    // A pure shift moves every percentile by the shift; the hit rate's true
    // difference is the planted one.
    constexpr int kRuns = 200;
    int lagHeld = 0, hitHeld = 0;
    for (int seed = 0; seed < kRuns; ++seed) {
        const Side base = drawSide("base", 5000 + 2 * seed, 1000, Planted{});
        const Side candidate = drawSide("candidate", 5001 + 2 * seed, 1000, Planted{.hit = 0.8, .lagShiftMs = 4});
        const CompareResult result = compareSides(base, {candidate});
        const MeasureResult &lag = resultOf(result, "lag_p90_ms");
        lagHeld += lag.low <= 4 && 4 <= lag.high;
        const MeasureResult &hit = resultOf(result, "hit_rate");
        hitHeld += hit.low <= -0.1 && -0.1 <= hit.high;
    }
    EXPECT_GE(lagHeld, 0.90 * kRuns);
    EXPECT_GE(hitHeld, 0.90 * kRuns);
    EXPECT_LE(lagHeld, kRuns); // (a constant interval of everything would hold it too: see the verdict tests)
}

TEST(CompareSides, TheSameCapturesOnBothSidesAreTestedAndUnchanged)
{
    // Every measure that varies is tested (and found unchanged, p = 1); one
    // the same constant on both sides (no AE refusal; a single lag) is not.
    const Side base = drawSide("base", 9, 300, Planted{}), candidate = drawSide("candidate", 9, 300, Planted{});
    const CompareResult result = compareSides(base, {candidate});
    for (const MeasureResult &row : result.results) {
        SCOPED_TRACE(row.measure->name);
        EXPECT_EQ(row.difference, 0);
        EXPECT_EQ(row.verdict, Verdict::NoChange);
        const bool varies = row.measure->kind != Measure::Kind::Refusal || row.measure->refusalClass == "af";
        EXPECT_EQ(row.untested, !varies);
        if (varies) {
            EXPECT_EQ(row.p, 1);
        }
    }
    EXPECT_EQ(result.tests, 7u); // hit, missing, three lags, AF refusals, unknown
    Side one("one", false), other("other", false);
    CaptureRow row;
    row.kind = "capture";
    row.device = "ab7";
    row.takenLagsMs = {33.3};
    one.add(row);
    other.add(row);
    const CompareResult single = compareSides(one, {other});
    EXPECT_TRUE(resultOf(single, "lag_p50_ms").untested);
    EXPECT_EQ(single.tests, 0u);
}

TEST(CompareSides, AMeasureASideHasNothingForIsNotMeasuredAndSaysWhichSide)
{
    // Captures that took no frame have no lag; checks without a verdict are no trials.
    auto side = [](const char *name, bool lags, bool verdicts) {
        std::mt19937_64 rng(21);
        Side out(name, false);
        for (int i = 0; i < 40; ++i) {
            CaptureRow row = drawCapture(rng, Planted{});
            if (!lags)
                row.takenLagsMs.clear();
            if (!verdicts) {
                row.verdictUnknown = row.checks;
                row.refused.clear();
            }
            out.add(row);
        }
        return out;
    };
    struct Case {
        bool baseLags, candidateLags, baseVerdicts, candidateVerdicts;
        const char *lagWhy, *refusalWhy;
    };
    const Case cases[] = {
        {true, false, true, true, "no taken frame's lag on the candidate side", nullptr},
        {false, true, true, false, "no taken frame's lag on the base side", "no frame check with a verdict on the candidate side"},
        {false, false, false, false, "no taken frame's lag on either side", "no frame check with a verdict on either side"},
    };
    for (const Case &c : cases) {
        const CompareResult result = compareSides(side("base", c.baseLags, c.baseVerdicts),
                                                  {side("candidate", c.candidateLags, c.candidateVerdicts)});
        const MeasureResult &lag = resultOf(result, "lag_p90_ms"), &refusal = resultOf(result, "refusal_rate_af");
        EXPECT_EQ(lag.verdict, Verdict::NotMeasured);
        EXPECT_EQ(notMeasuredWhy(lag), c.lagWhy);
        if (c.refusalWhy) {
            EXPECT_EQ(refusal.verdict, Verdict::NotMeasured);
            EXPECT_EQ(notMeasuredWhy(refusal), c.refusalWhy);
        } else {
            EXPECT_NE(refusal.verdict, Verdict::NotMeasured);
        }
        EXPECT_NE(resultOf(result, "hit_rate").verdict, Verdict::NotMeasured);
    }
}

TEST(CompareSides, ADeviceOnOneSideIsNamedNotCompared)
{
    std::mt19937_64 rng(3);
    Side base("base", false), candidate("candidate", false), pooled("pooled candidate", true);
    for (int i = 0; i < 50; ++i) {
        base.add(drawCapture(rng, Planted{}, "ab7"));
        base.add(drawCapture(rng, Planted{}, "old-phone"));
        candidate.add(drawCapture(rng, Planted{}, "ab7"));
        candidate.add(drawCapture(rng, Planted{}, "new-phone"));
    }
    const CompareResult result = compareSides(base, {candidate});
    ASSERT_EQ(result.oneSided.size(), 2u);
    EXPECT_EQ(result.oneSided[0].device, "old-phone");
    EXPECT_TRUE(result.oneSided[0].onBase);
    EXPECT_EQ(result.oneSided[1].device, "new-phone");
    EXPECT_FALSE(result.oneSided[1].onBase);
    for (const MeasureResult &row : result.results)
        EXPECT_EQ(row.device, "ab7");
    EXPECT_EQ(result.results.size(), measures().size());
    // The frame checks of a capture whose verdicts the log lacks are no trials:
    // a side with only those has no refusal rate.
    Side blind("blind", false);
    CaptureRow row = drawCapture(rng, Planted{}, "ab7");
    row.verdictUnknown = row.checks;
    row.refused.clear();
    blind.add(row);
    EXPECT_FALSE(blind.devices().at("ab7").estimate(*findMeasure("refusal_rate_af")));
    EXPECT_TRUE(blind.devices().at("ab7").estimate(*findMeasure("hit_rate")));
}

TEST(CompareFailOn, TripsOnlyOnWorseByMoreThanTheLimit)
{
    const Side base = drawSide("base", 11, 2000, Planted{});
    const Side candidate = drawSide("candidate", 12, 2000, Planted{.lagShiftMs = 10});
    const CompareResult result = compareSides(base, {candidate});
    struct Case {
        const char *gate;
        bool trips;
    };
    const Case cases[] = {
        {"lag_p50_ms:+5", true},  {"lag_p50_ms:5", true},      {"lag_p50_ms:+20", false}, {"lag_p50_ms:0", true},
        {"lag_p50_ms:-0", true},
        {"hit_rate:-0.01", false}, {"refusal_rate_af:+0", false},
    };
    for (const Case &c : cases) {
        const auto gate = parseFailOn(c.gate);
        ASSERT_TRUE(std::holds_alternative<FailOn>(gate)) << c.gate << ": " << std::get<std::string>(gate);
        EXPECT_EQ(!tripped(result, {std::get<FailOn>(gate)}).empty(), c.trips) << c.gate;
    }
    // Better by more than the limit trips nothing.
    const CompareResult better = compareSides(candidate, {base});
    EXPECT_TRUE(tripped(better, {std::get<FailOn>(parseFailOn("lag_p50_ms:+1"))}).empty());
    for (const char *bad : {"lag_p50_ms:-5", "lag_p50_ms:-1", "hit_rate:+0.01", "lag_p50:+5", "lag_p50_ms", "lag_p50_ms:five", "hit_rate:"})
        EXPECT_TRUE(std::holds_alternative<std::string>(parseFailOn(bad))) << bad;
}

} // namespace
