// Fuzzes the device-log reader: any bytes as a phone's log. Each capture
// rebuilt from it is reported as text, JSON, SVG and Perfetto, and written as
// a trace, which must read back as a valid trace: what the reader makes of a
// log is never a trace zsl-replay itself would refuse.

#include <DeviceLog.h>
#include <LogImporter.h>
#include <Perfetto.h>
#include <Report.h>
#include <Timeline.h>
#include <TraceReader.h>
#include <TraceWriter.h>

#include <cstdio>
#include <cstdlib>
#include <sstream>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::FILE *stream = fmemopen(const_cast<uint8_t *>(data), size, "r");
    if (!stream)
        return 0; // fmemopen refuses an empty buffer
    replay::LogImporter importer("fuzz.log");
    replay::readDeviceLog(
        stream, [&](kohost::LogLine line, uint64_t number) { importer.add(std::move(line), number); },
        [&](const std::string &problem) { importer.problem(problem); });
    std::fclose(stream);
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
