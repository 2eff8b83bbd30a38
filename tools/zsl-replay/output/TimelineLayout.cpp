// The sessions' tracks and events, in the order a format receives them.

#include "output/TimelineLayout.h"

#include "outcome/FrameText.h"
#include "outcome/LogTime.h"

#include <algorithm>
#include <limits>
#include <map>
#include <set>

namespace zsl::output {

using namespace zsl::outcome;

namespace {

constexpr int kFirstQueueTrack = 1;
constexpr int kFirstStepTrack = 1000;
constexpr int64_t kCallNs = 1000; // a call's nominal length

// The frames taken on one queue's track: one slice of a nanosecond per
// frame, shared by every capture that took it, for the flows to end in.
// Frames shot at the same moment get slices one after another, so that no
// two overlap.
struct TakenSlices {
    std::map<uint32_t, int64_t> begin;
    std::set<int64_t> used;
};

void layOutStep(TimelineFormat &out, bool fromLog, int stepTrack, const StepOutcome &step,
                std::map<std::string, int> &queueTracks, std::map<int, TakenSlices> &taken)
{
    auto trackOf = [&](const QueueView &queue) {
        const std::string key = std::to_string(queue.id) + "/" + queue.name;
        auto [entry, added] = queueTracks.emplace(key, kFirstQueueTrack + static_cast<int>(queueTracks.size()));
        if (added)
            out.track(entry->second, "queue [" + queue.name + "] id " + std::to_string(queue.id), std::nullopt);
        return entry->second;
    };
    const std::string tag = "fwkFrame " + std::to_string(step.fwkFrame);
    for (const QueueView &queue : step.queues) {
        const int track = trackOf(queue);
        for (uint32_t frame : queue.held)
            if (auto shutter = step.shutterNs.find(frame); shutter != step.shutterNs.end())
                out.instant(track, "frame " + std::to_string(frame), shutter->second,
                            {{"frame", frame}, {"queue", queue.name}});
    }

    // The step's own track: the capture, its zsdTs, and the plug-in's calls
    // inside it, one after another from the capture moment.
    const bool threadKnown = fromLog && step.pid != kUnknownId && step.tid != kUnknownId;
    out.track(stepTrack, std::string(stepKindName(step.kind)) + " " + tag,
              threadKnown ? std::optional(std::pair(step.pid, step.tid)) : std::nullopt);
    std::vector<std::pair<std::string, nlohmann::json>> calls;
    if (step.needed)
        calls.push_back({"isSelectorNeeded", {{"needed", *step.needed}}});
    if (step.selectRan)
        calls.push_back({"selectZSLFrames", {{"selected", step.selectedFrames}}});
    for (const CheckOutcome &check : step.checks)
        calls.push_back({"checkFrame " + std::to_string(check.frame),
                         {{"frame", check.frame},
                          {"accepted", check.unknown.empty() ? nlohmann::json(check.verdict.first) : nlohmann::json()},
                          {"reason", check.unknown.empty() ? check.explanation : check.unknown}}});
    // One nanosecond past the last call: the capture ends after, not with, it.
    const int64_t end = laterNs(step.captureNs, kCallNs * static_cast<int64_t>(calls.size()) + 1);
    out.slice(stepTrack, "capture " + tag, step.captureNs, end, {{"fwkFrame", step.fwkFrame}, {"taken", step.taken}});
    int64_t at = step.captureNs;
    for (auto &[name, args] : calls) {
        out.slice(stepTrack, name, at, laterNs(at, kCallNs), std::move(args));
        at = laterNs(at, kCallNs);
    }
    if (step.zsdTs)
        out.instant(stepTrack, "zsdTs " + tag, *step.zsdTs, {{"zsdTs", *step.zsdTs}});

    for (uint32_t frame : step.taken) {
        auto shutter = step.shutterNs.find(frame);
        if (shutter == step.shutterNs.end() || step.queues.empty())
            continue;
        const int track = trackOf(step.queues.front());
        TakenSlices &slices = taken[track];
        // Moved later while its moment is taken: from low enough that it fits.
        const int64_t latest = std::numeric_limits<int64_t>::max() - 1 - static_cast<int64_t>(slices.used.size());
        auto [slice, added] = slices.begin.emplace(frame, std::min(shutter->second, latest));
        if (added) {
            while (!slices.used.insert(slice->second).second)
                ++slice->second;
            out.slice(track, "frame " + std::to_string(frame) + " taken", slice->second, slice->second + 1,
                      {{"frame", frame}});
        }
        out.flow(stepTrack, step.captureNs, track, slice->second);
    }

    for (const auto &[source, frames] : step.states)
        for (const auto &[frame, states] : frames) {
            auto shutter = step.shutterNs.find(frame);
            if (shutter == step.shutterNs.end())
                continue;
            const std::string suffix = source.isCamera() ? " (" + statesSourceText(source) + ")" : "";
            if (states.aeState)
                out.counter("AE state" + suffix, shutter->second, *states.aeState);
            if (states.afState)
                out.counter("AF state" + suffix, shutter->second, *states.afState);
            if (states.lensState)
                out.counter("lens state" + suffix, shutter->second, *states.lensState);
        }
    for (const auto &[frame, mode] : step.sensorModes)
        if (auto shutter = step.shutterNs.find(frame); shutter != step.shutterNs.end())
            out.counter("sensor mode", shutter->second, mode);
}

} // namespace

void layOutTimeline(const std::vector<SessionOutcome> &sessions, TimelineFormat &format)
{
    for (const SessionOutcome &session : sessions) {
        std::optional<int> pid;
        for (const StepOutcome &step : session.steps)
            if (session.fromLog && step.pid != kUnknownId && !pid)
                pid = step.pid;
        format.session(session.name + (session.fromLog ? " (read from a log)" : "") + " - " + session.file, pid);
        std::map<std::string, int> queueTracks;
        std::map<int, TakenSlices> taken;
        for (size_t i = 0; i < session.steps.size(); ++i)
            layOutStep(format, session.fromLog, kFirstStepTrack + static_cast<int>(i), session.steps[i], queueTracks,
                       taken);
    }
}

} // namespace zsl::output
