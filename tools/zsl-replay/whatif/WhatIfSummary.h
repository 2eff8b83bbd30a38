#pragma once
/*
 * WhatIfSummary: what a change did to many captures at once: how many are
 * unchanged, whose anchor moved earlier or later, how many took every frame
 * they wanted before and after, and how long before the capture moment the
 * frames taken after the change were shot. A fact a log could not ground is
 * counted apart as not known, never guessed. A sweep is one summary per
 * value, written as a table and drawn as a picture to choose a value from.
 */

#include "whatif/Comparison.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace zsl::whatif {

// How many of `among` are true: the captures a share is over.
inline size_t counted(const std::vector<bool> &among)
{
    return static_cast<size_t>(std::count(among.begin(), among.end(), true));
}

class WhatIfSummary {
public:
    void add(const Comparison &comparison);

    void writeText(std::ostream &out, const std::string &change) const;
    nlohmann::ordered_json toJson() const;
    // The shares and lags over the captures known on both sides.
    nlohmann::ordered_json bothSidesJson() const;

    size_t captures() const { return mCaptures; }
    size_t changed() const { return mChanged; }
    size_t anchorsMoved() const { return mEarlier + mLater; }
    size_t inFullAfter() const { return mInFull[1]; }
    size_t inFullUnknownAfter() const { return mInFullUnknown[1]; }
    size_t selections() const { return mSelections; }
    size_t unknownFacts() const { return mUnknownFacts; }
    // Nearest-rank percentile of the taken frames' known lags after the change.
    std::optional<double> lagAfterMs(double percentile) const;

    // Like with like: what each capture showed, so that a share or a lag is
    // taken over the same captures on both sides (or at every value of a
    // sweep, whose summaries add the same captures in the same order).
    struct Seen {
        std::optional<bool> inFull[2];              // before, after
        std::optional<std::vector<double>> lags[2]; // every taken frame's lag, where all are known
    };
    const std::vector<Seen> &seen() const { return mSeen; }
    // Over the captures `among` holds (by the order added): taken in full
    // after, of those; and the nearest-rank percentile of their lags, on a side.
    size_t inFullAfterAmong(const std::vector<bool> &among) const;
    std::optional<double> lagMsAmong(const std::vector<bool> &among, int side, double percentile) const;
    // The captures known on both sides: taken in full, and the lags.
    std::vector<bool> inFullBothSides() const;
    std::vector<bool> lagsBothSides() const;

private:
    size_t mCaptures = 0;
    size_t mUnchanged = 0, mChanged = 0, mChangeUnknown = 0;
    size_t mEarlier = 0, mLater = 0, mSame = 0, mMoveUnknown = 0;
    size_t mSelections = 0;                                 // captures that selected and take frames
    size_t mInFull[2] = {0, 0}, mInFullUnknown[2] = {0, 0}; // before, after
    std::vector<double> mLagsAfter;
    size_t mLagUnknownAfter = 0;   // taken frames whose shutter time is not known
    size_t mTakenUnknownAfter = 0; // captures whose frames taken are not known
    size_t mUnknownFacts = 0;
    std::vector<Seen> mSeen;
};

} // namespace zsl::whatif
