#pragma once
/*
 * LogSide: one side of a capture read from a device log, at the log's own
 * configuration or a changed one: the replay of the trace rebuilt from the
 * log, stating a fact only where the log grounds it (LogGrounds). The anchor
 * scan is the plug-in's own, exact when it examined only frames whose
 * records the log shows. What follows the scan (the begin, the frame every
 * queue held, the used frames, the frames the host takes) is followed
 * through every possibility the log leaves open, and stated where all of
 * them agree; where they do not, the side says why and gives the bounds.
 */

#include "outcome/Outcome.h"
#include "whatif/Comparison.h"
#include "whatif/LogGrounds.h"

#include <cstdint>
#include <optional>

namespace zsl::whatif {

// The configuration of a side, as far as it is known.
struct SideSetting {
    std::optional<int64_t> windowMs;
    std::optional<bool> pending;
};

// `replayed` is the rebuilt trace's step replayed at `setting`, whose
// pending switch in that replay was `replayPending`.
Side logSide(const outcome::StepOutcome &logged, const LogGrounds &grounds, const outcome::StepOutcome &replayed,
             const SideSetting &setting, bool replayPending);

} // namespace zsl::whatif
