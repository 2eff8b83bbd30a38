#pragma once
/*
 * Sample: what one side's captures of one device show, kept compactly for
 * any number of captures: per rate measure the sums its estimate needs,
 * and the taken frames' lags grouped by capture. Captures are the rows of
 * a selection (kind capture or select); frame checks alone count towards
 * the refusal rates only, and an answer of isSelectorNeeded alone towards
 * nothing.
 */

#include "compare/Measures.h"
#include "compare/Statistics.h"
#include "output/CaptureTable.h"

#include <map>
#include <optional>
#include <string>

namespace zsl::compare {

class Sample {
public:
    void add(const output::CaptureRow &row);
    // Nothing when the side has nothing to measure it by.
    std::optional<Estimate> estimate(const Measure &measure) const;
    size_t captures() const { return mCaptures; }
    const LagSample &lags() const { return mLags; }

private:
    size_t mCaptures = 0;
    RatioSums mHit, mMissing, mUnknown;
    std::map<std::string, RatioSums> mRefused; // by reason class
    LagSample mLags;
};

// Whether a row is a capture: a selection ran.
bool isCapture(const output::CaptureRow &row);
// Whether a capture's row leaves a measured fact unknown: not whole, its
// frames taken or a frame's verdict or a taken frame's lag not in the log.
bool leavesUnknown(const output::CaptureRow &row);

} // namespace zsl::compare
