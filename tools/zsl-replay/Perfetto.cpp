// The Trace Event Format export of sessions.

#include "Perfetto.h"

#include <map>
#include <string>

namespace replay {

namespace {

using nlohmann::json;

constexpr int kCaptureTrack = 1;
constexpr int kCallTrack = 2;
constexpr int kFirstQueueTrack = 10;
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

void writeStep(Writer &out, int pid, const StepOutcome &step, std::map<std::string, int> &queueTracks)
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

    // The calls, one after another from the capture moment.
    int64_t at = step.captureNs;
    auto call = [&](const std::string &name, json args) {
        out.slice(pid, kCallTrack, name, at, at + kCallNs, std::move(args));
        at += kCallNs;
    };
    if (step.needed)
        call("isSelectorNeeded", {{"fwkFrame", step.fwkFrame}, {"needed", *step.needed}});
    if (step.selectRan)
        call("selectZSLFrames", {{"fwkFrame", step.fwkFrame}, {"selected", step.selectedFrames}});
    for (const CheckOutcome &check : step.checks)
        call("checkFrame " + std::to_string(check.frame),
             {{"fwkFrame", step.fwkFrame}, {"frame", check.frame}, {"accepted", check.verdict.first},
              {"reason", check.explanation}});

    if (step.zsdTs)
        out.instant(pid, kCaptureTrack, "zsdTs " + tag, *step.zsdTs, {{"zsdTs", *step.zsdTs}});
    out.slice(pid, kCaptureTrack, "capture " + tag, step.captureNs, std::max(at, step.captureNs + kCallNs),
              {{"fwkFrame", step.fwkFrame}, {"taken", step.taken}});

    // Each taken frame: a short slice on its queue's track for the flow to end in.
    for (uint32_t frame : step.taken) {
        auto shutter = step.shutterNs.find(frame);
        if (shutter == step.shutterNs.end() || step.queues.empty())
            continue;
        const int track = trackOf(step.queues.front());
        out.slice(pid, track, "taken by " + tag, shutter->second, shutter->second + kCallNs, {{"frame", frame}});
        out.flow(pid, kCaptureTrack, step.captureNs, track, shutter->second);
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
        out.name(pid, kCaptureTrack, "thread_name", "captures");
        out.name(pid, kCallTrack, "thread_name", "plug-in calls (in order, nominal length)");
        std::map<std::string, int> queueTracks;
        for (const StepOutcome &step : session.steps)
            writeStep(out, pid, step, queueTracks);
    }
    return {{"traceEvents", events}, {"displayTimeUnit", "ns"}};
}

} // namespace replay
