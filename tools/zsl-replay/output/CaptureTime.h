#pragma once
/*
 * CaptureTime: a capture's time as ISO 8601, for a table sorted across a
 * fleet, made only of what the log and its bug report state. The time is
 * the log's as printed; its year is the line's own, else the bug report's
 * (the year before for a month after the report's: the log crossed a new
 * year); its offset is the line's own (logcat -v zone, a Perfetto log, epoch
 * seconds), else none is written: an ISO local time, the device's zone not
 * being in the log. Without a year, or without a wall-clock time at all
 * (monotonic, a replay), there is no such time: "".
 */

#include <string>
#include <string_view>

namespace zsl::output {

// `logTime` as the log prints it; `reportTime` dumpstate's
// "YYYY-MM-DD HH:MM:SS" ("" for a plain log).
std::string isoCaptureTime(std::string_view logTime, std::string_view reportTime);

} // namespace zsl::output
