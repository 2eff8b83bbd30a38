#pragma once
/*
 * BenchLogs: logs shaped like a phone's logcat, for the reading benchmarks
 * (scripts/bench-logs and the reader's Google Benchmark): many tags,
 * lengths and processes, every line rendered by liblog's formatter, with
 * the plug-in's lines in whole captures at debug level on two threads.
 */

#include <cstdint>
#include <cstdio>

namespace zsl::bench {

// Other apps' lines with the plug-in's making `percent` % of the lines,
// until the log holds `bytes`.
void writeMixedLog(std::FILE *out, double percent, uint64_t bytes);
// The plug-in's lines alone: `captures` captures.
void writePluginLog(std::FILE *out, long captures);

} // namespace zsl::bench
