// Rates and lag percentiles with their standard errors, and Holm's method.

#include "compare/Statistics.h"

#include <boost/math/distributions/normal.hpp>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace zsl::compare {

namespace {

constexpr double kZ95 = 1.959963984540054; // the two-sided 95% point

// The variance of the ratio sum(y) / sum(m) over n clusters (linearised),
// and never below a binomial one with an event and a non-event added to the
// counts (Agresti and Caffo), so that a rate of 0 or 1 seen in few trials
// is not taken as certain.
double ratioVariance(size_t n, double y, double m, double yy, double ym, double mm)
{
    const double ratio = y / m;
    const double adjusted = (y + 1) / (m + 2);
    const double floor = adjusted * (1 - adjusted) / (m + 2);
    if (n < 2)
        return floor;
    const double spread = std::max(0.0, yy - 2 * ratio * ym + ratio * ratio * mm);
    const double linearised = static_cast<double>(n) / static_cast<double>(n - 1) * spread / (m * m);
    return std::max(linearised, floor);
}

} // namespace

void RatioSums::add(double y, double m)
{
    if (m <= 0)
        return;
    ++mClusters;
    mY += y;
    mM += m;
    mYY += y * y;
    mYM += y * m;
    mMM += m * m;
}

std::optional<Estimate> RatioSums::estimate() const
{
    if (mClusters == 0)
        return std::nullopt;
    return Estimate{mY / mM, std::sqrt(ratioVariance(mClusters, mY, mM, mYY, mYM, mMM)), mY == 0 || mY == mM};
}

void LagSample::add(const std::vector<double> &lagsMs)
{
    if (lagsMs.empty())
        return;
    // A capture takes a few frames; more than 65,535 would be a broken table, kept whole all the same.
    for (size_t from = 0; from < lagsMs.size(); from += std::numeric_limits<uint16_t>::max()) {
        const size_t to = std::min(lagsMs.size(), from + std::numeric_limits<uint16_t>::max());
        for (size_t i = from; i < to; ++i)
            mLagsUs.push_back(static_cast<int32_t>(
                std::llround(std::clamp(lagsMs[i] * 1000, double(std::numeric_limits<int32_t>::min()),
                                        double(std::numeric_limits<int32_t>::max())))));
        mPerCapture.push_back(static_cast<uint16_t>(to - from));
    }
}

std::optional<Estimate> LagSample::percentile(double p) const
{
    if (mLagsUs.empty())
        return std::nullopt;
    const std::vector<int32_t> &sorted = this->sorted();
    const double frames = static_cast<double>(sorted.size());
    auto atShare = [&](double share) {
        const double rank = std::ceil(share * frames);
        return sorted[static_cast<size_t>(std::clamp(rank, 1.0, frames)) - 1];
    };
    const int32_t value = atShare(p / 100);
    // The share of frames at or below the percentile, per capture.
    double y = 0, yy = 0, ym = 0, mm = 0;
    size_t at = 0;
    for (uint16_t count : mPerCapture) {
        double below = 0;
        for (size_t i = 0; i < count; ++i)
            below += mLagsUs[at + i] <= value ? 1 : 0;
        at += count;
        y += below;
        yy += below * below;
        ym += below * count;
        mm += double(count) * count;
    }
    const double spread = kZ95 * std::sqrt(ratioVariance(mPerCapture.size(), y, frames, yy, ym, mm));
    const double low = atShare(p / 100 - spread), high = atShare(p / 100 + spread);
    return Estimate{value / 1000.0, (high - low) / 1000.0 / (2 * kZ95), sorted.front() == sorted.back()};
}

const std::vector<int32_t> &LagSample::sorted() const
{
    if (mSorted.size() != mLagsUs.size()) {
        mSorted = mLagsUs;
        std::sort(mSorted.begin(), mSorted.end());
    }
    return mSorted;
}

std::vector<double> LagSample::sortedMs() const
{
    std::vector<double> lags;
    lags.reserve(mLagsUs.size());
    for (int32_t lag : sorted())
        lags.push_back(lag / 1000.0);
    return lags;
}

double normalQuantile(double p)
{
    return boost::math::quantile(boost::math::normal(), p);
}

double twoSidedP(double difference, double se)
{
    if (se <= 0)
        return difference == 0 ? 1 : 0;
    return 2 * boost::math::cdf(boost::math::complement(boost::math::normal(), std::fabs(difference) / se));
}

std::vector<double> holmAdjusted(const std::vector<double> &p)
{
    std::vector<size_t> order(p.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) { return p[a] < p[b]; });
    std::vector<double> adjusted(p.size());
    double running = 0;
    for (size_t k = 0; k < order.size(); ++k) {
        running = std::max(running, std::min(1.0, static_cast<double>(p.size() - k) * p[order[k]]));
        adjusted[order[k]] = running;
    }
    return adjusted;
}

} // namespace zsl::compare
