#pragma once
/*
 * Replayer: drives the real plug-in through kohal::ZSLSelectorBase as the
 * camera framework does, one trace at a time: sets the trace's properties
 * and log gates, loads the library afresh, builds each step's scene at its
 * capture moment (pinned on the plug-in's clock, or the machine's boot-time
 * clock just before the calls when realClock is set), and records every answer with the plug-in's own
 * system-log lines, from which it reads the time stamps and each refusal's
 * reason.
 */

#include "outcome/Outcome.h"
#include "replay/Trace.h"

#include <cstdint>
#include <string>

namespace zsl::replay {

// The capture moment of every step, on the pinned clock: 100 s after boot.
constexpr int64_t kDefaultCaptureNs = 100'000'000'000;

class Replayer {
public:
    explicit Replayer(std::string pluginPath, bool realClock = false)
        : mPluginPath(std::move(pluginPath)), mRealClock(realClock)
    {
    }

    // Throws kohost::PluginLoadError when the plug-in cannot be loaded or
    // lacks the factory.
    outcome::SessionOutcome run(const TraceSpec &trace) const;

private:
    std::string mPluginPath;
    bool mRealClock;
};

} // namespace zsl::replay
