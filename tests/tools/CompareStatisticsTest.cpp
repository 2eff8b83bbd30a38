// compare's statistics on tables with planted effects: a planted change is
// found, and found the right way; sides drawn alike are called different
// no more often than the stated 5%; intervals hold the true difference at
// about their level; and every number agrees with a plain second
// computation written here from the textbook formulas.
// Over 400 lines by a little: the plain second computation is half of it,
// and it checks the same results the verdict tests draw; kept beside them.

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

Side drawSide(const std::string &name, uint64_t seed, size_t captures, const Planted &planted)
{
    std::mt19937_64 rng(seed);
    Side side(name, false);
    for (size_t i = 0; i < captures; ++i)
        side.add(drawCapture(rng, planted));
    return side;
}

const MeasureResult &resultOf(const CompareResult &result, const std::string &name)
{
    const auto found = std::find_if(result.results.begin(), result.results.end(),
                                    [&](const MeasureResult &row) { return row.measure->name == name; });
    EXPECT_NE(found, result.results.end()) << name;
    return *found;
}

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

// ---- a plain second computation, from the textbook formulas ----

double plainNormalQuantile(double p)
{
    double low = -10, high = 10; // bisection on the CDF 0.5 erfc(-x / sqrt 2)
    for (int i = 0; i < 200; ++i) {
        const double mid = (low + high) / 2;
        (0.5 * std::erfc(-mid / std::sqrt(2.0)) < p ? low : high) = mid;
    }
    return (low + high) / 2;
}

// A ratio's standard error over clusters: sqrt(n/(n-1) sum (y - R m)^2) / sum m,
// at least that of (y + 1) / (m + 2) as a binomial proportion (that alone for one cluster).
double plainRatioSe(const std::vector<std::pair<double, double>> &clusters)
{
    double y = 0, m = 0;
    for (const auto &[cy, cm] : clusters)
        y += cy, m += cm;
    const double r = y / m;
    double spread = 0;
    for (const auto &[cy, cm] : clusters)
        spread += (cy - r * cm) * (cy - r * cm);
    const double n = double(clusters.size());
    const double adjusted = (y + 1) / (m + 2);
    const double floor = adjusted * (1 - adjusted) / (m + 2);
    if (clusters.size() < 2) // no spread between clusters to measure
        return std::sqrt(floor);
    return std::sqrt(std::max(n / (n - 1) * spread / (m * m), floor));
}

// The nearest-rank percentile and Woodruff's standard error.
std::pair<double, double> plainPercentile(const std::vector<std::vector<double>> &captures, double p)
{
    std::vector<double> all;
    for (const auto &lags : captures)
        all.insert(all.end(), lags.begin(), lags.end());
    std::sort(all.begin(), all.end());
    const double n = double(all.size());
    auto at = [&](double share) { return all[size_t(std::clamp(std::ceil(share * n), 1.0, n)) - 1]; };
    const double q = at(p / 100);
    std::vector<std::pair<double, double>> clusters;
    for (const auto &lags : captures)
        if (!lags.empty())
            clusters.emplace_back(double(std::count_if(lags.begin(), lags.end(), [&](double lag) { return lag <= q; })),
                                  double(lags.size()));
    const double z = plainNormalQuantile(0.975);
    const double se = plainRatioSe(clusters);
    return {q, (at(p / 100 + z * se) - at(p / 100 - z * se)) / (2 * z)};
}

std::vector<double> plainHolm(const std::vector<double> &p)
{
    std::vector<double> sorted = p;
    std::sort(sorted.begin(), sorted.end());
    std::vector<double> out;
    for (double value : p) {
        const size_t rank = size_t(std::upper_bound(sorted.begin(), sorted.end(), value) - sorted.begin());
        double adjusted = 0;
        for (size_t j = 0; j < rank; ++j)
            adjusted = std::max(adjusted, std::min(1.0, double(p.size() - j) * sorted[j]));
        out.push_back(adjusted);
    }
    return out;
}

void agreeWithPlainComputation(int captures)
{
    SCOPED_TRACE(std::to_string(captures) + " captures a side");
    std::mt19937_64 rng(77);
    std::vector<CaptureRow> rows[2];
    for (int side = 0; side < 2; ++side)
        for (int i = 0; i < captures; ++i)
            rows[side].push_back(drawCapture(rng, Planted{.hit = 0.7, .lagShiftMs = side * 3.0, .afRefusal = 0.2}));
    Side sides[2] = {Side("base", false), Side("candidate", false)};
    for (int side = 0; side < 2; ++side)
        for (const CaptureRow &row : rows[side])
            sides[side].add(row);
    const CompareResult result = compareSides(sides[0], {sides[1]});
    std::vector<double> plainP, plainSe(result.results.size());
    std::vector<bool> plainTested(result.results.size());
    for (size_t index = 0; index < result.results.size(); ++index) {
        const MeasureResult &row = result.results[index];
        if (row.verdict == Verdict::NotMeasured && captures < 60)
            continue; // a side of few captures may have no lag at all
        double value[2] = {0, 0}, se[2] = {0, 0};
        bool constant[2] = {false, false};
        for (int side = 0; side < 2; ++side) {
            std::vector<std::pair<double, double>> clusters;
            std::vector<std::vector<double>> lags;
            for (const CaptureRow &capture : rows[side]) {
                switch (row.measure->kind) {
                case Measure::Kind::Hit:
                    clusters.emplace_back(*capture.taken >= *capture.requested, 1);
                    break;
                case Measure::Kind::Missing:
                    clusters.emplace_back(*capture.taken < *capture.requested, 1);
                    break;
                case Measure::Kind::Refusal: {
                    const auto count = capture.refused.find(row.measure->refusalClass);
                    if (capture.checks > capture.verdictUnknown)
                        clusters.emplace_back(count == capture.refused.end() ? 0 : count->second,
                                              capture.checks - capture.verdictUnknown);
                    break;
                }
                case Measure::Kind::Unknown:
                    clusters.emplace_back(capture.verdictUnknown > 0, 1);
                    break;
                case Measure::Kind::Lag:
                    lags.push_back(capture.takenLagsMs);
                }
            }
            if (row.measure->kind == Measure::Kind::Lag) {
                std::tie(value[side], se[side]) = plainPercentile(lags, row.measure->percentile);
            } else {
                double y = 0, m = 0;
                for (const auto &[cy, cm] : clusters)
                    y += cy, m += cm;
                value[side] = y / m;
                se[side] = plainRatioSe(clusters);
                constant[side] = y == 0 || y == m;
            }
        }
        SCOPED_TRACE(row.measure->name);
        ASSERT_NE(row.verdict, Verdict::NotMeasured);
        EXPECT_NEAR(row.base->value, value[0], 1e-9);
        EXPECT_NEAR(row.candidate->value, value[1], 1e-9);
        EXPECT_NEAR(row.base->se, se[0], 1e-9);
        EXPECT_NEAR(row.candidate->se, se[1], 1e-9);
        const double difference = value[1] - value[0], combined = std::hypot(se[0], se[1]);
        const double z = plainNormalQuantile(0.975);
        EXPECT_NEAR(row.low, difference - z * combined, 1e-9);
        EXPECT_NEAR(row.high, difference + z * combined, 1e-9);
        const double p = combined > 0 ? std::erfc(std::fabs(difference) / combined / std::sqrt(2.0)) : difference == 0;
        EXPECT_NEAR(row.p, p, 1e-9);
        // Both sides without a refusal of a class (here every class but AF): not a test.
        const bool tested = !(constant[0] && constant[1] && value[0] == value[1]);
        EXPECT_EQ(row.untested, !tested);
        if (captures == 60) {
            EXPECT_EQ(tested, row.measure->kind != Measure::Kind::Refusal || row.measure->refusalClass == "af");
        }
        plainTested[index] = tested;
        if (tested)
            plainP.push_back(p);
        plainSe[index] = combined;
    }
    ASSERT_EQ(result.tests, plainP.size());
    const std::vector<double> holm = plainHolm(plainP);
    // 80% power at the Bonferroni level of one test.
    const double detectableZ = plainNormalQuantile(1 - 0.05 / 2 / double(plainP.size())) + plainNormalQuantile(0.8);
    for (size_t i = 0, at = 0; i < result.results.size(); ++i) {
        SCOPED_TRACE(result.results[i].measure->name);
        if (result.results[i].verdict == Verdict::NotMeasured)
            continue;
        EXPECT_NEAR(result.results[i].detectable, detectableZ * plainSe[i], 1e-6);
        if (plainTested[i]) {
            EXPECT_NEAR(result.results[i].pAdjusted, holm[at++], 1e-9);
        }
    }
}

TEST(CompareStatistics, AgreeWithAPlainSecondComputation)
{
    // From the fewest captures a variance is made of to enough for every measure.
    for (const int captures : {2, 3, 5, 60})
        agreeWithPlainComputation(captures);
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
