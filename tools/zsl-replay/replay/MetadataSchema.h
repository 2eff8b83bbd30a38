#pragma once
/*
 * MetadataSchema: a trace's metadata (a frame's, a request's, a camera's
 * static metadata) read by the host's tag tables: a tag by its name or hex
 * id, its values of the tag's own type, a state or mode byte also by its
 * Android name, and a tag outside the tables only with its type given.
 * TraceSchema builds on it.
 */

#include "replay/CheckedJson.h"

#include <cstdint>
#include <string>

namespace zsl::replay {

class MetadataSchema : public CheckedJson {
public:
    using CheckedJson::CheckedJson;

    MetaSpec metadata(const json &value, const std::string &place) const;

private:
    MetaEntrySpec entry(const std::string &key, const json &value, const std::string &place) const;
    // A byte, or for a state or mode tag its Android name ("SEARCHING").
    int64_t enumOrByte(const json &value, const std::string &place, uint32_t tag, const std::string &tagText) const;
};

} // namespace zsl::replay
