#pragma once
/*
 * Clocks: a trace's clock snapshots, which say what each clock read at one
 * moment, used to carry a time from one clock to another as the trace
 * processor does: a log entry's wall-clock time to the trace's boot-time
 * timeline. Only the builtin clocks are known; a time is carried by the
 * snapshot that holds both clocks and lies nearest before it.
 */

#include "perfetto/perfetto_trace.pb.h"

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

namespace zsl::perfetto {

enum BuiltinClock : uint32_t { kRealtime = 1, kMonotonic = 3, kBoottime = 6 };

class Clocks {
public:
    void add(const ::perfetto::protos::ClockSnapshot &snapshot);
    // `ns` on clock `from`, on clock `to`; nullopt when no snapshot holds both.
    std::optional<int64_t> convert(uint32_t from, int64_t ns, uint32_t to) const;
    bool empty() const { return mSnapshots.empty(); }

private:
    std::vector<std::map<uint32_t, int64_t>> mSnapshots;
};

} // namespace zsl::perfetto
