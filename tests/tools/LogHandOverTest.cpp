// Captures handed over while a log is read: each one the same, in the same
// order and with the same warnings, as when they are kept to the end; and
// handed over before the end where the log lets that be decided early, at
// info level too once the look-ahead has passed without a debug line.

#include "log/LineParser.h"
#include "log/LogImporter.h"
#include "output/LogcatWriter.h"
#include "output/Report.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

using namespace zsl::outcome;

// The sample log's plug-in lines, three times over, a minute apart.
std::vector<kohost::LogLine> sampleLines(bool withDebug)
{
    std::vector<kohost::LogLine> once;
    std::FILE *sample = std::fopen(ZSL_SOURCE_DIR "/examples/device.log", "r");
    zsl::log::readDeviceLog(
        sample, [&](kohost::LogLine line, uint64_t) { once.push_back(std::move(line)); }, [](const std::string &) {});
    std::fclose(sample);
    std::vector<kohost::LogLine> lines;
    for (int64_t round = 0; round < 3; ++round)
        for (kohost::LogLine line : once)
            if (withDebug || line.level != "D") {
                line.timeNs += round * 60000000000;
                lines.push_back(std::move(line));
            }
    return lines;
}

struct Imported {
    SessionOutcome session;
    std::vector<std::string> warnings;
    size_t beforeTheEnd = 0; // captures handed over before the last line was read
};

Imported import(const std::string &log, bool handOver)
{
    Imported out;
    size_t read = 0, lines = 0;
    for (char c : log)
        lines += c == '\n';
    zsl::log::LogImporter importer("test.log", !handOver ? zsl::log::LogImporter::HandOver()
                                                         : [&](SessionOutcome &, StepOutcome &step) {
                                                               out.beforeTheEnd += read < lines;
                                                               out.session.steps.push_back(step);
                                                           });
    std::FILE *stream = fmemopen(const_cast<char *>(log.data()), log.size(), "r");
    zsl::log::readDeviceLog(
        stream,
        [&](kohost::LogLine line, uint64_t number) {
            read = number;
            importer.add(std::move(line), number);
        },
        [](const std::string &) {});
    std::fclose(stream);
    SessionOutcome rest = importer.finish();
    EXPECT_TRUE(!handOver || rest.steps.empty());
    rest.steps.insert(rest.steps.begin(), out.session.steps.begin(), out.session.steps.end());
    out.session = std::move(rest);
    out.warnings = importer.warnings();
    return out;
}

struct HandOverCase {
    const char *name;
    const char *format;
    bool debug;
    bool early; // some captures can leave before the end (not without thread ids)
};

class HandOver : public testing::TestWithParam<HandOverCase> {};

TEST_P(HandOver, SameCapturesAsKeptToTheEnd)
{
    std::string log;
    for (const kohost::LogLine &line : sampleLines(GetParam().debug))
        log += zsl::output::logcatLine(line, GetParam().format) + "\n";
    const Imported kept = import(log, false), handed = import(log, true);
    ASSERT_EQ(handed.session.steps.size(), kept.session.steps.size());
    EXPECT_EQ(zsl::output::toJson(handed.session).dump(1), zsl::output::toJson(kept.session).dump(1));
    // Every field of every line, also those the JSON leaves out (a capture
    // waiting for the log's end keeps its lines packed).
    auto fields = [](const SessionOutcome &session) {
        std::string all;
        for (const StepOutcome &step : session.steps)
            for (const kohost::LogLine &line : step.log)
                all += std::to_string(static_cast<int>(line.output)) + "|" + line.level + "|" + line.group + "|" +
                       line.fileName + "|" + std::to_string(line.line) + "|" + line.function + "|" + line.text + "|" +
                       std::to_string(line.timeNs) + "|" + std::to_string(line.pid) + "|" +
                       std::to_string(line.tid) + "|" + line.timeText + "|" + std::to_string(line.logLine) + "|" +
                       std::to_string(line.message) + "\n";
        return all;
    };
    EXPECT_EQ(fields(handed.session), fields(kept.session));
    EXPECT_EQ(handed.session.description, kept.session.description);
    EXPECT_EQ(handed.warnings, kept.warnings);
    if (GetParam().early)
        EXPECT_GT(handed.beforeTheEnd, 0u);
    else // without thread ids, which captures' lines mix is told at the end
        EXPECT_EQ(handed.beforeTheEnd, 0u);
}

INSTANTIATE_TEST_SUITE_P(Logs, HandOver,
                         testing::Values(HandOverCase{"threadtimeDebug", "threadtime", true, true},
                                         HandOverCase{"threadtimeInfo", "threadtime", false, true},
                                         HandOverCase{"briefDebug", "brief", true, false},
                                         HandOverCase{"briefInfo", "brief", false, false},
                                         HandOverCase{"processDebug", "process", true, false},
                                         HandOverCase{"longDebug", "long", true, true}),
                         [](const testing::TestParamInfo<HandOverCase> &info) { return info.param.name; });

TEST(HandOverLevel, AnInfoLevelProcessIsDecidedWithinTheLookAheadAndALaterDebugLineIsSaid)
{
    // Twelve captures at info level, then the same at debug level (the host
    // lowered its log level): the first are read as info-level and handed
    // over long before the end; a warning names the change; the later ones
    // are read as debug-level.
    std::string log;
    for (const kohost::LogLine &line : sampleLines(false))
        log += zsl::output::logcatLine(line, "threadtime") + "\n";
    std::vector<kohost::LogLine> later = sampleLines(true);
    for (kohost::LogLine &line : later)
        line.timeNs += 600000000000;
    for (const kohost::LogLine &line : later)
        log += zsl::output::logcatLine(line, "threadtime") + "\n";
    const Imported handed = import(log, true);
    ASSERT_EQ(handed.session.steps.size(), 24u);
    EXPECT_GT(handed.beforeTheEnd, 12u);
    size_t infoRead = 0;
    for (size_t i = 0; i < handed.session.steps.size(); ++i)
        infoRead += !handed.session.steps[i].debugLines;
    EXPECT_EQ(infoRead, 12u);
    EXPECT_FALSE(handed.session.steps.front().debugLines);
    EXPECT_TRUE(handed.session.steps.back().debugLines);
    size_t said = 0;
    for (const std::string &warning : handed.warnings)
        said += warning.find("a process taken as info-level writes debug lines") != std::string::npos;
    EXPECT_EQ(said, 1u);
}

} // namespace
