#pragma once
// The plug-in's lines of the example captures, as a phone writes them: an
// example trace replayed through the real plug-in, its Android log given a
// process, a thread and times, and written as logcat's threadtime text.

#include "output/LogcatWriter.h"
#include "replay/Replayer.h"
#include "replay/TraceReader.h"

#include <LogRecorder.h>
#include <PluginLoader.h>

#include <cstdint>
#include <string>
#include <vector>

namespace kotest {

// The lines of examples/EXAMPLE.json's capture, as process pid, thread tid
// of a phone logging at `level` (3 debug, 4 info) writes them from startNs,
// a millisecond apart.
inline std::vector<kohost::LogLine> exampleLines(const std::string &example, int pid, int tid, int64_t startNs,
                                                 int level = 3)
{
    zsl::replay::TraceSpec trace =
        zsl::replay::readTraceFile(std::string(ZSL_SOURCE_DIR "/examples/") + example + ".json");
    trace.logLevel = static_cast<uint32_t>(level);
    std::vector<kohost::LogLine> lines = zsl::replay::Replayer(kohost::defaultPluginPath()).run(trace).androidLog;
    for (size_t i = 0; i < lines.size(); ++i) {
        lines[i].pid = pid;
        lines[i].tid = tid;
        lines[i].timeNs = startNs + static_cast<int64_t>(i) * 1000000;
    }
    return lines;
}

inline std::string logText(const std::vector<kohost::LogLine> &lines)
{
    std::string text;
    for (const kohost::LogLine &line : lines)
        text += zsl::output::logcatLine(line) + "\n";
    return text;
}

} // namespace kotest
