// What a change did to many captures.

#include "whatif/WhatIfSummary.h"

#include "whatif/PropertyChange.h"

#include "output/FleetSummary.h"
#include "output/SvgText.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sstream>

namespace zsl::whatif {

using output::svg::escape;
using output::svg::fixed;

void WhatIfSummary::add(const Comparison &comparison)
{
    ++mCaptures;
    const std::optional<bool> changed = comparison.changed();
    ++(!changed ? mChangeUnknown : *changed ? mChanged : mUnchanged);
    switch (comparison.anchorMove()) {
    case AnchorMove::Same:
        ++mSame;
        break;
    case AnchorMove::Earlier:
        ++mEarlier;
        break;
    case AnchorMove::Later:
        ++mLater;
        break;
    case AnchorMove::Unknown:
        ++mMoveUnknown;
        break;
    }
    const Side *sides[2] = {&comparison.before, &comparison.after};
    Seen &seen = mSeen.emplace_back();
    if (comparison.before.step.kind == outcome::StepKind::Capture && comparison.before.step.selectRan) {
        ++mSelections;
        for (int i = 0; i < 2; ++i) {
            const std::optional<bool> inFull = sides[i]->takenInFull;
            mInFull[i] += inFull.value_or(false) ? 1 : 0;
            mInFullUnknown[i] += inFull ? 0 : 1;
            seen.inFull[i] = inFull;
        }
    }
    for (int i = 0; i < 2; ++i) {
        if (!sides[i]->states(fact::kTaken))
            continue;
        std::vector<double> lags;
        bool all = true;
        for (const std::optional<double> &lag : sides[i]->takenLagsMs())
            lag ? lags.push_back(*lag) : void(all = false);
        if (all)
            seen.lags[i] = std::move(lags);
    }
    if (!comparison.after.states(fact::kTaken))
        ++mTakenUnknownAfter;
    for (const std::optional<double> &lag : comparison.after.takenLagsMs()) {
        if (lag)
            mLagsAfter.push_back(*lag);
        else
            ++mLagUnknownAfter;
    }
    mUnknownFacts += comparison.unknownFacts();
}

std::optional<double> WhatIfSummary::lagAfterMs(double percentile) const
{
    if (mLagsAfter.empty())
        return std::nullopt;
    // Sorted when read, a few times per summary, not at each of a sweep's many adds.
    std::vector<double> sorted = mLagsAfter;
    std::sort(sorted.begin(), sorted.end());
    return output::FleetSummary::percentile(sorted, percentile);
}

size_t WhatIfSummary::inFullAfterAmong(const std::vector<bool> &among) const
{
    size_t count = 0;
    for (size_t i = 0; i < mSeen.size() && i < among.size(); ++i)
        count += among[i] && mSeen[i].inFull[1].value_or(false) ? 1 : 0;
    return count;
}

std::optional<double> WhatIfSummary::lagMsAmong(const std::vector<bool> &among, int side, double percentile) const
{
    std::vector<double> lags;
    for (size_t i = 0; i < mSeen.size() && i < among.size(); ++i)
        if (among[i] && mSeen[i].lags[side])
            lags.insert(lags.end(), mSeen[i].lags[side]->begin(), mSeen[i].lags[side]->end());
    if (lags.empty())
        return std::nullopt;
    std::sort(lags.begin(), lags.end());
    return output::FleetSummary::percentile(lags, percentile);
}

std::vector<bool> WhatIfSummary::inFullBothSides() const
{
    std::vector<bool> both;
    for (const Seen &seen : mSeen)
        both.push_back(seen.inFull[0].has_value() && seen.inFull[1].has_value());
    return both;
}

std::vector<bool> WhatIfSummary::lagsBothSides() const
{
    std::vector<bool> both;
    for (const Seen &seen : mSeen)
        both.push_back(seen.lags[0].has_value() && seen.lags[1].has_value());
    return both;
}

void WhatIfSummary::writeText(std::ostream &out, const std::string &change) const
{
    auto notKnown = [](size_t count) { return count ? ", " + std::to_string(count) + " not known" : std::string(); };
    out << "== what if " << change << ": " << mCaptures << " capture" << (mCaptures == 1 ? "" : "s") << "\n";
    out << "   unchanged " << mUnchanged << ", changed " << mChanged << notKnown(mChangeUnknown) << "\n";
    out << "   anchors: same " << mSame << ", earlier " << mEarlier << ", later " << mLater << notKnown(mMoveUnknown)
        << "\n";
    out << "   taken in full: before " << mInFull[0] << " of " << mSelections << notKnown(mInFullUnknown[0])
        << "; after " << mInFull[1] << " of " << mSelections << notKnown(mInFullUnknown[1]) << "\n";
    out << "   taken frames' lag after: ";
    if (const auto median = lagAfterMs(50))
        out << "median " << fixed(*median, 3) << " ms, p90 " << fixed(*lagAfterMs(90), 3) << " ms over "
            << mLagsAfter.size() << " frame" << (mLagsAfter.size() == 1 ? "" : "s") << notKnown(mLagUnknownAfter);
    else
        out << "none known" << notKnown(mLagUnknownAfter);
    if (mTakenUnknownAfter)
        out << "; frames taken not known in " << mTakenUnknownAfter << " capture"
            << (mTakenUnknownAfter == 1 ? "" : "s");
    out << "\n";
    // Like with like: the captures known on both sides.
    const std::vector<bool> inFullBoth = inFullBothSides(), lagsBoth = lagsBothSides();
    size_t inFullBefore = 0;
    for (size_t i = 0; i < mSeen.size(); ++i)
        inFullBefore += inFullBoth[i] && mSeen[i].inFull[0].value_or(false) ? 1 : 0;
    out << "   on the " << counted(inFullBoth) << (counted(inFullBoth) == 1 ? " capture" : " captures")
        << " whose taken in full is known on both sides: before " << inFullBefore << ", after "
        << inFullAfterAmong(inFullBoth) << "\n";
    out << "   on the " << counted(lagsBoth) << (counted(lagsBoth) == 1 ? " capture" : " captures")
        << " whose frames' lags are known on both sides: ";
    if (const auto before = lagMsAmong(lagsBoth, 0, 50), after = lagMsAmong(lagsBoth, 1, 50); before && after)
        out << "median " << fixed(*before, 3) << " ms before, " << fixed(*after, 3) << " ms after; p90 "
            << fixed(*lagMsAmong(lagsBoth, 0, 90), 3) << " ms before, " << fixed(*lagMsAmong(lagsBoth, 1, 90), 3)
            << " ms after\n";
    else
        out << "no lag to compare\n";
    out << "   facts the inputs do not ground after the change: " << mUnknownFacts << "\n";
}

nlohmann::ordered_json WhatIfSummary::toJson() const
{
    auto orNull = [](std::optional<double> value) { return value ? nlohmann::ordered_json(*value) : nullptr; };
    return {{"captures", mCaptures},
            {"unchanged", mUnchanged},
            {"changed", mChanged},
            {"changeUnknown", mChangeUnknown},
            {"anchors", {{"same", mSame}, {"earlier", mEarlier}, {"later", mLater}, {"unknown", mMoveUnknown}}},
            {"selections", mSelections},
            {"takenInFull", {{"before", mInFull[0]}, {"after", mInFull[1]}}},
            {"takenInFullUnknown", {{"before", mInFullUnknown[0]}, {"after", mInFullUnknown[1]}}},
            {"lagAfterMs",
             {{"median", orNull(lagAfterMs(50))},
              {"p90", orNull(lagAfterMs(90))},
              {"known", mLagsAfter.size()},
              {"unknown", mLagUnknownAfter},
              {"capturesTakenUnknown", mTakenUnknownAfter}}},
            {"unknownFacts", mUnknownFacts},
            {"bothSides", bothSidesJson()}};
}

nlohmann::ordered_json WhatIfSummary::bothSidesJson() const
{
    auto orNull = [](std::optional<double> value) { return value ? nlohmann::ordered_json(*value) : nullptr; };
    const std::vector<bool> inFullBoth = inFullBothSides(), lagsBoth = lagsBothSides();
    size_t inFullBefore = 0;
    for (size_t i = 0; i < mSeen.size(); ++i)
        inFullBefore += inFullBoth[i] && mSeen[i].inFull[0].value_or(false) ? 1 : 0;
    return {{"takenInFull",
             {{"captures", counted(inFullBoth)}, {"before", inFullBefore}, {"after", inFullAfterAmong(inFullBoth)}}},
            {"lagMs",
             {{"captures", counted(lagsBoth)},
              {"medianBefore", orNull(lagMsAmong(lagsBoth, 0, 50))},
              {"medianAfter", orNull(lagMsAmong(lagsBoth, 1, 50))},
              {"p90Before", orNull(lagMsAmong(lagsBoth, 0, 90))},
              {"p90After", orNull(lagMsAmong(lagsBoth, 1, 90))}}}};
}

} // namespace zsl::whatif
