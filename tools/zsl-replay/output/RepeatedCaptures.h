#pragma once
/*
 * RepeatedCaptures: which capture-table rows were read before, so that the
 * same run saved twice (a CSV and its JSON Lines, a log given twice, a table
 * copied into two folders) is counted once by summarize and compare. A row
 * read from a log is the same capture when it names the same input, first
 * line, process, thread, log time, fwkFrame and kind (the line alone is
 * not: a bug-report zip's logs each number their lines from 1; tables
 * before the line was a column match on the rest). A replayed row names no
 * place in a log and is never taken for another.
 */

#include "output/CaptureTable.h"

#include <tsl/robin_set.h>

#include <cstdint>
#include <string>
#include <vector>

namespace zsl::output {

class RepeatedCaptures {
public:
    RepeatedCaptures();
    // True when `row` was seen before; then it is counted in repeats().
    bool seenBefore(const CaptureRow &row);
    size_t repeats() const { return mRepeats; }
    // Takes the count from zero again (per table), keeping what was seen.
    size_t takeRepeats();
    // A table that fails half-way counts none of its rows: what it added
    // since the last takeRepeats() is forgotten.
    void forgetSinceTake();

private:
    // The keys are hashes already, mixed in every bit: the set uses them as they are.
    struct AsItIs {
        size_t operator()(uint64_t key) const { return static_cast<size_t>(key); }
    };
    std::vector<uint64_t> mAdded; // since the last takeRepeats()
    // Each key kept as a 64-bit hash: a million rows cost 40 MB less than
    // their keys would, and two captures share one hash about once in 10^10 runs.
    // In one flat table, not a node per key: one look-up is a cache miss or two
    // at 160,000 captures.
    tsl::robin_set<uint64_t, AsItIs> mSeen;
    size_t mRepeats = 0;
};

} // namespace zsl::output
