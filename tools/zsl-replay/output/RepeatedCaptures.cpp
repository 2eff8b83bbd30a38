// Capture-table rows read twice, told by where in a log they came from.

#include "output/RepeatedCaptures.h"

#include <functional>
#include <string>

namespace zsl::output {

bool RepeatedCaptures::seenBefore(const CaptureRow &row)
{
    if (!row.line && row.logTime.empty())
        return false; // a replay's row: nothing says where it came from
    // The line alone is not enough: a bug-report zip numbers each of its logs' lines from 1.
    const std::string key = row.input + '\0' + (row.line ? std::to_string(*row.line) : "") + '\0' +
                            std::to_string(row.pid.value_or(-1)) + '\0' + std::to_string(row.tid.value_or(-1)) + '\0' +
                            row.logTime + '\0' + std::to_string(row.fwkFrame) + '\0' + row.kind;
    const uint64_t hash = std::hash<std::string>{}(key);
    if (mSeen.insert(hash).second) {
        mAdded.push_back(hash);
        return false;
    }
    ++mRepeats;
    return true;
}

size_t RepeatedCaptures::takeRepeats()
{
    const size_t repeats = mRepeats;
    mRepeats = 0;
    mAdded.clear();
    return repeats;
}

void RepeatedCaptures::forgetSinceTake()
{
    for (uint64_t hash : mAdded)
        mSeen.erase(hash);
    mAdded.clear();
    mRepeats = 0;
}

} // namespace zsl::output
