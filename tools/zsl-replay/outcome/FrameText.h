#pragma once
// A list of frame numbers as the report, the timeline, the expectations and
// the reader's warnings print it: "44 45 46", or `none` for an empty list;
// and whose metadata a row of states is: "" for the frame's own, "cam 2" for
// a physical camera's, "cam ?2" for the second camera of a record whose id
// the log never showed.

#include "outcome/Outcome.h"

#include <cstdint>
#include <string>
#include <vector>

namespace zsl::outcome {

inline std::string frameText(const std::vector<uint32_t> &frames, const std::string &none = "none")
{
    std::string text;
    for (uint32_t frame : frames)
        text += (text.empty() ? "" : " ") + std::to_string(frame);
    return text.empty() ? none : text;
}

inline std::string statesSourceText(const StatesSource &source)
{
    switch (source.kind) {
    case StatesSource::Kind::Own:
        return "";
    case StatesSource::Kind::Camera:
        return "cam " + std::to_string(source.id);
    case StatesSource::Kind::UnknownCamera:
        return "cam ?" + std::to_string(source.id);
    }
    return "";
}

} // namespace zsl::outcome
