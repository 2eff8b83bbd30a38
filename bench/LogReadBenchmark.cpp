// Reading a device log the size of a bug report's logcat: a threadtime log
// (ZSL_LOG_BENCH_MB, default 200 MB) in which 1% of the lines are the
// plug-in's, the captures of examples/device.log over and over. Reports the
// bytes read per second on one core and the process's peak memory.

#include "log/LineParser.h"
#include "output/LogcatWriter.h"
#include "log/LogImporter.h"

#include <benchmark/benchmark.h>

#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

using namespace zsl::outcome;
using namespace zsl::log;

namespace {

// The plug-in's lines of the sample log, and a line of another tag.
std::vector<std::string> pluginLines()
{
    std::ifstream sample(ZSL_SAMPLE_LOG);
    std::vector<std::string> lines;
    for (std::string line; std::getline(sample, line);)
        if (line.find(" KoAlgoEngine: ") != std::string::npos)
            lines.push_back(line);
    return lines;
}

// Writes the log once, line by line, so that making it needs no memory either.
std::string makeLog(size_t bytes)
{
    const std::string path = std::string(std::getenv("TMPDIR") ? std::getenv("TMPDIR") : "/tmp") +
                             "/zsl-log-benchmark-" + std::to_string(getpid()) + ".log";
    const std::vector<std::string> ours = pluginLines();
    const std::string other =
        "11-23 18:40:05.077  4711  4722 D Camera3-Device: processCaptureResult: frame 1099: result received, "
        "buffers 2";
    std::ofstream out(path);
    size_t written = 0;
    for (size_t i = 0; written < bytes; ++i) {
        const std::string &line = i % 100 == 99 ? ours[(i / 100) % ours.size()] : other;
        out << line << '\n';
        written += line.size() + 1;
    }
    return path;
}

void BM_ReadThreadtimeLog(benchmark::State &state)
{
    const size_t megabytes = std::getenv("ZSL_LOG_BENCH_MB") ? std::strtoul(std::getenv("ZSL_LOG_BENCH_MB"), nullptr, 10) : 200;
    const std::string path = makeLog(megabytes << 20);
    size_t bytes = 0, captures = 0;
    for (auto _ : state) {
        std::FILE *stream = std::fopen(path.c_str(), "rb");
        LogImporter importer(path);
        readDeviceLog(
            stream, [&](kohost::LogLine line, uint64_t number) { importer.add(std::move(line), number); },
            [](const std::string &) {});
        bytes += static_cast<size_t>(std::ftell(stream));
        std::fclose(stream);
        captures = importer.finish().steps.size();
    }
    std::remove(path.c_str());
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    state.SetBytesProcessed(static_cast<int64_t>(bytes));
    state.counters["captures"] = static_cast<double>(captures);
    state.counters["peakMB"] = static_cast<double>(usage.ru_maxrss) / 1024.0;
}
BENCHMARK(BM_ReadThreadtimeLog)->Unit(benchmark::kMillisecond)->Iterations(3);

} // namespace

BENCHMARK_MAIN();
