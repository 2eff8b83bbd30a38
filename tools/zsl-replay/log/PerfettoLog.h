#pragma once
/*
 * PerfettoLog: the plug-in's lines from a Perfetto trace recorded on the
 * device with the android.log data source. Each log entry is one line per
 * line of its message, numbered as `logcat` would print the trace's whole
 * log (every tag, in time order); its wall-clock time is given as logcat
 * -v year,zone,UTC prints it, since a trace knows both, and its time key
 * is carried to the trace's boot-time timeline through the trace's clock
 * snapshots. Only the plug-in's entries are kept until the end, where all
 * entries are put in time order.
 */

#include "perfetto/TraceFile.h"

#include <LogRecorder.h>

#include <cstdint>
#include <functional>
#include <string>

namespace zsl::log {

// Hands each plug-in line of the trace with its line number to `line`;
// false when the trace holds no android.log packet. Throws outcome::Error
// when the trace is cut or damaged.
bool readPerfettoLog(const perfetto::TraceBytes &read, const std::string &what,
                     const std::function<void(kohost::LogLine &&, uint64_t)> &line);

// "2026-11-23 18:40:05.077 +0000": a wall-clock time in ns, in UTC.
std::string utcTimeText(int64_t realtimeNs);

} // namespace zsl::log
