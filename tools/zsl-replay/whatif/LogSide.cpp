// A side of a capture read from a log: the facts the log grounds.

#include "whatif/LogSide.h"

#include "whatif/SelectionWays.h"

#include "outcome/FrameText.h"

#include <algorithm>
#include <functional>
#include <set>

namespace zsl::whatif {

using namespace zsl::outcome;

namespace {

std::string listText(const std::vector<uint32_t> &frames)
{
    return frameText(frames, "none");
}

void leaveScanOpen(Side &side, const std::string &reason, const std::string &bound, const nlohmann::json &boundJson)
{
    for (const char *name : {fact::kAnchor, fact::kAnchorOffset, fact::kBegin, fact::kSelected, fact::kTaken})
        side.leaveOpen(name, reason, name == std::string(fact::kAnchor) ? bound : "",
                       name == std::string(fact::kAnchor) ? boundJson : nullptr);
    side.step.checks.clear();
    side.step.taken.clear();
    side.takenInFull.reset();
}

// Why the scan at this setting examined a frame the log does not show, and
// the least list position the anchor may then take; "" when it did not.
std::string scanOpen(const StepOutcome &replayed, const LogGrounds &grounds, const SideSetting &setting, size_t &from)
{
    const size_t n = replayed.consumer.size();
    const bool anchored = replayed.anchorFrame.has_value();
    const int64_t offset = replayed.anchorOffset.value_or(0);
    auto unlogged = [&](size_t at) {
        from = at;
        return "the log's anchor scan stopped before frame " + std::to_string(replayed.consumer[at]) +
               ": the shutter times from there on are not in the log";
    };
    if (anchored && offset < 0)
        return static_cast<size_t>(int64_t(n) + offset) < grounds.consumerKnown ? "" : unlogged(grounds.consumerKnown);
    if (grounds.consumerKnown < n)
        return unlogged(grounds.consumerKnown);
    from = n;
    if (!setting.pending)
        return "no consumer frame anchors, and whether pending support is on is not in the log";
    if (*setting.pending)
        return "";
    if (!grounds.producerKnown)
        return "no consumer frame anchors, and the producer list is not in the log";
    const size_t known = *grounds.producerKnown;
    if (anchored ? static_cast<size_t>(offset) < known : known == replayed.producer.size())
        return "";
    from = n + known;
    return "the shutter times of the producer list from frame " + std::to_string(replayed.producer[known]) +
           " on are not in the log";
}

// A side made from the replay of the rebuilt capture, with the log's own
// facts of it and the facts no log holds left open.
Side replayedSide(const StepOutcome &logged, const LogGrounds &grounds, const StepOutcome &replayed)
{
    Side side;
    side.step = replayed;
    StepOutcome &step = side.step;
    step.label = logged.label;
    step.pid = logged.pid;
    step.tid = logged.tid;
    step.firstLine = logged.firstLine;
    step.logTime = logged.logTime;
    step.shutterNs = logged.shutterNs; // the filled-in ones are not facts
    step.producer = logged.producer;
    step.producerKnown = logged.producerKnown;
    step.warnings.clear();
    step.notes.clear();
    step.log.clear();
    step.selection.clear();
    side.leaveOpen(fact::kSelection, "the queues' ids are not in the log; selectedFrames holds the frames");
    if (!logged.producerKnown)
        side.leaveOpen(fact::kProducer, "the producer list is not in the log");
    step.requested = step.kind == StepKind::Capture ? grounds.requested.value_or(grounds.requestedAtLeast) : 0;
    if (step.kind != StepKind::Capture)
        side.leaveOpen(fact::kRequested, "no frame check of this selection is in the log: whether a capture "
                                         "followed it is not known");
    else if (!grounds.requested)
        side.leaveOpen(fact::kRequested, "the log does not tell how many frames the capture wants",
                       "at least " + std::to_string(grounds.requestedAtLeast), {{"atLeast", grounds.requestedAtLeast}});
    return side;
}

// Leaves the anchor scan and all after it open where the log cannot tell how
// the scan went at this setting; true when it did.
bool scanLeftOpen(Side &side, const StepOutcome &logged, const LogGrounds &grounds, const StepOutcome &replayed,
                  const SideSetting &setting)
{
    const StepOutcome &step = side.step;
    if (!grounds.unusable.empty()) {
        side.leaveOpen(fact::kZsdTs, "the capture cannot be followed: " + grounds.unusable);
        leaveScanOpen(side, "the capture cannot be followed: " + grounds.unusable, "", nullptr);
        return true;
    }
    if (!logged.motionCapture && !setting.windowMs) {
        const std::string why = "the time window is not known: the log has no configuration line of the selector";
        side.leaveOpen(fact::kZsdTs, why);
        leaveScanOpen(side, why, "", nullptr);
        side.anchorFrom = 0;
        return true;
    }
    size_t from = 0;
    const std::string open = scanOpen(replayed, grounds, setting, from);
    if (open.empty())
        return false;
    const size_t listed = step.consumer.size() + step.producer.size();
    const uint32_t first = from < step.consumer.size() ? step.consumer[from]
                           : from < listed             ? step.producer[from - step.consumer.size()]
                                                       : 0;
    const std::string bound =
        from < listed ? "frame " + std::to_string(first) + " or a later one, or none" : "a producer frame, or none";
    leaveScanOpen(side, open, bound, {{"atOrAfter", from < listed ? nlohmann::json(first) : nlohmann::json()}});
    side.anchorFrom = from;
    return true;
}

template <typename Get> bool agree(const std::vector<World> &worlds, Get get)
{
    return std::all_of(worlds.begin(), worlds.end(), [&](const World &w) { return get(w) == get(worlds.front()); });
}

// The begin and the frames selected, stated where every way agrees; answers
// the frames any way selects, in list order.
std::vector<uint32_t> stateSelection(Side &side, const Ways &ways, const std::string &because)
{
    StepOutcome &step = side.step;
    const std::vector<World> &worlds = ways.worlds;
    int64_t lowBegin = worlds.front().begin, highBegin = lowBegin;
    for (const World &world : worlds) {
        lowBegin = std::min(lowBegin, world.begin);
        highBegin = std::max(highBegin, world.begin);
    }
    if (lowBegin == highBegin)
        step.csbegin = static_cast<int32_t>(lowBegin);
    else
        side.leaveOpen(fact::kBegin, because, "from " + std::to_string(lowBegin) + " to " + std::to_string(highBegin),
                       {{"atLeast", lowBegin}, {"atMost", highBegin}});
    std::vector<uint32_t> order = step.consumer;
    order.insert(order.end(), step.producer.begin(), step.producer.end());
    std::vector<uint32_t> any, every;
    for (uint32_t frame : order) {
        auto in = [frame](const World &w) { return std::count(w.selected.begin(), w.selected.end(), frame) > 0; };
        if (std::count(any.begin(), any.end(), frame))
            continue;
        if (std::any_of(worlds.begin(), worlds.end(), in))
            any.push_back(frame);
        if (std::all_of(worlds.begin(), worlds.end(), in))
            every.push_back(frame);
    }
    if (!ways.producerOpen && agree(worlds, [](const World &w) { return w.selected; })) {
        step.selectedFrames = worlds.front().selected;
    } else if (ways.producerOpen) {
        step.selectedFrames = any;
        side.leaveOpen(fact::kSelected, because, "at least " + listText(every) + ", then producer frames",
                       {{"atLeast", every}});
    } else {
        step.selectedFrames = any;
        side.leaveOpen(fact::kSelected, because, "among " + listText(any) + "; at least " + listText(every),
                       {{"atMost", any}, {"atLeast", every}});
    }
    return any;
}

// Each frame any way selects, with its verdict where the log shows it, and
// the frames taken where every way agrees.
void stateChecksAndTaken(Side &side, const Ways &ways, const std::string &because, const std::vector<uint32_t> &any,
                         const LogGrounds &grounds)
{
    StepOutcome &step = side.step;
    const std::vector<World> &worlds = ways.worlds;
    step.checks.clear();
    for (uint32_t frame : any) {
        if (const CheckOutcome *check = grounds.verdict(frame)) {
            step.checks.push_back(*check);
            step.checks.back().log.clear();
        } else {
            CheckOutcome unknown;
            unknown.frame = frame;
            unknown.unknown = "the log shows no check of frame " + std::to_string(frame);
            step.checks.push_back(std::move(unknown));
        }
    }
    if (step.kind != StepKind::Capture) { // no check of it is in the log: a capture may have followed
        side.leaveOpen(fact::kTaken, "no frame check of this selection is in the log");
        step.taken.clear();
        return;
    }
    const bool allTaken = std::all_of(worlds.begin(), worlds.end(), [](const World &w) { return w.taken.has_value(); });
    if (allTaken && agree(worlds, [](const World &w) { return w.taken; })) {
        step.taken = *worlds.front().taken;
    } else {
        std::vector<uint32_t> unchecked;
        for (const CheckOutcome &check : step.checks)
            if (!check.unknown.empty())
                unchecked.push_back(check.frame);
        std::string why = because;
        if (!allTaken && !unchecked.empty())
            why += std::string(why.empty() ? "" : "; ") + "the log shows no check of frame" +
                   (unchecked.size() == 1 ? " " : "s ") + frameText(unchecked);
        step.taken.clear();
        side.leaveOpen(fact::kTaken, why);
    }
    if (allTaken && agree(worlds, [](const World &w) { return w.taken->size() >= w.requested; }))
        side.takenInFull = worlds.front().taken->size() >= worlds.front().requested;
}

} // namespace

Side logSide(const StepOutcome &logged, const LogGrounds &grounds, const StepOutcome &replayed,
             const SideSetting &setting, bool replayPending)
{
    if (grounds.noMetaQueue) { // no property reaches a selection without a metadata queue
        Side side = exactSide(logged);
        if (logged.requested == 0)
            side.leaveOpen(fact::kRequested, "the log does not tell how many frames the capture wants");
        return side;
    }
    Side side = replayedSide(logged, grounds, replayed);
    if (scanLeftOpen(side, logged, grounds, replayed, setting))
        return side;
    side.anchorFrom = anchorPosition(replayed);
    StepOutcome &step = side.step;
    if (!replayed.csbegin) { // finished early: pending support on and no consumer frame anchors
        step.selectedFrames.clear();
        step.taken.clear();
        step.checks.clear();
        if (step.kind == StepKind::Capture)
            side.takenInFull = false;
        return side;
    }
    const Ways ways = everyWay(step, grounds, replayed, setting.pending, logged.producerKnown);
    if (!followsAsReplayed(replayed, grounds.requested.value_or(grounds.requestedAtLeast), replayPending)) {
        const std::string why = "the capture rebuilt from the log does not replay as this tool follows it";
        for (const char *name : {fact::kBegin, fact::kSelected, fact::kTaken})
            side.leaveOpen(name, why);
        step.checks.clear();
        side.takenInFull.reset();
        return side;
    }
    const std::string because = openReasons(ways, grounds);
    const std::vector<uint32_t> any = stateSelection(side, ways, because);
    stateChecksAndTaken(side, ways, because, any, grounds);
    return side;
}

} // namespace zsl::whatif
