// Capture-table rows read twice, told by where in a log they came from.

#include "output/RepeatedCaptures.h"

#include <functional>
#include <string>
#include <string_view>

namespace zsl::output {

namespace {

// A field folded into the key's hash (splitmix64's finaliser): each bit of
// each field moves the whole hash, and a field's place counts.
uint64_t folded(uint64_t hash, uint64_t field)
{
    uint64_t x = hash ^ (field + 0x9e3779b97f4a7c15ULL + (hash << 6) + (hash >> 2));
    x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9ULL;
    x = (x ^ (x >> 27)) * 0x94d049bb133111ebULL;
    return x ^ (x >> 31);
}

uint64_t hashed(std::string_view text)
{
    return std::hash<std::string_view>{}(text);
}

} // namespace

RepeatedCaptures::RepeatedCaptures()
{
    // Fuller than the set's default half: as little memory as the nodes of
    // a node-based set, at one or two probes more a look-up.
    mSeen.max_load_factor(0.875f);
}

bool RepeatedCaptures::seenBefore(const CaptureRow &row)
{
    if (!row.line && row.logTime.empty())
        return false; // a replay's row: nothing says where it came from
    // The line alone is not enough: a bug-report zip numbers each of its logs' lines from 1.
    // No line and line 0 differ; an unknown process or thread is -1, as tables once wrote it.
    uint64_t hash = hashed(row.input);
    hash = folded(hash, row.line ? uint64_t{*row.line} + 1 : 0);
    hash = folded(hash, static_cast<uint64_t>(int64_t{row.pid.value_or(-1)}));
    hash = folded(hash, static_cast<uint64_t>(int64_t{row.tid.value_or(-1)}));
    hash = folded(hash, hashed(row.logTime));
    hash = folded(hash, row.fwkFrame);
    hash = folded(hash, hashed(row.kind));
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
