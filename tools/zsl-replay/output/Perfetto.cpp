// The Trace Event Format export of sessions.

#include "output/Perfetto.h"

#include <map>
#include <set>
#include <string>

namespace zsl::output {

using namespace zsl::outcome;

namespace {

using nlohmann::json;

constexpr int kFirstQueueTrack = 1;
constexpr int kFirstStepTrack = 1000;
constexpr int64_t kCallNs = 1000; // a call's nominal length

double us(int64_t ns)
{
    return static_cast<double>(ns) / 1000.0;
}

class Writer {
public:
    explicit Writer(json &events) : mEvents(events) {}

    void name(int pid, int tid, const std::string &what, const std::string &name)
    {
        json event = {{"ph", "M"}, {"pid", pid}, {"tid", tid}, {"name", what}, {"args", {{"name", name}}}};
        mEvents.push_back(std::move(event));
    }
    void slice(int pid, int tid, const std::string &name, int64_t beginNs, int64_t endNs, json args = json::object())
    {
        mEvents.push_back({{"ph", "B"}, {"pid", pid}, {"tid", tid}, {"ts", us(beginNs)}, {"name", name}, {"args", args}});
        mEvents.push_back({{"ph", "E"}, {"pid", pid}, {"tid", tid}, {"ts", us(endNs)}, {"name", name}});
    }
    void instant(int pid, int tid, const std::string &name, int64_t ns, json args = json::object())
    {
        mEvents.push_back(
            {{"ph", "i"}, {"s", "t"}, {"pid", pid}, {"tid", tid}, {"ts", us(ns)}, {"name", name}, {"args", args}});
    }
    void counter(int pid, const std::string &name, int64_t ns, int value)
    {
        mEvents.push_back({{"ph", "C"}, {"pid", pid}, {"tid", 0}, {"ts", us(ns)}, {"name", name}, {"args", {{"value", value}}}});
    }
    // A flow between two slices: its ends lie inside them.
    void flow(int pid, int fromTid, int64_t fromNs, int toTid, int64_t toNs)
    {
        const int id = ++mFlows;
        mEvents.push_back({{"ph", "s"}, {"pid", pid}, {"tid", fromTid}, {"ts", us(fromNs)}, {"name", "taken"},
                           {"cat", "zsl"}, {"id", id}});
        mEvents.push_back({{"ph", "f"}, {"bp", "e"}, {"pid", pid}, {"tid", toTid}, {"ts", us(toNs)}, {"name", "taken"},
                           {"cat", "zsl"}, {"id", id}});
    }

private:
    json &mEvents;
    int mFlows = 0;
};

// The frames taken on one queue's track: one slice of a nanosecond per
// frame, shared by every capture that took it, for the flows to end in.
// Frames shot at the same moment get slices one after another, so that no
// two overlap.
struct TakenSlices {
    std::map<uint32_t, int64_t> begin;
    std::set<int64_t> used;
};

void writeStep(Writer &out, int pid, int stepTrack, const StepOutcome &step, std::map<std::string, int> &queueTracks,
               std::map<int, TakenSlices> &taken)
{
    auto trackOf = [&](const QueueView &queue) {
        const std::string key = std::to_string(queue.id) + "/" + queue.name;
        auto [entry, added] = queueTracks.emplace(key, kFirstQueueTrack + static_cast<int>(queueTracks.size()));
        if (added)
            out.name(pid, entry->second, "thread_name", "queue [" + queue.name + "] id " + std::to_string(queue.id));
        return entry->second;
    };
    const std::string tag = "fwkFrame " + std::to_string(step.fwkFrame);
    for (const QueueView &queue : step.queues) {
        const int track = trackOf(queue);
        for (uint32_t frame : queue.held)
            if (auto shutter = step.shutterNs.find(frame); shutter != step.shutterNs.end())
                out.instant(pid, track, "frame " + std::to_string(frame), shutter->second,
                            {{"frame", frame}, {"queue", queue.name}});
    }

    // The step's own track: the capture, its zsdTs, and the plug-in's calls
    // inside it, one after another from the capture moment.
    out.name(pid, stepTrack, "thread_name", std::string(stepKindName(step.kind)) + " " + tag);
    std::vector<std::pair<std::string, json>> calls;
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
    const int64_t end = step.captureNs + kCallNs * static_cast<int64_t>(calls.size()) + 1;
    out.slice(pid, stepTrack, "capture " + tag, step.captureNs, end, {{"fwkFrame", step.fwkFrame}, {"taken", step.taken}});
    int64_t at = step.captureNs;
    for (auto &[name, args] : calls) {
        out.slice(pid, stepTrack, name, at, at + kCallNs, std::move(args));
        at += kCallNs;
    }
    if (step.zsdTs)
        out.instant(pid, stepTrack, "zsdTs " + tag, *step.zsdTs, {{"zsdTs", *step.zsdTs}});

    for (uint32_t frame : step.taken) {
        auto shutter = step.shutterNs.find(frame);
        if (shutter == step.shutterNs.end() || step.queues.empty())
            continue;
        const int track = trackOf(step.queues.front());
        TakenSlices &slices = taken[track];
        auto [slice, added] = slices.begin.emplace(frame, shutter->second);
        if (added) {
            while (!slices.used.insert(slice->second).second)
                ++slice->second;
            out.slice(pid, track, "frame " + std::to_string(frame) + " taken", slice->second, slice->second + 1,
                      {{"frame", frame}});
        }
        out.flow(pid, stepTrack, step.captureNs, track, slice->second);
    }

    for (const auto &[source, frames] : step.states)
        for (const auto &[frame, states] : frames) {
            auto shutter = step.shutterNs.find(frame);
            if (shutter == step.shutterNs.end())
                continue;
            const std::string suffix = source.empty() ? "" : " (" + source + ")";
            if (states.aeState)
                out.counter(pid, "AE state" + suffix, shutter->second, *states.aeState);
            if (states.afState)
                out.counter(pid, "AF state" + suffix, shutter->second, *states.afState);
            if (states.lensState)
                out.counter(pid, "lens state" + suffix, shutter->second, *states.lensState);
        }
    for (const auto &[frame, mode] : step.sensorModes)
        if (auto shutter = step.shutterNs.find(frame); shutter != step.shutterNs.end())
            out.counter(pid, "sensor mode", shutter->second, mode);
}

} // namespace

json perfettoTrace(const std::vector<SessionOutcome> &sessions)
{
    json events = json::array();
    Writer out(events);
    int pid = 0;
    for (const SessionOutcome &session : sessions) {
        ++pid;
        out.name(pid, 0, "process_name", session.name + (session.fromLog ? " (read from a log)" : "") + " - " + session.file);
        std::map<std::string, int> queueTracks;
        std::map<int, TakenSlices> taken;
        for (size_t i = 0; i < session.steps.size(); ++i)
            writeStep(out, pid, kFirstStepTrack + static_cast<int>(i), session.steps[i], queueTracks, taken);
    }
    return {{"traceEvents", events}, {"displayTimeUnit", "ns"}};
}

} // namespace zsl::output
