// Fuzzes the device-log reader: any bytes as a phone's log, a bug report,
// its zip or a gzip file (the seeds hold each). Each capture
// rebuilt from it is reported as text, JSON, SVG and Perfetto, and written as
// a trace, which must read back as a valid trace: what the reader makes of a
// log is never a trace zsl-replay itself would refuse.

#include <LogImporter.h>
#include <LogInput.h>
#include <Perfetto.h>
#include <Report.h>
#include <Timeline.h>
#include <TraceReader.h>
#include <TraceWriter.h>

#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    // In memory, under a path: libzip opens a zip by its name.
    const int fd = memfd_create("fuzz-log", 0);
    if (fd < 0 || write(fd, data, size) != static_cast<ssize_t>(size))
        std::abort();
    replay::LogImporter importer("fuzz.log");
    replay::LogOrigin origin;
    replay::readLogInput(
        "/proc/self/fd/" + std::to_string(fd),
        [&](kohost::LogLine line, uint64_t number) { importer.add(std::move(line), number); },
        [&](const std::string &problem) { importer.problem(problem); }, origin);
    close(fd);
    const replay::SessionOutcome session = importer.finish();
    std::ostringstream out;
    replay::writeText(out, session, true);
    // As zsl-replay writes JSON: a log's bytes that are not UTF-8 become U+FFFD.
    constexpr auto replace = nlohmann::json::error_handler_t::replace;
    out << replay::toJson(session).dump(-1, ' ', false, replace) << replay::drawTimeline({session})
        << replay::perfettoTrace({session}).dump(-1, ' ', false, replace);
    for (const replay::StepOutcome &step : session.steps) {
        if (!step.selectRan)
            continue;
        const std::string trace = replay::traceFromLog(session, step).dump(-1, ' ', false, replace);
        try {
            replay::parseTrace(trace, "from-log.json");
        } catch (const replay::TraceError &error) {
            std::fprintf(stderr, "a trace written from a log does not read back: %s\n%s\n", error.what(), trace.c_str());
            std::abort();
        }
    }
    return 0;
}
