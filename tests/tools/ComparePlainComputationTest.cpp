// compare's every number against a plain second computation written here
// from the textbook formulas: estimates, standard errors clustered by
// capture, intervals, p-values, Holm's adjustment and what a test would
// show, at 2, 3, 5 and 60 captures a side.

#include "compare/Comparison.h"
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
using kotest::drawSide;

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

} // namespace
