// Writing a capture read from a log as a trace.

#include "output/TraceWriter.h"

#include "outcome/FrameText.h"
#include "outcome/LogTime.h"
#include "outcome/PluginLines.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <map>
#include <optional>
#include <set>
#include <string_view>

namespace zsl::output {

using namespace zsl::outcome;

namespace {

using OrderedJson = nlohmann::ordered_json;
constexpr int64_t kFrameIntervalNs = 33000000; // when the log shows no two neighbours

OrderedJson metadataOf(const FrameStates &states)
{
    OrderedJson meta = OrderedJson::object();
    auto put = [&](const char *tag, const std::optional<int> &value) {
        if (value)
            meta[tag] = *value;
    };
    put("android.control.aeExposureCompensation", states.ev);
    put("android.control.afMode", states.afMode);
    put("android.control.afState", states.afState);
    put("android.lens.state", states.lensState);
    put("android.control.aeState", states.aeState);
    if (states.motionCapType) {
        char hex[16];
        std::snprintf(hex, sizeof(hex), "0x%x", *states.motionCapType);
        meta["korvan.ai.kosd.motionCaptureType"] = hex;
    }
    return meta;
}

// The request as far as the lines show it.
OrderedJson requestOf(const StepOutcome &step)
{
    OrderedJson request = OrderedJson::object();
    request["android.control.enableZsl"] = step.needed.value_or(true) ? 1 : 0;
    const RequestSeen &seen = step.request;
    if (seen.ev)
        request["android.control.aeExposureCompensation"] = *seen.ev;
    if (seen.superResolution)
        request["korvan.superResolution.enabled"] = *seen.superResolution;
    // The sensor-mode check runs for super resolution or noise reduction;
    // without the first, the request enabled the second.
    if (seen.sensorCheck && request.value("korvan.superResolution.enabled", 0) != 1)
        request["korvan.mfnr.enabled"] = 1;
    if (seen.desiredSensorMode && *seen.desiredSensorMode >= 0 && seen.desiredSensorModeSet)
        request["com.korvan.ext.control.policy.sensorMode"] = *seen.desiredSensorMode;
    if (seen.quickSnapshot)
        request["korvan.quicksnapshot.isQuickSnapshot"] = 1;
    if (seen.anchorTs && *seen.anchorTs != 0)
        request["korvan.mfnr.anchorTimeStamp"] = *seen.anchorTs;
    if (seen.motionCapType && *seen.motionCapType != 0) {
        char hex[16];
        std::snprintf(hex, sizeof(hex), "0x%x", *seen.motionCapType);
        request["korvan.ai.kosd.motionCaptureType"] = hex;
    }
    return request;
}

// The selector's properties: from its configuration line, else the window
// curTime - zsdTs shows.
OrderedJson propertiesOf(const SessionOutcome &session, const StepOutcome &step, std::vector<std::string> &filled)
{
    OrderedJson properties = OrderedJson::object();
    if (const std::optional<SelectorConfig> &config = session.config) {
        properties["persist.vendor.kohal.selector.pending.mask"] = config->pending;
        properties["ro.vendor.camera3.zsl.default"] = config->defaultMs;
        properties["ro.vendor.camera3.zsl.project"] = config->projectMs;
        properties["vendor.debug.camera3.zsl.timestamp"] = config->userMs;
    } else if (step.zsdTs && step.curTime) {
        properties["ro.vendor.camera3.zsl.default"] = (*step.curTime - *step.zsdTs) / 1000000;
        filled.push_back("the selector's configuration line is not in the log: the time window is curTime - zsdTs "
                         "and the pending switch is off");
    }
    return properties;
}

// The frame interval the consumer list's logged shutter times show (their
// median step), else the usual one.
int64_t loggedInterval(const StepOutcome &step)
{
    std::vector<int64_t> intervals;
    for (size_t i = 1; i < step.consumer.size(); ++i) {
        auto a = step.shutterNs.find(step.consumer[i - 1]), b = step.shutterNs.find(step.consumer[i]);
        if (a != step.shutterNs.end() && b != step.shutterNs.end())
            if (const std::optional<int64_t> interval = betweenNs(a->second, b->second))
                intervals.push_back(*interval);
    }
    std::sort(intervals.begin(), intervals.end());
    return intervals.empty() ? kFrameIntervalNs : intervals[intervals.size() / 2];
}

// The trace's id of each physical camera: its own where the log showed it;
// cameras whose id the log never showed (by their place in the record) take
// the lowest ids no logged camera has.
std::map<StatesSource, int> cameraIds(const StepOutcome &step, std::vector<std::string> &filled)
{
    std::set<int> ids;
    std::map<StatesSource, int> byCamera;
    for (const auto &entry : step.states)
        if (entry.first.kind == StatesSource::Kind::Camera)
            ids.insert(byCamera[entry.first] = entry.first.id);
    bool unknown = false;
    for (const auto &entry : step.states)
        if (entry.first.kind == StatesSource::Kind::UnknownCamera) {
            int id = 0;
            while (ids.count(id))
                ++id;
            ids.insert(byCamera[entry.first] = id);
            unknown = true;
        }
    if (unknown)
        filled.push_back("cameras whose id is not in the log take the lowest free ids");
    return byCamera;
}

// The metadata queue's records: each listed frame still in the queue, with
// its shutter time (as logged, else the last one before in list order plus
// the logged frame interval) and the states its checks printed.
OrderedJson recordsOf(const StepOutcome &step, std::vector<std::string> &filled)
{
    std::vector<uint32_t> frames = step.consumer;
    frames.insert(frames.end(), step.producer.begin(), step.producer.end());
    const int64_t interval = loggedInterval(step);
    const std::map<StatesSource, int> ids = cameraIds(step, filled);
    std::vector<uint32_t> gone, estimated;
    for (const StepWarning &warning : step.warnings)
        if (warning.kind == StepWarning::Kind::LeftQueue)
            gone.push_back(warning.frame);
    // The anchor scan passes a producer frame without a record silently.
    for (uint32_t frame : producerWithoutRecord(step))
        gone.push_back(frame);
    OrderedJson records = OrderedJson::object();
    std::optional<int64_t> last;
    for (uint32_t frame : frames) {
        if (std::count(gone.begin(), gone.end(), frame) || records.contains(std::to_string(frame)))
            continue;
        auto shutter = step.shutterNs.find(frame);
        int64_t ns;
        if (shutter != step.shutterNs.end()) {
            ns = shutter->second;
        } else {
            ns = last ? laterNs(*last, interval) : earlierNs(step.captureNs, interval);
            estimated.push_back(frame);
        }
        last = ns;
        OrderedJson record;
        record["shutter"] = ns;
        auto own = step.states.find(StatesSource{});
        if (own != step.states.end() && own->second.count(frame))
            record["metadata"] = metadataOf(own->second.at(frame));
        OrderedJson physical = OrderedJson::object();
        for (const auto &[source, states] : step.states)
            if (source.isCamera() && states.count(frame))
                physical[std::to_string(ids.at(source))] = metadataOf(states.at(frame));
        if (!physical.empty())
            record["physical"] = physical;
        records[std::to_string(frame)] = record;
    }
    if (!estimated.empty())
        filled.push_back("shutter times of frames " + frameText(estimated) +
                         " are not in the log: they follow "
                         "the logged frame interval");
    filled.push_back("frames the plug-in never judged carry no metadata; no frame counts as used");
    return records;
}

// The metadata queue with its lists and records, and the sensor-mode queue
// where the log showed frames' modes.
OrderedJson queuesOf(const StepOutcome &step, std::vector<std::string> &filled)
{
    const OrderedJson records = recordsOf(step, filled); // its notes come before the lists'
    // A trace lists a frame once; a log may show a host that listed one twice.
    auto once = [&filled](const std::vector<uint32_t> &list, const char *which) {
        std::vector<uint32_t> kept;
        for (uint32_t frame : list)
            if (std::find(kept.begin(), kept.end(), frame) == kept.end())
                kept.push_back(frame);
        if (kept.size() != list.size())
            filled.push_back(std::string("the logged ") + which + " list names a frame twice: kept once");
        return kept;
    };
    OrderedJson meta;
    meta["id"] = 0;
    meta["type"] = "meta";
    meta["name"] = step.queues.empty() ? "ZSLMetaQ" : step.queues.front().name;
    meta["consumer"] = once(step.consumer, "consumer");
    if (!step.producer.empty())
        meta["producer"] = once(step.producer, "producer");
    meta["frames"] = records;
    OrderedJson queues = OrderedJson::array({meta});
    if (!step.sensorModes.empty()) {
        OrderedJson modes = OrderedJson::object();
        for (const auto &[frame, mode] : step.sensorModes)
            if (mode >= 0)
                modes[std::to_string(frame)] = {{"sensorMode", mode}};
        queues.push_back({{"id", 1}, {"type", "sensorMode"}, {"frames", modes}});
    }
    return queues;
}

} // namespace

size_t requestsToRebuild(const StepOutcome &step)
{
    if (step.requested > 0)
        return step.requested;
    if (!step.csbegin || !step.anchorOffset)
        return 1;
    return static_cast<size_t>(
        std::max<int64_t>(1, *step.anchorOffset + 1 + static_cast<int64_t>(step.consumer.size())));
}

nlohmann::ordered_json traceFromLog(const SessionOutcome &session, const StepOutcome &step)
{
    std::vector<std::string> filled; // what the trace assumes where the log is silent, in order
    OrderedJson trace;
    trace["name"] = "fwkFrame " + std::to_string(step.fwkFrame) + " from " + session.file;
    trace["properties"] = propertiesOf(session, step, filled);
    const OrderedJson queues = queuesOf(step, filled);

    OrderedJson capture;
    capture["label"] = step.label;
    capture["fwkFrame"] = step.fwkFrame;
    capture["at"] = step.captureNs;
    capture["requests"] = OrderedJson::array();
    const size_t requests = requestsToRebuild(step);
    for (size_t i = 0; i < requests; ++i)
        capture["requests"].push_back(requestOf(step));
    if (step.requested == 0)
        filled.push_back(requests == 1 ? std::string("the number of requested frames is not in the log: one")
                                       : "the number of requested frames is not in the log: " +
                                             std::to_string(requests) + ", the fewest that give its begin of 0");

    std::string description = "Read from a device log.";
    for (const std::string &note : filled)
        description += " " + std::string(1, static_cast<char>(std::toupper(note[0]))) + note.substr(1) + ".";
    trace["description"] = description;
    trace["queues"] = queues;
    trace["steps"] = OrderedJson::array({{{step.kind == StepKind::Capture ? "capture" : "select", capture}}});
    return trace;
}

} // namespace zsl::output
