#pragma once
/*
 * Replayer: drives the real plug-in through kohal::ZSLSelectorBase as the
 * camera framework does, one trace at a time: sets the trace's properties
 * and log gates, loads the library afresh, builds each step's scene at its
 * capture moment (pinned on the plug-in's clock, or the machine's boot-time
 * clock just before the calls when realClock is set), and records every answer with the plug-in's own
 * system-log lines, from which it reads the time stamps and each refusal's
 * reason. Kept loaded (for many replays of one what-if), the library stays
 * mapped between traces and each trace gets a fresh selector from it, the
 * library being loaded again only when its load-time switch would read
 * otherwise: the same answers as a load per trace, for a fraction of its
 * cost.
 */

#include "outcome/Outcome.h"
#include "replay/Trace.h"

#include <cstdint>
#include <memory>
#include <string>

namespace kohost {
class PluginSession;
}

namespace zsl::replay {

// The capture moment of every step, on the pinned clock: 100 s after boot.
constexpr int64_t kDefaultCaptureNs = 100'000'000'000;

class Replayer {
public:
    enum class Loading { PerTrace, KeptLoaded };
    explicit Replayer(std::string pluginPath, bool realClock = false, Loading loading = Loading::PerTrace);
    ~Replayer();
    Replayer(const Replayer &) = delete;
    Replayer &operator=(const Replayer &) = delete;

    // Throws an outcome::Error that reaches the whole run when the plug-in
    // cannot be loaded or lacks the factory.
    outcome::SessionOutcome run(const TraceSpec &trace) const;

private:
    std::string mPluginPath;
    bool mRealClock;
    Loading mLoading;
    // Kept loaded: the session of the last trace. One thread, and no other
    // loader of the plug-in while it lives (a second dlopen would share its
    // load-time switch).
    mutable std::unique_ptr<kohost::PluginSession> mKept;
};

} // namespace zsl::replay
