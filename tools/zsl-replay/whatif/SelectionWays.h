#pragma once
/*
 * SelectionWays: every way a capture's selection may have gone on from its
 * anchor scan, as the selector goes on from it (the begin counted back from
 * the anchor, moved past frames a queue lacks, the used frames, the producer
 * part), for each reading of what the log leaves open: how many frames the
 * capture wants, which frames every queue held, whether pending support is
 * on, the last used frame. LogSide states what all of them agree on.
 */

#include "outcome/Outcome.h"
#include "whatif/LogGrounds.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zsl::whatif {

// One way the selection may have gone after the scan.
struct World {
    int64_t begin = 0;
    std::vector<uint32_t> selected;
    std::optional<std::vector<uint32_t>> taken; // none: a verdict it needs is not in the log
    size_t requested = 0;
};

// Every way the selection may have gone on from the scan, and what the log
// leaves open that makes them several.
struct Ways {
    std::vector<World> worlds;
    std::vector<uint32_t> unsure; // frames whose presence in every queue is not known, where it mattered
    bool pendingOpen = false;
    bool producerOpen = false; // producer frames not in the log follow the selection
    bool lastUsedOpen = false;
};

Ways everyWay(const outcome::StepOutcome &step, const LogGrounds &grounds, const outcome::StepOutcome &replayed,
              std::optional<bool> pending, bool producerKnown);
// The rebuilt capture, followed the same way, gives the replay's own answer:
// else this reading of the selector is not to be trusted.
bool followsAsReplayed(const outcome::StepOutcome &replayed, size_t requested, bool replayPending);
// What the ways leave open, in words ("" when nothing).
std::string openReasons(const Ways &ways, const LogGrounds &grounds);

} // namespace zsl::whatif
