#pragma once
/*
 * BootClock: the boot-time clock a loaded plug-in reads, as the host sets it.
 *
 * A program that uses it defines libutils' systemTime() itself and exports
 * it (CMake's ENABLE_EXPORTS), so the plug-in's call binds to this
 * definition instead of the library's; the plug-in does not change. Pinned,
 * SYSTEM_TIME_BOOTTIME answers the pinned moment, so that a capture gives the
 * same answers and lines on every run and every machine; unpinned, every
 * clock reads the machine's.
 */

#include <cstdint>
#include <optional>

namespace kohost {

// Pins SYSTEM_TIME_BOOTTIME at ns; nullopt lets it read the machine's clock.
void pinBootTime(std::optional<int64_t> ns);

// The machine's boot-time clock, whatever is pinned.
int64_t realBootTimeNs();

// Pins the boot-time clock for its lifetime.
class PinnedBootTime {
public:
    explicit PinnedBootTime(int64_t ns) { pinBootTime(ns); }
    ~PinnedBootTime() { pinBootTime(std::nullopt); }
    PinnedBootTime(const PinnedBootTime &) = delete;
    PinnedBootTime &operator=(const PinnedBootTime &) = delete;
};

} // namespace kohost
