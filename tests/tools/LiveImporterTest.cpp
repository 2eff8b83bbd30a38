// A log read as it is written says what the same log read whole says: the
// same captures with the same facts, and no warning the whole reading does
// not give; a capture is handed over once complete, by the next call on
// its thread, by a second of the log's own quiet, or by the caller's.

#include "log/LineParser.h"
#include "log/LiveImporter.h"
#include "log/LogImporter.h"
#include "output/LogcatWriter.h"
#include "output/Report.h"
#include "replay/Replayer.h"
#include "replay/TraceReader.h"

#include <PluginLoader.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

using namespace zsl::outcome;
using namespace zsl::log;
using nlohmann::json;

struct Read {
    json steps = json::array(); // every session's steps, in the order handed over
    std::vector<std::string> warnings;
    size_t sessions = 0;
};

void readLines(const std::string &text, const std::function<void(kohost::LogLine &&, uint64_t)> &line)
{
    std::FILE *stream = fmemopen(const_cast<char *>(text.data()), text.size(), "r");
    readDeviceLog(stream, line, [](const std::string &) {});
    std::fclose(stream);
}

Read whole(const std::string &text)
{
    LogImporter importer("test.log");
    readLines(text, [&](kohost::LogLine line, uint64_t number) { importer.add(std::move(line), number); });
    const SessionOutcome session = importer.finish();
    Read read{zsl::output::toJson(session)["steps"], importer.warnings(), 1};
    return read;
}

Read live(const std::string &text)
{
    Read read;
    LiveImporter importer("test.log", [&](SessionOutcome session, const std::vector<std::string> &warnings) {
        json report = zsl::output::toJson(session);
        for (json &step : report["steps"])
            read.steps.push_back(std::move(step));
        read.warnings.insert(read.warnings.end(), warnings.begin(), warnings.end());
        ++read.sessions;
    });
    readLines(text, [&](kohost::LogLine line, uint64_t number) { importer.add(std::move(line), number); });
    importer.finish();
    return read;
}

std::string fileText(const std::string &path)
{
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

// Two replayed captures on two threads of one process, line by line in turn.
std::string interleaved(const char *first, const char *second)
{
    const zsl::replay::Replayer replayer(kohost::defaultPluginPath());
    std::vector<std::string> lines[2];
    int tid = 101;
    for (const char *name : {first, second}) {
        zsl::replay::TraceSpec trace =
            zsl::replay::readTraceFile(std::string(ZSL_SOURCE_DIR "/examples/") + name + ".json");
        trace.logLevel = 3;
        for (kohost::LogLine line : replayer.run(trace).androidLog) {
            line.tid = tid;
            lines[tid == 101 ? 0 : 1].push_back(zsl::output::logcatLine(line));
        }
        tid = 202;
    }
    std::string log;
    for (size_t i = 0; i < std::max(lines[0].size(), lines[1].size()); ++i)
        for (const auto &thread : lines)
            if (i < thread.size())
                log += thread[i] + "\n";
    return log;
}

TEST(LiveImporter, SaysWhatTheWholeLogSays)
{
    const struct {
        const char *name;
        std::string log;
    } cases[] = {
        {"the sample log", fileText(ZSL_SOURCE_DIR "/examples/device.log")},
        {"two threads, one after the other", fileText(ZSL_SOURCE_DIR "/fuzz/log-seeds/two-threads.log")},
        {"two threads interleaved", interleaved("overview", "two-camera-focus")},
        {"a motion capture and a sensor-mode refusal interleaved",
         interleaved("motion-capture", "super-resolution-sensor-mode")},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        ASSERT_FALSE(c.log.empty());
        const Read all = whole(c.log), seen = live(c.log);
        EXPECT_GT(seen.sessions, 1u); // handed over capture by capture, not at the end
        EXPECT_EQ(seen.steps, all.steps) << json::diff(all.steps, seen.steps).dump().substr(0, 1500);
        EXPECT_EQ(seen.warnings, all.warnings);
    }
}

// The lines of a capture on a thread, at a time on the log's clock.
std::vector<kohost::LogLine> captureLines(int tid, int64_t timeNs)
{
    const zsl::replay::Replayer replayer(kohost::defaultPluginPath());
    zsl::replay::TraceSpec trace = zsl::replay::readTraceFile(ZSL_SOURCE_DIR "/examples/overview.json");
    trace.logLevel = 3;
    std::vector<kohost::LogLine> lines;
    for (kohost::LogLine line : replayer.run(trace).androidLog) {
        line.tid = tid;
        line.timeNs = timeNs;
        lines.push_back(std::move(line));
    }
    return lines;
}

TEST(LiveImporter, ACaptureIsCompleteOnceItsThreadIsQuietForMoreThanASecond)
{
    size_t handed = 0;
    LiveImporter importer("test.log", [&](SessionOutcome, const std::vector<std::string> &) { ++handed; });
    uint64_t number = 0;
    for (kohost::LogLine &line : captureLines(101, 1'000'000'000))
        importer.add(std::move(line), ++number);
    EXPECT_EQ(handed, 0u); // the thread may still be checking frames

    // Another thread's call exactly a second later: not yet quiet. (Its
    // selector's configuration line, first, begins no call.)
    importer.add(captureLines(303, 2'000'000'000)[1], ++number);
    EXPECT_EQ(handed, 0u);

    // A third thread's call a second and a nanosecond later, by the log's own clock.
    std::vector<kohost::LogLine> later = captureLines(202, 2'000'000'001);
    importer.add(later[0], ++number);
    EXPECT_EQ(handed, 0u);
    importer.add(later[1], ++number);
    EXPECT_EQ(handed, 1u);

    // Nothing arrives for a second, by the caller's clock.
    for (size_t i = 2; i < later.size(); ++i)
        importer.add(later[i], ++number);
    EXPECT_EQ(handed, 1u);
    importer.idle();
    EXPECT_EQ(handed, 3u);
    importer.finish();
    EXPECT_EQ(handed, 3u); // nothing was held twice
}

} // namespace
