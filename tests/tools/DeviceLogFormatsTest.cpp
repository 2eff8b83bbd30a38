// The shapes a device's log comes in: every format and modifier of logcat
// (rendered by liblog's own formatter), other tags' lines and other shapes,
// a folder, a missing file and bytes that are not UTF-8 given as a log, and
// the Perfetto export of a replay and a log checked against the Trace Event
// Format's rules; logcat's times, field by field.

#include "ReplayCli.h"

#include "log/LineParser.h"
#include "log/LogcatFormats.h"
#include "output/LogcatWriter.h"
#include "output/Perfetto.h"
#include <PluginLoader.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <optional>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace zsl::outcome;
using namespace zsl::log;
using namespace zsl::output;
using kotest::Outcome;
using kotest::TempFile;
using nlohmann::json;

// Every format and modifier of logcat, rendered by liblog's own formatter:
// the plug-in's lines are found with their text, time, process and thread
// where the format shows them, and another tag's lines are not.
struct FormatCase {
    const char *words;  // logcat -v words
    bool pid, tid;      // shown by the format
    int64_t fractionNs; // of the time stamp, -1 where the format has none
    bool uidName = false; // the uid column as a device prints it: a user name
};

class DeviceLogFormats : public testing::TestWithParam<FormatCase> {};

TEST_P(DeviceLogFormats, ThePluginsLinesAreFound)
{
    const FormatCase &c = GetParam();
    kohost::LogLine ours = kohost::parseAndroidLine(
        "I", "ZSL ZSLSelectorDefault.cpp:376 selectZSLFrames()[ZSLSelector] fwkFrame:9 zsdTs:99900000000 curTime:100000000000");
    ours.timeNs = 1795000000123456789;
    ours.pid = 1187;
    ours.tid = 1301;
    kohost::LogLine debug = kohost::parseAndroidLine("D", "ZSL ZSLSelectorDefault.cpp:213 isQualify()hf OK");
    debug.timeNs = ours.timeNs + 1000000;
    debug.pid = 1187;
    debug.tid = 1302;
    std::string log;
    for (const kohost::LogLine &line : {ours, debug}) {
        std::string text = logcatLine(line, c.words);
        if (c.uidName) // liblog on Linux prints the uid as a number
            text.replace(text.find("    0"), 5, " root");
        log += text + "\n";
        kohost::LogLine other = line;
        other.text = "other app";
        log += std::regex_replace(logcatLine(other, c.words), std::regex("KoAlgoEngine"), "CameraService") + "\n";
    }
    std::vector<std::pair<kohost::LogLine, uint64_t>> read;
    std::vector<std::string> problems;
    std::FILE *stream = fmemopen(log.data(), log.size(), "r");
    ASSERT_NO_THROW(readDeviceLog(stream, [&](kohost::LogLine line, uint64_t number) { read.emplace_back(line, number); },
                              [&](const std::string &problem) { problems.push_back(problem); }));
    std::fclose(stream);
    EXPECT_TRUE(problems.empty()) << problems.front() << "\n" << log;
    ASSERT_EQ(read.size(), 2u) << log;
    for (size_t i = 0; i < 2; ++i) {
        const kohost::LogLine &want = i == 0 ? ours : debug;
        const kohost::LogLine &got = read[i].first;
        EXPECT_EQ(got.text, want.text) << log;
        EXPECT_EQ(got.function, want.function);
        EXPECT_EQ(got.fileName, want.fileName);
        EXPECT_EQ(got.line, want.line);
        EXPECT_EQ(got.level, want.level);
        EXPECT_EQ(got.pid, c.pid ? want.pid : kUnknownId);
        EXPECT_EQ(got.tid, c.tid ? want.tid : kUnknownId);
        if (c.fractionNs >= 0) {
            EXPECT_EQ(got.timeNs % 1000000000, (c.fractionNs + 1000000 * int64_t(i)) % 1000000000) << log;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Liblog, DeviceLogFormats,
    testing::Values(FormatCase{"threadtime", true, true, 123000000}, FormatCase{"long", true, true, 123000000},
                    FormatCase{"thread", true, true, -1}, FormatCase{"time", true, false, 123000000},
                    FormatCase{"brief", true, false, -1}, FormatCase{"process", true, false, -1},
                    FormatCase{"tag", false, false, -1}, FormatCase{"raw", false, false, -1},
                    FormatCase{"threadtime,color", true, true, 123000000}, FormatCase{"long,color", true, true, 123000000},
                    FormatCase{"process,color", true, false, -1}, FormatCase{"raw,color", false, false, -1},
                    FormatCase{"threadtime,usec", true, true, 123456000}, FormatCase{"time,nsec", true, false, 123456789},
                    FormatCase{"long,nsec", true, true, 123456789}, FormatCase{"threadtime,printable", true, true, 123000000},
                    FormatCase{"threadtime,year", true, true, 123000000}, FormatCase{"threadtime,zone", true, true, 123000000},
                    FormatCase{"threadtime,epoch", true, true, 123000000}, FormatCase{"time,monotonic", true, false, 123000000},
                    FormatCase{"threadtime,uid", true, true, 123000000}, FormatCase{"threadtime,uid", true, true, 123000000, true},
                    FormatCase{"brief,uid", true, false, -1}, FormatCase{"brief,uid", true, false, -1, true},
                    FormatCase{"thread,uid", true, true, -1}, FormatCase{"process,uid", true, false, -1},
                    FormatCase{"long,uid,zone,year,usec", true, true, 123456000},
                    FormatCase{"threadtime,uid,zone,year,color,descriptive", true, true, 123000000, true},
                    FormatCase{"time,epoch,usec,uid,printable", true, false, 123456000}),
    [](const testing::TestParamInfo<FormatCase> &info) {
        std::string name = info.param.words;
        std::replace(name.begin(), name.end(), ',', '_');
        return name + (info.param.uidName ? "_uidName" : "");
    });

#define MESSAGE "ZSL ZSLSelectorDefault.cpp:353 selectZSLFrames()[ZSLSelector] fwkFrame:9 zsdTs:99900000000 curTime:100000000000"

// Lines no formatter here writes: the host's system log, a CRLF file, a
// bug report's long uid name; and lines that are not the plug-in's.
TEST(DeviceLogLines, OtherShapesAndOtherTags)
{
    for (const char *line : {"[ZSL] I ZSLSelectorDefault.cpp:353 selectZSLFrames() [ZSLSelector] fwkFrame:9 "
                             "zsdTs:99900000000 curTime:100000000000",
                             "11-23 18:46:29.123  1234  1240 I KoAlgoEngine: " MESSAGE "\r",
                             "11-23 18:46:29.123 cameraserver  1234  1240 I KoAlgoEngine: " MESSAGE}) {
        const auto read = parseLogLine(line);
        ASSERT_TRUE(read.has_value()) << line;
        EXPECT_EQ(read->text, "[ZSLSelector] fwkFrame:9 zsdTs:99900000000 curTime:100000000000");
        EXPECT_EQ(read->timeText, line[0] == '[' ? "" : "11-23 18:46:29.123") << line; // as printed, no blank
    }
    for (const char *line : {"11-23 18:46:29.123  1234  1240 I CameraService: " MESSAGE,
                             "11-23 18:46:29.123  1234  1240 I KoAlgoEngineX: " MESSAGE,
                             "I( 1187: 1301) ZSL a.cpp:1 f()not a message of the plug-in",
                             "------ SYSTEM LOG (logcat -v threadtime -v printable -v uid -d *:v) ------",
                             "--------- beginning of main", "KoAlgoEngine", "", "[ZSL]", "[ ]",
                             "11-23 18:46:29.123 KoAlgoEngine: x",
                             // Another group's system-log line, in the same shape.
                             "[CAM] I ZSLSelectorDefault.cpp:353 selectZSLFrames() [ZSLSelector] fwkFrame:9 "
                             "zsdTs:99900000000 curTime:100000000000",
                             // A long header without its blank after the bracket.
                             "[11-23 18:46:29.123  1187: 1301 I/KoAlgoEngine ]"})
        EXPECT_FALSE(parseLogLine(line).has_value()) << line;
}

// A long entry whose closing blank line is lost (a log cut and joined, two
// formats in one file): a line with a header of its own (long's, threadtime's,
// time's) is not the entry's message, but itself, with its own process and level.
TEST(DeviceLogLines, ALongEntryEndsAtALineWithAHeaderOfItsOwn)
{
    const char *lines[] = {
        "[ 01-01 00:01:40.000000 15995:15995 I/KoAlgoEngine ]",
        "ZSL ZSLSelectorDefault.cpp:376 selectZSLFrames()[ZSLSelector] fwkFrame:100 zsdTs:99900000000 "
        "curTime:100000000000",
        "[ 01-01 00:01:41.000000 15995:15996 D/KoAlgoEngine ]",
        "ZSL ZSLSelectorDefault.cpp:273 isSelectorNeeded()[ZSLSelector] ZSLSelectorDefault isNeeded 1",
        "01-01 00:01:40.000 12314 12315 I KoAlgoEngine: ZSL ZSLSelectorDefault.cpp:368 "
        "selectZSLFrames()[ZSLSelector] fwkFrame:9 Consumer list: 11 shutter time:99200000000",
        "[ 01-01 00:01:41.500000 15995:15997 I/KoAlgoEngine ]",
        "ZSL ZSLSelectorDefault.cpp:273 isSelectorNeeded()[ZSLSelector] ZSLSelectorDefault isNeeded 1",
        "01-01 00:01:42.000 D/KoAlgoEngine(12316): ZSL ZSLSelectorDefault.cpp:273 isSelectorNeeded()[ZSLSelector] "
        "ZSLSelectorDefault isNeeded 0",
        "",
    };
    const struct {
        int pid, tid;
        const char *level, *text;
    } expected[] = {
        {15995, 15995, "I", "[ZSLSelector] fwkFrame:100 zsdTs:99900000000 curTime:100000000000"},
        {15995, 15996, "D", "[ZSLSelector] ZSLSelectorDefault isNeeded 1"},
        {12314, 12315, "I", "[ZSLSelector] fwkFrame:9 Consumer list: 11 shutter time:99200000000"},
        {15995, 15997, "I", "[ZSLSelector] ZSLSelectorDefault isNeeded 1"},
        {12316, kUnknownId, "D", "[ZSLSelector] ZSLSelectorDefault isNeeded 0"},
    };
    LineParser parser;
    std::vector<kohost::LogLine> read;
    uint64_t number = 0;
    for (const char *line : lines)
        if (auto ours = parser.read(line, ++number))
            read.push_back(std::move(*ours));
    ASSERT_EQ(read.size(), std::size(expected));
    for (size_t i = 0; i < read.size(); ++i) {
        EXPECT_EQ(read[i].pid, expected[i].pid) << i;
        EXPECT_EQ(read[i].tid, expected[i].tid) << i;
        EXPECT_EQ(read[i].level, expected[i].level) << i;
        EXPECT_EQ(read[i].text, expected[i].text) << i;
    }
}

// A damaged log: what can be read is read, and each problem is one line.

TEST(DeviceLogBadInputFiles, DirectoryMissingFileAndNonUtf8)
{
    // A log's bytes need not be UTF-8: JSON shows U+FFFD in their place.
    TempFile notUtf8("11-23 18:46:29.123  1  1 I KoAlgoEngine: ZSL a.cpp:1 selectZSLFrames()[ZSLSelector] "
                     "fwkFrame:9 [q\xff] Current Consumer list: 1 \n");
    Outcome json = kotest::replay("explain --json " + notUtf8.path());
    EXPECT_EQ(json.status, 0) << json.err;
    EXPECT_NE(json.out.find("q\xEF\xBF\xBD"), std::string::npos) << json.out;

    Outcome missing = kotest::replay("explain /nonexistent.log");
    EXPECT_EQ(missing.status, 2);
    EXPECT_NE(missing.err.find("cannot read /nonexistent.log: No such file"), std::string::npos) << missing.err;
}

// The Trace Event Format's rules, as chrome://tracing and Perfetto read it:
// required fields, balanced slices on each track, flows between existing slices.
void expectValidTraceEvents(const json &trace)
{
    ASSERT_TRUE(trace["traceEvents"].is_array());
    std::map<std::pair<int, int>, std::vector<std::pair<double, double>>> slices; // per track: [begin, end]
    std::map<std::pair<int, int>, std::vector<std::pair<std::string, double>>> open;
    std::map<int, std::vector<std::pair<std::pair<int, int>, double>>> flows; // id: its ends
    std::vector<json> events(trace["traceEvents"].begin(), trace["traceEvents"].end());
    std::stable_sort(events.begin(), events.end(), [](const json &a, const json &b) {
        return a.value("ts", 0.0) < b.value("ts", 0.0) ||
               (a.value("ts", 0.0) == b.value("ts", 0.0) && a["ph"] == "E" && b["ph"] == "B");
    });
    for (const json &event : events) {
        const std::string ph = event.at("ph");
        ASSERT_TRUE(event.at("name").is_string() && event.at("pid").is_number() && event.at("tid").is_number()) << event;
        if (ph == "M")
            continue;
        ASSERT_TRUE(event.at("ts").is_number()) << event;
        const std::pair<int, int> track{event["pid"], event["tid"]};
        const double ts = event["ts"];
        if (ph == "B") {
            open[track].push_back({event["name"], ts});
        } else if (ph == "E") {
            ASSERT_FALSE(open[track].empty()) << "an end without a begin: " << event;
            EXPECT_EQ(open[track].back().first, event["name"]) << event;
            EXPECT_LE(open[track].back().second, ts);
            slices[track].push_back({open[track].back().second, ts});
            open[track].pop_back();
        } else if (ph == "s" || ph == "f") {
            flows[event.at("id")].push_back({track, ts});
        } else {
            EXPECT_TRUE(ph == "i" || ph == "C") << event;
        }
    }
    for (const auto &[track, begun] : open)
        EXPECT_TRUE(begun.empty()) << "slices never ended on track " << track.second;
    EXPECT_FALSE(flows.empty());
    for (const auto &[id, ends] : flows) {
        ASSERT_EQ(ends.size(), 2u) << "flow " << id;
        for (const auto &[track, ts] : ends)
            EXPECT_TRUE(std::any_of(slices[track].begin(), slices[track].end(),
                                    [ts = ts](const auto &slice) { return slice.first <= ts && ts <= slice.second; }))
                << "flow " << id << " ends outside every slice of its track";
    }
}

TEST(PerfettoExport, ReplayAndLogFollowTheTraceEventFormat)
{
    TempFile replayTrace("", ".json"), logTrace("", ".json"), log;
    ASSERT_EQ(kotest::replay("--write-logcat " + log.path() + " --perfetto " + replayTrace.path()).status, 0);
    ASSERT_EQ(kotest::replay("explain " + log.path() + " --perfetto=" + logTrace.path()).status, 0);
    for (const TempFile *file : {&replayTrace, &logTrace}) {
        const json trace = json::parse(file->text());
        expectValidTraceEvents(trace);
        // Boot-time clock: the built-in captures happen 100 s after boot.
        const auto &events = trace["traceEvents"];
        EXPECT_TRUE(std::any_of(events.begin(), events.end(), [](const json &event) {
            return event["name"] == "capture fwkFrame 100" && event["ts"] == 100e6;
        }));
    }
}

TEST(LogcatTimes, FieldsWeighAsTheClockDoes)
{
    const auto at = [](const char *text) {
        zsl::log::Cursor cursor{text};
        const std::optional<int64_t> time = zsl::log::readTime(cursor);
        EXPECT_TRUE(time) << text;
        return time.value_or(0);
    };
    const int64_t second = 1'000'000'000;
    const struct {
        const char *earlier, *later;
        int64_t apart;
    } cases[] = {
        {"11-23 18:46:29.123", "11-23 18:46:29.124", second / 1000},
        {"11-23 18:46:29.123", "11-23 18:46:30.123", second},
        {"11-23 18:46:29.123", "11-23 18:47:29.123", 60 * second},
        {"11-23 18:46:29.123", "11-23 19:46:29.123", 3600 * second},
        {"11-23 18:46:29.123", "11-24 18:46:29.123", 86400 * second},
        {"2026-11-22 18:46:29.123", "2026-11-23 18:46:29.123", 86400 * second},
        {"9999-11-22 18:46:29.123", "9999-11-23 18:46:29.123", 86400 * second},
        {"11-23 18:46:29.123456", "11-23 18:46:29.123457", 1000},
        {"1700000000.123456789 ", "1700000000.123456790 ", 1}, // -v epoch,nsec
    };
    for (const auto &c : cases)
        EXPECT_EQ(at(c.later) - at(c.earlier), c.apart) << c.earlier << " / " << c.later;
}

// The key is a sum of fields in ns: the widest fields each shape lets
// through must fit in it (the sanitizer's build holds it to that), and a
// first number too long for a month is no date.
TEST(LogcatTimes, TheWidestFieldsFitOrAreNoTime)
{
    for (const char *text : {"99-99 99:99:99.999999999", "99-99-99 99:99:99.999999999",
                             "9999-99-99 99:99:99.999999999", "9000000000.999999999 "}) {
        zsl::log::Cursor cursor{text};
        EXPECT_TRUE(zsl::log::readTime(cursor)) << text;
    }
    for (const char *text : {"8511-23 18:46:29.123", "100-01 18:46:29.123", "9000000001.0 "}) {
        zsl::log::Cursor cursor{text};
        EXPECT_FALSE(zsl::log::readTime(cursor)) << text;
    }
}

TEST(LogcatFormatsLong, TheHeadersTimeIsKeptAsPrinted)
{
    std::string_view tag;
    const std::optional<kohost::LogLine> header =
        zsl::log::readLongHeader("[ 11-23 18:46:29.123  1187: 1301 I/KoAlgoEngine ]", tag);
    ASSERT_TRUE(header);
    EXPECT_EQ(header->timeText, "11-23 18:46:29.123");
    EXPECT_EQ(tag, "KoAlgoEngine");
    EXPECT_EQ(header->pid, 1187);
    EXPECT_EQ(header->tid, 1301);
    EXPECT_EQ(header->level, "I");
}

TEST(LogcatTimes, ATimeThatEndsItsTextReadsNoFurther)
{
    // The view ends after the milliseconds; the buffer goes on with digits.
    const std::string buffer = "11-23 18:46:29.1234567";
    const std::string_view shown(buffer.data(), 18);
    zsl::log::Cursor at{shown};
    const std::optional<int64_t> time = zsl::log::readTime(at);
    ASSERT_TRUE(time);
    zsl::log::Cursor longer{std::string_view(buffer.data(), 19)};
    EXPECT_EQ(*zsl::log::readTime(longer) - *time, 400000); // 29.1234 against 29.123
    EXPECT_TRUE(at.done());
}

} // namespace
