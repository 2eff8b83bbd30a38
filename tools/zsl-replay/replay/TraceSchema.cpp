// The trace format's keys, read into the trace's records.

#include "replay/TraceSchema.h"

#include "outcome/AndroidEnums.h"
#include "outcome/FrameText.h"
#include "replay/Replayer.h"

#include <KoTagTable.h>
#include <ZSLSelectorBase.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <set>
#include <unordered_map>

namespace zsl::replay {

using namespace zsl::outcome;

// Each relative time lands within int64 at every capture moment of the steps.
void TraceSchema::checkRelativeTimes(const TraceSpec &input) const
{
    int64_t last = 0, sum = 0;
    for (const StepSpec &step : input.steps)
        last = std::max(last, step.captureNs.value_or(kDefaultCaptureNs));
    if (!input.steps.empty() && __builtin_add_overflow(latestRelative().first, last, &sum))
        fail(latestRelative().second, "out of range: " + std::to_string(latestRelative().first) +
                                          " ns after the capture moment " + std::to_string(last) +
                                          " is past the largest 64-bit ns time");
}

// A list of distinct frame numbers.
std::vector<uint32_t> TraceSchema::frameList(const json &value, const std::string &place) const
{
    std::vector<uint32_t> frames;
    std::unordered_map<uint32_t, size_t> seen; // frame number to its index
    array(value, place);
    for (size_t i = 0; i < value.size(); ++i) {
        const uint32_t frame = u32(value[i], at(place, i), "a frame number");
        auto first = seen.emplace(frame, i);
        if (!first.second)
            fail(at(place, i), "frame " + std::to_string(frame) + " is listed twice (also at " +
                                   at(place, first.first->second) + ")");
        frames.push_back(frame);
    }
    return frames;
}

int TraceSchema::queueType(const json &value, const std::string &place) const
{
    if (value.is_string()) {
        std::string name = value.get<std::string>();
        if (name == "meta")
            return 1;
        if (name == "sensorMode")
            return 2;
        fail(place, "unknown queue type \"" + name + "\" (expected \"meta\", \"sensorMode\" or an integer)");
    }
    return static_cast<int>(integer(value, place, INT32_MIN, INT32_MAX, "a queue type"));
}

// Each frame's part of the tree is released once read, so that a large
// trace is not held twice, as a tree and as records.
QueueSpec TraceSchema::queue(json &value, size_t index, const std::string &place) const
{
    keys(value, place, {"id", "type", "name", "consumer", "producer", "frames"}, {"id", "type"});
    QueueSpec input;
    input.id = u32(value["id"], at(place, "id"), "a queue id");
    input.type = queueType(value["type"], at(place, "type"));
    input.name = value.contains("name") ? string(value["name"], at(place, "name")) : "queue" + std::to_string(input.id);
    if (value.contains("consumer"))
        input.consumer = frameList(value["consumer"], at(place, "consumer"));
    if (value.contains("producer"))
        input.producer = frameList(value["producer"], at(place, "producer"));
    if (value.contains("frames")) {
        const std::string framesPlace = at(place, "frames");
        json &frames = value["frames"];
        object(frames, framesPlace);
        if (auto parsed = mFrames.find(index); parsed != mFrames.end())
            for (auto &[key, cbor] : parsed->second) {
                part([&, &key = key, &cbor = cbor] {
                    input.frames.push_back(frame(input.type, key, json::from_cbor(cbor), at(framesPlace, key)));
                });
                std::vector<uint8_t>().swap(cbor);
            }
        for (auto it = frames.begin(); it != frames.end(); ++it) {
            part([&] { input.frames.push_back(frame(input.type, it.key(), it.value(), at(framesPlace, it.key()))); });
            it.value() = nullptr;
        }
    }
    // A listed frame without a record has left the queue, a record of an
    // unlisted frame is possible too; both at once look like a typo.
    std::set<uint32_t> listed(input.consumer.begin(), input.consumer.end()), recorded;
    listed.insert(input.producer.begin(), input.producer.end());
    std::vector<uint32_t> unlisted, recordless;
    for (const FrameSpec &frame : input.frames) {
        recorded.insert(frame.frameNum);
        if (!listed.count(frame.frameNum))
            unlisted.push_back(frame.frameNum);
    }
    std::set_difference(listed.begin(), listed.end(), recorded.begin(), recorded.end(), std::back_inserter(recordless));
    if (input.type == kohal::ZSL_QUEUE_TYPE_META && !unlisted.empty() && !recordless.empty())
        mWarnings.push_back(file() + ": at " + place + ": listed without a record: " + frameText(recordless) +
                            "; with a record but not listed: " + frameText(unlisted) + " (a typo?)");
    return input;
}

FrameSpec TraceSchema::frame(int queueType, const std::string &key, const json &value, const std::string &place) const
{
    FrameSpec input;
    input.frameNum = keyNumber(key, place, "a frame number");
    if (queueType == 1) {
        keys(value, place, {"shutter", "metadata", "physical"}, {"shutter"});
        input.shutter = time(value["shutter"], at(place, "shutter"));
        if (value.contains("metadata"))
            input.metadata = metadata(value["metadata"], at(place, "metadata"));
        if (value.contains("physical")) {
            const std::string physicalPlace = at(place, "physical");
            const json &cameras = object(value["physical"], physicalPlace);
            for (auto it = cameras.begin(); it != cameras.end(); ++it) {
                std::string cameraPlace = at(physicalPlace, it.key());
                int camera = static_cast<int>(
                    static_cast<int32_t>(keyNumber(it.key(), cameraPlace, "a camera id", INT32_MIN, INT32_MAX)));
                input.physical.emplace_back(camera, metadata(it.value(), cameraPlace));
            }
        }
    } else if (queueType == 2) {
        keys(value, place, {"sensorMode"}, {"sensorMode"});
        input.sensorMode = static_cast<int32_t>(
            integer(value["sensorMode"], at(place, "sensorMode"), INT32_MIN, INT32_MAX, "a sensor mode"));
    } else {
        keys(value, place, {});
    }
    return input;
}

std::vector<MetaSpec> TraceSchema::requests(const json &value, const std::string &place) const
{
    std::vector<MetaSpec> specs;
    array(value, place);
    for (size_t i = 0; i < value.size(); ++i)
        specs.push_back(metadata(value[i], at(place, i)));
    return specs;
}

ExpectSpec TraceSchema::expect(const json &value, const std::string &place) const
{
    keys(value, place, {"needed", "zsdTs", "anchor", "selection", "taken", "checks"});
    ExpectSpec input;
    if (value.contains("zsdTs"))
        input.zsdTs = time(value["zsdTs"], at(place, "zsdTs"));
    if (value.contains("anchor"))
        input.anchor = value["anchor"].is_null() ? std::optional<uint32_t>()
                                                 : u32(value["anchor"], at(place, "anchor"), "a frame number or null");
    if (value.contains("needed"))
        input.needed = boolean(value["needed"], at(place, "needed"));
    if (value.contains("selection")) {
        const std::string selection = at(place, "selection");
        input.selection.emplace();
        for (auto it = object(value["selection"], selection).begin(); it != value["selection"].end(); ++it) {
            const std::string entry = at(selection, it.key());
            (*input.selection)[keyNumber(it.key(), entry, "a queue id")] = frameList(it.value(), entry);
        }
    }
    if (value.contains("taken"))
        input.taken = frameList(value["taken"], at(place, "taken"));
    if (value.contains("checks")) {
        const std::string checks = at(place, "checks");
        input.checks.emplace();
        for (auto it = object(value["checks"], checks).begin(); it != value["checks"].end(); ++it) {
            const std::string entry = at(checks, it.key());
            keys(it.value(), entry, {"verdict", "reason"}, {"verdict"});
            const json &verdict = array(it.value()["verdict"], at(entry, "verdict"));
            if (verdict.size() != 2)
                fail(at(entry, "verdict"), "expected two booleans: [verdict, flag]");
            ExpectedCheck check;
            check.verdict = {boolean(verdict[0], at(at(entry, "verdict"), 0)),
                             boolean(verdict[1], at(at(entry, "verdict"), 1))};
            if (it.value().contains("reason"))
                check.reason = string(it.value()["reason"], at(entry, "reason"));
            (*input.checks)[keyNumber(it.key(), entry, "a frame number")] = check;
        }
    }
    return input;
}

StepSpec TraceSchema::step(const json &value, const std::string &place) const
{
    object(value, place);
    if (value.size() != 1)
        fail(place, "expected one step: {\"capture\": ...}, {\"select\": ...}, {\"check\": ...} or {\"needed\": ...}");
    const std::string kind = value.begin().key();
    const json &body = value.begin().value();
    const std::string bodyPlace = at(place, kind);
    StepSpec input;
    if (kind == "capture" || kind == "select" || kind == "needed") {
        input.kind = kind == "capture" ? StepKind::Capture : kind == "select" ? StepKind::Select : StepKind::Needed;
        keys(body, bodyPlace, {"label", "fwkFrame", "used", "requests", "logicalId", "at", "expect"}, {"requests"});
        if (body.contains("used"))
            input.used = frameList(body["used"], at(bodyPlace, "used"));
        input.requests = requests(body["requests"], at(bodyPlace, "requests"));
        if (body.contains("logicalId"))
            input.logicalId = u32(body["logicalId"], at(bodyPlace, "logicalId"), "a camera id");
    } else if (kind == "check") {
        input.kind = StepKind::Check;
        keys(body, bodyPlace,
             {"label", "fwkFrame", "frame", "request", "logicalId", "reqtMasterId", "masterRoleId", "AiHLFrameNum",
              "at", "expect"},
             {"frame", "request"});
        input.frame = u32(body["frame"], at(bodyPlace, "frame"), "a frame number");
        input.request = metadata(body["request"], at(bodyPlace, "request"));
        const std::pair<const char *, uint32_t *> ids[] = {{"logicalId", &input.logicalId},
                                                           {"reqtMasterId", &input.reqtMasterId},
                                                           {"masterRoleId", &input.masterRoleId},
                                                           {"AiHLFrameNum", &input.aiHLFrameNum}};
        for (const auto &[name, field] : ids)
            if (body.contains(name))
                *field = u32(body[name], at(bodyPlace, name), std::string("a ") + name);
    } else {
        fail(at(place, kind), "unknown step \"" + kind + "\" (expected capture, select, check or needed)");
    }
    if (body.contains("label"))
        input.label = string(body["label"], at(bodyPlace, "label"));
    if (body.contains("fwkFrame"))
        input.fwkFrame = u32(body["fwkFrame"], at(bodyPlace, "fwkFrame"), "a frame number");
    if (body.contains("at"))
        input.captureNs = integer(body["at"], at(bodyPlace, "at"), 0, std::numeric_limits<int64_t>::max(),
                                  "a capture moment in ns of the boot-time clock");
    if (body.contains("expect"))
        input.expect = expect(body["expect"], at(bodyPlace, "expect"));
    return input;
}

TraceSpec TraceSchema::trace(json &root) const
{
    keys(root, "", {"name", "description", "properties", "log", "staticMetadata", "queues", "steps"},
         {"queues", "steps"});
    TraceSpec input;
    input.file = file();
    input.name = root.contains("name") ? string(root["name"], "/name") : file();
    if (root.contains("description"))
        input.description = string(root["description"], "/description");
    if (root.contains("properties")) {
        const json &properties = object(root["properties"], "/properties");
        static const std::set<std::string> kRead = {"persist.vendor.kohal.selector.pending.mask",
                                                    "ro.vendor.camera3.zsl.default", "ro.vendor.camera3.zsl.project",
                                                    "vendor.debug.camera3.zsl.timestamp"};
        for (auto it = properties.begin(); it != properties.end(); ++it)
            part([&] {
                const json &v = it.value();
                std::string place = at("/properties", it.key());
                if (!kRead.count(it.key()))
                    fail(place, "unknown property \"" + it.key() + "\": the selector reads only " +
                                    "persist.vendor.kohal.selector.pending.mask, ro.vendor.camera3.zsl.default, " +
                                    "ro.vendor.camera3.zsl.project and vendor.debug.camera3.zsl.timestamp");
                if (v.is_string())
                    input.properties.emplace_back(it.key(), v.get<std::string>());
                else if (v.is_number_integer() || v.is_boolean())
                    input.properties.emplace_back(it.key(), v.dump());
                else
                    fail(place, "expected a property value: a string, an integer or a boolean");
            });
    }
    if (root.contains("log")) {
        const json &log = root["log"];
        keys(log, "/log", {"level", "group", "debugMask"});
        if (log.contains("level"))
            input.logLevel = u32(log["level"], "/log/level", "a log level");
        if (log.contains("group"))
            input.logGroup = u32(log["group"], "/log/group", "a log-group mask");
        if (log.contains("debugMask"))
            input.debugMask = u32(log["debugMask"], "/log/debugMask", "a debug mask");
    }
    if (root.contains("staticMetadata")) {
        const json &cameras = object(root["staticMetadata"], "/staticMetadata");
        for (auto it = cameras.begin(); it != cameras.end(); ++it)
            part([&] {
                std::string place = at("/staticMetadata", it.key());
                input.staticMetadata[keyNumber(it.key(), place, "a logical camera id")] = metadata(it.value(), place);
            });
    }
    part([&] {
        json &queues = root["queues"];
        array(queues, "/queues");
        for (size_t i = 0; i < queues.size(); ++i)
            part([&] { input.queues.push_back(queue(queues[i], i, at("/queues", i))); });
    });
    part([&] {
        const json &steps = array(root["steps"], "/steps");
        for (size_t i = 0; i < steps.size(); ++i)
            part([&] { input.steps.push_back(step(steps[i], at("/steps", i))); });
    });
    part([&] { checkRelativeTimes(input); });
    input.warnings = mWarnings;
    if (!errors().empty()) {
        std::string lines;
        for (const std::string &error : errors())
            lines += (lines.empty() ? "" : "\n") + error;
        throw TraceError(lines);
    }
    return input;
}

} // namespace zsl::replay
