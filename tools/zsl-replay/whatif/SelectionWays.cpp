// The ways a selection may have gone on from its scan.

#include "whatif/SelectionWays.h"

#include "outcome/FrameText.h"

#include <algorithm>
#include <functional>
#include <set>

namespace zsl::whatif {

using namespace zsl::outcome;

namespace {

using Presence = LogGrounds::Presence;

// What follows the anchor scan, as the selector goes on from it: the begin
// counted back from the anchor, moved past frames a queue lacks (`held`),
// the consumer frames from there and, without pending support, the
// producer frames the anchor's offset reaches; only frames above `lastUsed`.
World follow(const StepOutcome &scan, int64_t requested, int64_t lastUsed, bool pending,
             const std::function<bool(uint32_t)> &held)
{
    const int64_t n = static_cast<int64_t>(scan.consumer.size());
    const int64_t offset = scan.anchorOffset.value_or(0);
    World world;
    world.requested = static_cast<size_t>(requested);
    world.begin = offset + 1 + n < requested ? 0 : offset + 1 + n - requested;
    int64_t from = world.begin;
    while (from < n && !held(scan.consumer[static_cast<size_t>(from)]))
        ++from;
    auto keep = [&](uint32_t frame) {
        if (static_cast<int64_t>(frame) > lastUsed)
            world.selected.push_back(frame);
    };
    for (int64_t i = from; i < n; ++i)
        keep(scan.consumer[static_cast<size_t>(i)]);
    if (!pending && offset >= -1) {
        const int64_t first = offset == -1 || offset + 1 <= requested ? 0 : offset + 1 - requested;
        for (int64_t j = first; j < static_cast<int64_t>(scan.producer.size()); ++j)
            keep(scan.producer[static_cast<size_t>(j)]);
    }
    return world;
}

// The host takes accepted frames in selection order, one per requested frame.
std::optional<std::vector<uint32_t>> taken(const std::vector<uint32_t> &selected, size_t requested,
                                           const LogGrounds &grounds)
{
    std::vector<uint32_t> frames;
    for (uint32_t frame : selected) {
        if (frames.size() >= requested)
            break;
        const CheckOutcome *check = grounds.verdict(frame);
        if (!check)
            return std::nullopt;
        if (check->verdict.first)
            frames.push_back(frame);
    }
    return frames;
}

} // namespace

Ways everyWay(const StepOutcome &step, const LogGrounds &grounds, const StepOutcome &replayed,
              std::optional<bool> pending, bool producerKnown)
{
    Ways ways;
    // Producer frames follow only without pending support, from an anchor offset of -1 on.
    const bool producerFollows = *replayed.anchorOffset >= -1 && !pending.value_or(false);
    ways.producerOpen = producerFollows && !producerKnown;
    std::vector<bool> pendings{pending.value_or(false)};
    if (!pending && *replayed.anchorOffset >= -1)
        pendings.push_back(true);
    ways.pendingOpen = pendings.size() > 1;
    std::vector<int64_t> counts;
    if (grounds.requested)
        counts.push_back(static_cast<int64_t>(*grounds.requested));
    else // past this many, the begin is 0 and the producer part starts at 0
        for (size_t r = grounds.requestedAtLeast;
             r <= grounds.requestedAtLeast + step.consumer.size() + step.producer.size() + 1; ++r)
            counts.push_back(static_cast<int64_t>(r));
    std::vector<int64_t> lastUsed{-1};
    std::set<uint32_t> listed(step.consumer.begin(), step.consumer.end());
    listed.insert(step.producer.begin(), step.producer.end());
    for (uint32_t frame : listed)
        if (!grounds.aboveLastUsed || frame < *grounds.aboveLastUsed)
            lastUsed.push_back(frame);
    ways.lastUsedOpen = lastUsed.size() > 1;
    for (int64_t requested : counts) {
        const int64_t n = static_cast<int64_t>(step.consumer.size());
        // The frame every queue held: each frame from the begin that may have been.
        const World plain = follow(replayed, requested, -1, true, [](uint32_t) { return true; });
        std::vector<int64_t> heldAt;
        int64_t i = plain.begin;
        for (; i < n; ++i) {
            const Presence presence = grounds.presence(step.consumer[static_cast<size_t>(i)]);
            if (presence != Presence::Absent)
                heldAt.push_back(i);
            if (presence == Presence::Unknown)
                ways.unsure.push_back(step.consumer[static_cast<size_t>(i)]);
            if (presence == Presence::Present)
                break;
        }
        if (i >= n) // no consumer frame held from the begin on (a begin in the producer list included)
            heldAt.push_back(i);
        for (int64_t at : heldAt)
            for (int64_t used : lastUsed)
                for (bool pendingOn : pendings) {
                    World world = follow(replayed, requested, used, pendingOn, [&](uint32_t frame) {
                        return std::find(step.consumer.begin(), step.consumer.end(), frame) - step.consumer.begin() >=
                               at;
                    });
                    world.taken = taken(world.selected, world.requested, grounds);
                    // Producer frames not in the log would follow: they matter if more are wanted.
                    if (ways.producerOpen && world.taken && world.taken->size() < world.requested)
                        world.taken.reset();
                    ways.worlds.push_back(std::move(world));
                }
    }
    std::sort(ways.unsure.begin(), ways.unsure.end());
    ways.unsure.erase(std::unique(ways.unsure.begin(), ways.unsure.end()), ways.unsure.end());
    return ways;
}

bool followsAsReplayed(const StepOutcome &replayed, size_t requested, bool replayPending)
{
    const World rebuilt = follow(replayed, static_cast<int64_t>(requested), -1, replayPending, [&](uint32_t frame) {
        return std::all_of(replayed.queues.begin(), replayed.queues.end(), [frame](const QueueView &queue) {
            return std::count(queue.held.begin(), queue.held.end(), frame) > 0;
        });
    });
    return rebuilt.selected == replayed.selectedFrames && rebuilt.begin == replayed.csbegin.value_or(-1);
}

std::string openReasons(const Ways &ways, const LogGrounds &grounds)
{
    std::vector<std::string> open;
    if (!grounds.requested)
        open.push_back("how many frames the capture wants is not in the log");
    if (!ways.unsure.empty())
        open.push_back("whether every queue held frame" + std::string(ways.unsure.size() == 1 ? " " : "s ") +
                       frameText(ways.unsure) + " is not in the log");
    if (ways.pendingOpen)
        open.push_back("whether pending support is on is not in the log");
    if (ways.producerOpen)
        open.push_back("the producer list is not in the log, and its frames follow the selection");
    if (ways.lastUsedOpen)
        open.push_back(
            "the last used frame number is not in the log" +
            (grounds.aboveLastUsed ? " (it is below " + std::to_string(*grounds.aboveLastUsed) + ")" : std::string()));
    std::string because;
    for (const std::string &part : open)
        because += (because.empty() ? "" : "; ") + part;
    return because;
}

} // namespace zsl::whatif
