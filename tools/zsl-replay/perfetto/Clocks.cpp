// Times carried between clocks through snapshots.

#include "perfetto/Clocks.h"

namespace zsl::perfetto {

void Clocks::add(const ::perfetto::protos::ClockSnapshot &snapshot)
{
    std::map<uint32_t, int64_t> clocks;
    for (const auto &clock : snapshot.clocks())
        clocks[clock.clock_id()] = static_cast<int64_t>(clock.timestamp());
    if (clocks.size() >= 2)
        mSnapshots.push_back(std::move(clocks));
}

std::optional<int64_t> Clocks::convert(uint32_t from, int64_t ns, uint32_t to) const
{
    if (from == to)
        return ns;
    // The latest snapshot at or before the time; for a time before every
    // snapshot, the earliest.
    const std::map<uint32_t, int64_t> *before = nullptr, *earliest = nullptr;
    for (const auto &snapshot : mSnapshots) {
        auto source = snapshot.find(from);
        if (source == snapshot.end() || !snapshot.count(to))
            continue;
        if (source->second <= ns && (!before || before->at(from) <= source->second))
            before = &snapshot;
        if (!earliest || source->second < earliest->at(from))
            earliest = &snapshot;
    }
    const std::map<uint32_t, int64_t> *best = before ? before : earliest;
    if (!best)
        return std::nullopt;
    return ns - best->at(from) + best->at(to);
}

} // namespace zsl::perfetto
