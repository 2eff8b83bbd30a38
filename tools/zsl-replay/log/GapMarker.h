#pragma once
/*
 * GapMarker: logd's own line where it dropped lines under load. Older
 * releases print it under the tag "chatty": "uid=1047(cameraserver)
 * CameraThread expire 5 lines" (lines of that process dropped) or "... identical
 * 12 lines" (repeats of a line folded into one). Either way lines of the
 * process are not in the log, and a capture they fall in is not whole.
 * Read from any of logcat's formats; the process is the line's own where
 * the format shows it.
 */

#include <optional>
#include <string_view>

namespace zsl::log {

// The process id of a gap marker (outcome::kUnknownId where the format
// shows none), or nothing for any other line.
std::optional<int> readGapMarker(std::string_view text);

// A word a gap marker holds, for the line filter's first look.
constexpr std::string_view kGapTag = "chatty";

} // namespace zsl::log
