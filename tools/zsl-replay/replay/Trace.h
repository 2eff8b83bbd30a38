#pragma once
/*
 * Trace: one replayable capture session as plain records, the way a trace
 * file describes it (docs/trace-format.md): the properties and log gates,
 * the queues with their frames and metadata, and the steps. Times may be
 * relative to a step's capture moment; nothing here is a host object yet.
 */

#include "outcome/StepKind.h"

#include <KoMetadata.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace zsl::replay {

// A time stamp: absolute nanoseconds of the boot-time clock, or an offset
// from the step's capture moment, on which the replay rebases it.
struct TimeValue {
    bool relative = false;
    int64_t ns = 0;

    int64_t at(int64_t captureNs) const { return relative ? captureNs + ns : ns; }
};

struct MetaEntrySpec {
    uint32_t tag = 0;
    uint8_t type = KoMetadata::TYPE_BYTE;
    std::vector<TimeValue> integers; // byte, int32, int64 (times only for int64)
    std::vector<double> reals;       // float, double
    std::vector<KoRational> rationals;
};

struct MetaSpec {
    bool null = false; // the host hands a null metadata pointer
    std::vector<MetaEntrySpec> entries;
};

struct FrameSpec {
    uint32_t frameNum = 0;
    std::optional<TimeValue> shutter; // metadata queue
    MetaSpec metadata;
    std::vector<std::pair<int, MetaSpec>> physical;
    std::optional<int32_t> sensorMode; // sensor-mode queue
};

struct QueueSpec {
    uint32_t id = 0;
    int type = 0;
    std::string name;
    std::vector<uint32_t> consumer;
    std::vector<uint32_t> producer;
    std::vector<FrameSpec> frames;
};

// What a step expects, as its trace states it; absent parts are not
// compared.
struct ExpectedCheck {
    std::pair<bool, bool> verdict;
    std::optional<std::string> reason; // a refusal's reason, as the report words it
};

struct ExpectSpec {
    std::optional<bool> needed;
    std::optional<TimeValue> zsdTs;
    std::optional<std::optional<uint32_t>> anchor;                      // the anchor frame, or none found
    std::optional<std::map<uint32_t, std::vector<uint32_t>>> selection; // by queue id
    std::optional<std::vector<uint32_t>> taken;
    std::optional<std::map<uint32_t, ExpectedCheck>> checks; // every checked frame
};

struct StepSpec {
    outcome::StepKind kind = outcome::StepKind::Capture;
    std::string label;
    uint32_t fwkFrame = 0;
    std::vector<uint32_t> used;
    std::vector<MetaSpec> requests; // capture, select, needed
    uint32_t frame = 0;             // check
    MetaSpec request;               // check
    uint32_t logicalId = 0;
    uint32_t reqtMasterId = 0;
    uint32_t masterRoleId = 0;
    uint32_t aiHLFrameNum = 0;
    std::optional<int64_t> captureNs; // the capture moment, when the trace sets it
    std::optional<ExpectSpec> expect;
};

struct TraceSpec {
    std::string file;
    std::string name;
    std::string description;
    std::vector<std::pair<std::string, std::string>> properties;
    uint32_t logLevel = 7;    // Android log quiet
    uint32_t logGroup = 0x40; // the selector's group on
    uint32_t debugMask = 1;   // system log on: the report reads it
    std::map<uint32_t, MetaSpec> staticMetadata;
    std::vector<QueueSpec> queues;
    std::vector<StepSpec> steps;
    std::vector<std::string> warnings; // what reads well but looks wrong
};

} // namespace zsl::replay
