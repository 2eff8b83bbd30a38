// The host's systemTime(), which a loaded plug-in binds to.

#include "BootClock.h"

#include <utils/Timers.h>

#include <atomic>
#include <ctime>

namespace kohost {

namespace {

// INT64_MIN: not pinned.
std::atomic<int64_t> gPinnedNs{INT64_MIN};

int64_t readClock(clockid_t id)
{
    timespec now{};
    clock_gettime(id, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

} // namespace

void pinBootTime(std::optional<int64_t> ns)
{
    gPinnedNs.store(ns ? *ns : INT64_MIN);
}

int64_t realBootTimeNs()
{
    return readClock(CLOCK_BOOTTIME);
}

} // namespace kohost

// libutils' clock as Android defines it, with the boot-time clock pinnable.
extern "C" __attribute__((visibility("default"))) nsecs_t systemTime(int clock)
{
    static const clockid_t kClocks[] = {CLOCK_REALTIME, CLOCK_MONOTONIC, CLOCK_PROCESS_CPUTIME_ID,
                                        CLOCK_THREAD_CPUTIME_ID, CLOCK_BOOTTIME};
    if (clock == SYSTEM_TIME_BOOTTIME) {
        const int64_t pinned = kohost::gPinnedNs.load();
        if (pinned != INT64_MIN)
            return pinned;
    }
    if (clock < 0 || clock > SYSTEM_TIME_BOOTTIME)
        clock = SYSTEM_TIME_MONOTONIC;
    return kohost::readClock(kClocks[clock]);
}
