#pragma once
/*
 * Comparison: each candidate side against the base, per measure and per
 * device both sides have: the difference (candidate - base) with its 95%
 * interval, its p-value, and a verdict once every difference of the run has
 * been tested together by Holm's method, so that the chance of calling any
 * of them better or worse when nothing changed stays at 5%. A rate the same
 * constant on both sides (no refusal of a class on either) cannot differ
 * and is left out of the tests, as Tarone's refinement allows. A device on one
 * side only is named, not compared; a measure a side has nothing for
 * (no lag, no frame check) is not measured, and says so.
 */

#include "compare/Measures.h"
#include "compare/Side.h"
#include "compare/Statistics.h"

#include <optional>
#include <string>
#include <vector>

namespace zsl::compare {

constexpr double kAlpha = 0.05;

enum class Verdict { Better, Worse, NoChange, NotMeasured };
const char *verdictName(Verdict verdict);

struct MeasureResult {
    const Measure *measure = nullptr;
    std::string device;
    std::string side; // the candidate's name
    std::optional<Estimate> base, candidate;
    size_t baseCaptures = 0, candidateCaptures = 0;
    // Where both are measured:
    double difference = 0, low = 0, high = 0; // candidate - base, and its 95% interval
    double p = 1, pAdjusted = 1;
    // Not among the differences tested: both sides the same constant (no
    // event on either, say), which no test could call different.
    bool untested = false;
    // The least difference these captures would show 4 times in 5, with the
    // other tests of the run allowed for (at the Bonferroni level, which
    // Holm's method never falls short of).
    double detectable = 0;
    Verdict verdict = Verdict::NotMeasured;
};

// A device whose captures are on one side only.
struct OneSided {
    std::string device;
    std::string side;    // the candidate's name
    bool onBase = false; // on the base side (not the candidate's), or on the candidate's
    size_t captures = 0;
};

struct CompareResult {
    std::vector<MeasureResult> results; // per candidate, device, then measure
    std::vector<OneSided> oneSided;
    size_t tests = 0; // differences tested together
};

CompareResult compareSides(const Side &base, const std::vector<Side> &candidates);

// The difference in the measure's bad direction: positive is worse.
double worsening(const MeasureResult &result);

} // namespace zsl::compare
