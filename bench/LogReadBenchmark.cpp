// Reading device logs shaped like a phone's (BenchLogs): the plug-in's
// lines at 1%, 3% and 10% of a ZSL_LOG_BENCH_MB log (default 200 MB), and
// 16,000 captures of the plug-in's lines alone; each read on one thread,
// and read ahead on two, into captures handed over as they complete.
// Reports bytes per second, the captures found and the process's peak
// memory.

#include "BenchLogs.h"
#include "log/LogImporter.h"
#include "log/LogInput.h"
#include "log/ReadAhead.h"

#include <benchmark/benchmark.h>

#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <string>

using namespace zsl::outcome;
using namespace zsl::log;

namespace {

// Each log written once per run, to a temporary file removed at exit.
const std::string &logFile(long shape)
{
    static std::map<long, std::string> made;
    if (auto found = made.find(shape); found != made.end())
        return found->second;
    const std::string path = std::string(std::getenv("TMPDIR") ? std::getenv("TMPDIR") : "/tmp") +
                             "/zsl-log-benchmark-" + std::to_string(getpid()) + "-" + std::to_string(shape) + ".log";
    std::FILE *out = std::fopen(path.c_str(), "wb");
    const uint64_t megabytes = std::getenv("ZSL_LOG_BENCH_MB") ? std::strtoull(std::getenv("ZSL_LOG_BENCH_MB"), nullptr, 10) : 200;
    if (shape == 0)
        zsl::bench::writePluginLog(out, 16000);
    else
        zsl::bench::writeMixedLog(out, static_cast<double>(shape), megabytes << 20);
    std::fclose(out);
    static const bool cleanup = [] {
        std::atexit([] {
            for (const auto &[key, file] : made)
                std::remove(file.c_str());
        });
        return true;
    }();
    (void)cleanup;
    return made[shape] = path;
}

// state.range(0): the plug-in's percent of the lines, 0 for its lines alone;
// state.range(1): 1 to read ahead.
void BM_ReadLog(benchmark::State &state)
{
    const std::string &path = logFile(state.range(0));
    size_t captures = 0;
    for (auto _ : state) {
        captures = 0;
        LogImporter importer(path, [&](SessionOutcome &, StepOutcome &) { ++captures; });
        LogOrigin origin;
        const auto line = [&](kohost::LogLine read, uint64_t number) { importer.add(std::move(read), number); };
        const auto problem = [](const std::string &) {};
        if (state.range(1))
            readLogInputAhead(path, path, line, problem, origin);
        else
            readLogInput(path, path, line, problem, origin);
        captures += importer.finish().steps.size();
    }
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    std::FILE *file = std::fopen(path.c_str(), "rb");
    std::fseek(file, 0, SEEK_END);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * std::ftell(file));
    std::fclose(file);
    state.counters["captures"] = static_cast<double>(captures);
    state.counters["peakMB"] = static_cast<double>(usage.ru_maxrss) / 1024.0;
}
BENCHMARK(BM_ReadLog)
    ->ArgNames({"percent", "ahead"})
    ->ArgsProduct({{1, 3, 10, 0}, {0, 1}})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime() // reading ahead works on two threads
    ->Iterations(3);

} // namespace

BENCHMARK_MAIN();
