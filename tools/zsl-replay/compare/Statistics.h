#pragma once
/*
 * Statistics: the estimates compare states and how sure they are. A rate
 * is a ratio of sums over captures (refused frames over frames checked,
 * captures that took every frame over captures whose frames taken are
 * known); its standard error is the ratio estimator's, with captures as
 * clusters, since the frames of one capture are not independent. A lag
 * percentile's standard error is Woodruff's: the interval of the share of
 * frames at or below it, with the same clusters, turned back into lags.
 * Two sides' estimates are compared by their difference over the two
 * standard errors combined; many differences at once by Holm's method.
 */

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace zsl::compare {

// A value with its standard error.
struct Estimate {
    double value = 0;
    double se = 0;
    // A rate with no event, or with events only, or every lag the same: no
    // test can tell two such apart.
    bool constant = false;
};

// Sums over captures of a rate's events `y` and trials `m` (each capture one cluster).
class RatioSums {
public:
    void add(double y, double m);
    // Nothing when no trial was counted.
    std::optional<Estimate> estimate() const;
    size_t clusters() const { return mClusters; }

private:
    size_t mClusters = 0; // captures with at least one trial
    double mY = 0, mM = 0, mYY = 0, mYM = 0, mMM = 0;
};

// Lags of frames grouped by capture, in whole microseconds: 4 bytes a frame
// and 2 a capture, so a million captures fit in a few MiB.
class LagSample {
public:
    void add(const std::vector<double> &lagsMs);
    size_t frames() const { return mLagsUs.size(); }
    // The nearest-rank percentile p (0 < p < 100) with Woodruff's standard
    // error; nothing without a lag.
    std::optional<Estimate> percentile(double p) const;
    // The lags in ms, sorted (for drawing).
    std::vector<double> sortedMs() const;

private:
    // The lags sorted, made on the first percentile asked for (after the last add).
    const std::vector<int32_t> &sorted() const;

    std::vector<int32_t> mLagsUs;
    std::vector<uint16_t> mPerCapture;
    mutable std::vector<int32_t> mSorted;
};

// The standard normal distribution's quantile and tail.
double normalQuantile(double p);
// Two-sided p-value of a difference over its standard error (0 when certain and not 0).
double twoSidedP(double difference, double se);
// Holm's step-down adjustment of p-values, in their order.
std::vector<double> holmAdjusted(const std::vector<double> &p);

} // namespace zsl::compare
