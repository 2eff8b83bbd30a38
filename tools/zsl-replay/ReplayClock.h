#pragma once
/*
 * ReplayClock: the boot-time clock the plug-in reads during a replay.
 *
 * zsl-replay defines libutils' systemTime() itself and exports it, so the
 * loaded plug-in's call binds to this definition instead of the library's
 * (the plug-in does not change). Pinned, SYSTEM_TIME_BOOTTIME answers the
 * step's capture moment, so that a trace gives the same answers and lines
 * on every run and every machine; unpinned, every clock reads the machine's.
 */

#include <cstdint>
#include <optional>

namespace replay {

// The capture moment of a step whose trace sets none: 100 s after boot.
constexpr int64_t kDefaultCaptureNs = 100'000'000'000;

// Pins SYSTEM_TIME_BOOTTIME at ns; nullopt lets it read the machine's clock.
void pinBootTime(std::optional<int64_t> ns);

// The machine's boot-time clock, whatever is pinned.
int64_t realBootTimeNs();

} // namespace replay
