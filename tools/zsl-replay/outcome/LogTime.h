#pragma once
/*
 * LogTime: sums and differences of the times a log states. A damaged or
 * hand-made log may put a shutter time, zsdTs or curTime anywhere in int64,
 * and a drawing or trace made from it must not overflow: a sum is held at
 * the ends of the range, and a difference that does not fit is none.
 */

#include <cstdint>
#include <limits>
#include <optional>

namespace zsl::outcome {

inline int64_t laterNs(int64_t time, int64_t by)
{
    int64_t sum;
    if (!__builtin_add_overflow(time, by, &sum))
        return sum;
    return by > 0 ? std::numeric_limits<int64_t>::max() : std::numeric_limits<int64_t>::min();
}

inline int64_t earlierNs(int64_t time, int64_t by)
{
    int64_t difference;
    if (!__builtin_sub_overflow(time, by, &difference))
        return difference;
    return by > 0 ? std::numeric_limits<int64_t>::min() : std::numeric_limits<int64_t>::max();
}

inline std::optional<int64_t> betweenNs(int64_t from, int64_t to)
{
    int64_t difference;
    if (__builtin_sub_overflow(to, from, &difference))
        return std::nullopt;
    return difference;
}

} // namespace zsl::outcome
