// One side's captures of one device, measured.

#include "compare/Sample.h"

#include "outcome/PluginLines.h"

#include <algorithm>

namespace zsl::compare {

bool isCapture(const output::CaptureRow &row)
{
    return row.kind == "capture" || row.kind == "select";
}

bool leavesUnknown(const output::CaptureRow &row)
{
    return row.completeness != "whole" || !row.taken || row.verdictUnknown > 0 || row.takenLagUnknown > 0;
}

void Sample::add(const output::CaptureRow &row)
{
    // Verdicts the log tells: a check without one is no trial of any rate.
    const double judged = static_cast<double>(row.checks - std::min(row.checks, row.verdictUnknown));
    for (const char *refusal : outcome::kRefusalClasses) {
        const auto count = row.refused.find(refusal);
        mRefused[refusal].add(count == row.refused.end() ? 0 : static_cast<double>(count->second), judged);
    }
    if (!isCapture(row))
        return;
    ++mCaptures;
    mUnknown.add(leavesUnknown(row) ? 1 : 0, 1);
    if (row.taken && row.requested) {
        const bool full = *row.taken >= *row.requested;
        mHit.add(full ? 1 : 0, 1);
        mMissing.add(full ? 0 : 1, 1);
    }
    mLags.add(row.takenLagsMs);
}

std::optional<Estimate> Sample::estimate(const Measure &measure) const
{
    switch (measure.kind) {
    case Measure::Kind::Hit:
        return mHit.estimate();
    case Measure::Kind::Missing:
        return mMissing.estimate();
    case Measure::Kind::Lag:
        return mLags.percentile(measure.percentile);
    case Measure::Kind::Refusal: {
        const auto sums = mRefused.find(measure.refusalClass);
        return sums == mRefused.end() ? std::nullopt : sums->second.estimate();
    }
    case Measure::Kind::Unknown:
        return mUnknown.estimate();
    }
    return std::nullopt;
}

} // namespace zsl::compare
