#pragma once
/*
 * FleetSummary: the answer to a question about many captures at once, from
 * the capture table's rows: captures per device and build, how many took
 * all the frames they wanted, frames refused per reason class, and
 * percentiles of how long before the capture moment the taken frames were
 * shot. As text under the report, as JSON, and as an SVG of plots read at a
 * glance. What the logs could not tell is counted apart, never guessed.
 */

#include "output/CaptureTable.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <map>
#include <ostream>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace zsl::output {

class FleetSummary {
public:
    void add(const CaptureRow &row);
    // Another summary's captures counted in this one.
    void add(const FleetSummary &other);
    // A row of a capture read before (RepeatedCaptures): not counted again, only said.
    void addRepeat() { ++mRepeats; }
    size_t captures() const { return mCaptures; }

    void writeText(std::ostream &out) const;
    nlohmann::json toJson() const;
    std::string svg() const;

    // The taken frames' lags in equal bins from min(0, least) to the most.
    struct Histogram {
        double low = 0, high = 0;
        std::vector<size_t> counts; // empty: no lag is known
    };
    Histogram histogram(size_t bins) const;

    // The nearest-rank percentile p (0 < p <= 100) of sorted values.
    static double percentile(const std::vector<double> &sorted, double p);

private:
    struct Group {
        size_t captures = 0;
        size_t selections = 0;  // captures the selector selected frames for
        size_t takenKnown = 0;  // captures whose frames taken the log tells
        size_t takenInFull = 0; // ... of which every requested frame was taken
    };
    std::vector<double> sortedLags() const;

    size_t mCaptures = 0;
    size_t mRepeats = 0; // rows of captures read before, not counted
    std::set<std::string> mInputs;
    std::map<std::pair<std::string, std::string>, Group> mGroups; // by device and build
    size_t mChecks = 0, mRefusedFrames = 0, mVerdictUnknown = 0;
    std::map<std::string, size_t> mRefused; // by reason class
    std::vector<double> mLagsMs;            // every taken frame's, where known
    size_t mLagUnknown = 0;
};

} // namespace zsl::output
