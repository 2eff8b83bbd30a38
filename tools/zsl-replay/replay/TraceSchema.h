#pragma once
/*
 * TraceSchema: a parsed trace document to the records of Trace.h, checked
 * against the trace format key by key (docs/trace-format.md): the properties
 * the selector reads, the log gates, the static metadata, the queues with
 * their frames and the steps with their expectations; metadata as
 * MetadataSchema reads it. Reading goes on past a bad part; trace() throws
 * one TraceError with every error kept, a line each.
 */

#include "replay/MetadataSchema.h"

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace zsl::replay {

// The frames of each queue (by its index), taken out of the tree while it is
// parsed: each frame's object as CBOR, a fraction of its tree's size, read
// back only when its queue is read.
using ParsedFrames = std::map<size_t, std::vector<std::pair<std::string, std::vector<uint8_t>>>>;

class TraceSchema : public MetadataSchema {
public:
    TraceSchema(std::string file, ParsedFrames frames) : MetadataSchema(std::move(file)), mFrames(std::move(frames)) {}

    TraceSpec trace(json &root) const;

private:
    void checkRelativeTimes(const TraceSpec &input) const;
    std::vector<uint32_t> frameList(const json &value, const std::string &place) const;
    int queueType(const json &value, const std::string &place) const;
    QueueSpec queue(json &value, size_t index, const std::string &place) const;
    FrameSpec frame(int queueType, const std::string &key, const json &value, const std::string &place) const;
    std::vector<MetaSpec> requests(const json &value, const std::string &place) const;
    ExpectSpec expect(const json &value, const std::string &place) const;
    StepSpec step(const json &value, const std::string &place) const;

    mutable ParsedFrames mFrames;
    mutable std::vector<std::string> mWarnings;
};

} // namespace zsl::replay
