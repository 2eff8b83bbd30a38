#pragma once
/*
 * BenchLogs: logs shaped like a phone's logcat, for the reading benchmarks
 * (scripts/bench-logs and the reader's Google Benchmark): many tags,
 * lengths and processes, every line rendered by liblog's formatter, with
 * the plug-in's lines in whole captures on two threads, at debug level or
 * (as phones in the field log) at info level.
 */

#include <cstdint>
#include <cstdio>

namespace zsl::bench {

enum class Level { Debug, Info };
// Other apps' messages: 40 to 400 bytes, or 10 to 160 (most of a real
// phone's lines are short, and a reader's cost per line shows more).
enum class Lines { Long, Short };

// Other apps' lines with the plug-in's making `percent` % of the lines,
// until the log holds `bytes`.
void writeMixedLog(std::FILE *out, double percent, uint64_t bytes, Level level = Level::Debug,
                   Lines lines = Lines::Long);
// The plug-in's lines alone: `captures` captures, those of examples/device.log
// or, given `sample`, those of another log of the plug-in's (a replay's).
void writePluginLog(std::FILE *out, long captures, Level level = Level::Debug, const char *sample = nullptr);

} // namespace zsl::bench
