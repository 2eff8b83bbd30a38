#pragma once
// A list of frame numbers as the report, the timeline, the expectations and
// the reader's warnings print it: "44 45 46", or `none` for an empty list;
// and whose metadata a row of states is: "" for the frame's own, "cam 2" for
// a physical camera's, "cam ?2" for the second camera of a record whose id
// the log never showed.

#include "outcome/Outcome.h"

#include <charconv>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace zsl::outcome {

inline std::string frameText(const std::vector<uint32_t> &frames, const std::string &none = "none")
{
    if (frames.empty())
        return none;
    // Each number written in place: every capture's report and row has a few lists.
    std::string text;
    text.reserve(frames.size() * 4);
    char digits[std::numeric_limits<uint32_t>::digits10 + 1];
    for (uint32_t frame : frames) {
        if (!text.empty())
            text += ' ';
        text.append(digits, std::to_chars(digits, digits + sizeof(digits), frame).ptr);
    }
    return text;
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
