#pragma once
// A list of frame numbers as the report, the timeline, the expectations and
// the reader's warnings print it: "44 45 46", or `none` for an empty list.

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

} // namespace zsl::outcome
