#pragma once
/*
 * DeviceLog: the plug-in's lines as a device's log shows them, both ways.
 * Writing: a line as `adb logcat -v threadtime` prints it. Reading: a log
 * as engineers have it (threadtime with or without year and uid columns,
 * monotonic, brief and time formats, a whole bug report, the host's
 * system-log lines on standard error), read as a stream in large blocks;
 * a line naming the tag in any other shape is counted as a problem; only the plug-in's
 * lines (tag "KoAlgoEngine", or the system log's "[ZSL] ") are kept, every
 * other line is passed over at the cost of one search.
 */

#include <LogRecorder.h>

#include <cstdint>
#include <cstdio>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace replay {

// "MM-DD HH:MM:SS.mmm  PID  TID L KoAlgoEngine: group file:line function()text"
// with the time on the line's own clock (timeNs since the epoch).
std::string threadtimeLine(const kohost::LogLine &line);

// One line of a device log read back: the plug-in's line with its time
// (nanoseconds, only for ordering and spacing: a logcat's clock is the
// wall clock without a year), process and thread; nullopt for any other line.
std::optional<kohost::LogLine> readDeviceLogLine(std::string_view text);

// Reads a whole log from a stream, block by block, and hands each of the
// plug-in's lines with its line number to `line`, and each problem of the
// log itself (a line cut by the end, a line too long to be a log line) to
// `problem`. Memory stays one block and one line, whatever the log's size.
// False when the stream cannot be read.
bool readDeviceLog(std::FILE *stream, const std::function<void(kohost::LogLine, uint64_t)> &line,
                   const std::function<void(const std::string &)> &problem);

} // namespace replay
