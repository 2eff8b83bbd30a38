// Candidates against the base, measure by measure.

#include "compare/Comparison.h"

#include <algorithm>
#include <cmath>

namespace zsl::compare {

const char *verdictName(Verdict verdict)
{
    switch (verdict) {
    case Verdict::Better:
        return "better";
    case Verdict::Worse:
        return "worse";
    case Verdict::NoChange:
        return "no change detected";
    case Verdict::NotMeasured:
        return "not measured";
    }
    return "";
}

double worsening(const MeasureResult &result)
{
    return result.measure->direction == Direction::LowerIsBetter ? result.difference : -result.difference;
}

CompareResult compareSides(const Side &base, const std::vector<Side> &candidates)
{
    CompareResult out;
    const double intervalZ = normalQuantile(1 - kAlpha / 2);
    for (const Side &candidate : candidates) {
        for (const auto &[device, sample] : base.devices())
            if (!candidate.devices().count(device))
                out.oneSided.push_back({device, candidate.name(), true, sample.captures()});
        for (const auto &[device, sample] : candidate.devices())
            if (!base.devices().count(device))
                out.oneSided.push_back({device, candidate.name(), false, sample.captures()});
        for (const auto &[device, candidateSample] : candidate.devices()) {
            const auto baseSample = base.devices().find(device);
            if (baseSample == base.devices().end())
                continue;
            for (const Measure &measure : measures()) {
                MeasureResult result;
                result.measure = &measure;
                result.device = device;
                result.side = candidate.name();
                result.base = baseSample->second.estimate(measure);
                result.candidate = candidateSample.estimate(measure);
                result.baseCaptures = baseSample->second.captures();
                result.candidateCaptures = candidateSample.captures();
                if (result.base && result.candidate) {
                    const double se = std::hypot(result.base->se, result.candidate->se);
                    result.difference = result.candidate->value - result.base->value;
                    result.low = result.difference - intervalZ * se;
                    result.high = result.difference + intervalZ * se;
                    result.p = twoSidedP(result.difference, se);
                    result.detectable = se;
                    result.verdict = Verdict::NoChange;
                    result.untested = result.base->constant && result.candidate->constant &&
                                      result.base->value == result.candidate->value;
                    out.tests += result.untested ? 0 : 1;
                }
                out.results.push_back(result);
            }
        }
    }
    auto tested = [](const MeasureResult &result) {
        return result.verdict != Verdict::NotMeasured && !result.untested;
    };
    std::vector<double> p;
    for (const MeasureResult &result : out.results)
        if (tested(result))
            p.push_back(result.p);
    const std::vector<double> adjusted = holmAdjusted(p);
    // 80% power at the two-sided level of one of the tests (Bonferroni's), in standard errors.
    const double detectableZ =
        normalQuantile(1 - kAlpha / 2 / double(std::max<size_t>(1, out.tests))) + normalQuantile(0.8);
    size_t at = 0;
    for (MeasureResult &result : out.results) {
        if (result.verdict == Verdict::NotMeasured)
            continue;
        result.detectable *= detectableZ;
        if (!tested(result))
            continue;
        result.pAdjusted = adjusted[at++];
        if (result.pAdjusted < kAlpha)
            result.verdict = worsening(result) > 0 ? Verdict::Worse : Verdict::Better;
    }
    return out;
}

} // namespace zsl::compare
