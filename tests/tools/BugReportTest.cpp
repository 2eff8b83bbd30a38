// Bug reports as dumpstate writes them, and the containers they come in: a
// text with SYSTEM LOG twice and LAST LOGCAT, its zip with logd's persistent
// logs (gzip among them), line ends of Windows, a new year inside the log;
// each capture explained once. Damaged and overexpanding containers give one
// line and exit status 2.

#include "Containers.h"
#include "ReplayCli.h"

#include "log/LineParser.h"
#include "output/LogcatWriter.h"
#include <PluginLoader.h>
#include "replay/Replayer.h"
#include "replay/TraceReader.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace zsl::outcome;
using namespace zsl::replay;
using namespace zsl::log;
using namespace zsl::output;
using kotest::count;
using kotest::gzip;
using kotest::Outcome;
using kotest::TempFile;
using kotest::zipOf;

// The plug-in's lines of two captures on two threads, interleaved as a phone
// logs them, with another app's lines between; shifted to `startNs` on the
// wall clock.
std::vector<kohost::LogLine> pluginLines(int64_t startNs)
{
    std::vector<kohost::LogLine> lines;
    int thread = 1301;
    for (const char *example : {"overview", "two-camera-focus"}) {
        TraceSpec trace = readTraceFile(std::string(ZSL_SOURCE_DIR "/examples/") + example + ".json");
        trace.logLevel = 3;
        for (kohost::LogLine line : Replayer(kohost::defaultPluginPath()).run(trace).androidLog) {
            line.pid = 1187;
            line.tid = thread;
            lines.push_back(line);
        }
        ++thread;
    }
    std::stable_sort(lines.begin(), lines.end(),
                     [](const kohost::LogLine &a, const kohost::LogLine &b) { return a.timeNs < b.timeNs; });
    for (size_t i = 0; i < lines.size(); ++i)
        lines[i].timeNs = startNs + static_cast<int64_t>(i) * 1000000;
    return lines;
}

std::string render(const std::vector<kohost::LogLine> &lines, size_t from, size_t to, const char *format)
{
    std::string text;
    for (size_t i = from; i < to && i < lines.size(); ++i) {
        kohost::LogLine other = lines[i];
        other.text = "connect to camera 0";
        text += std::regex_replace(logcatLine(other, format), std::regex("KoAlgoEngine"), "CameraService") + "\n";
        text += logcatLine(lines[i], format) + "\n";
    }
    return text;
}

constexpr int64_t kNovember = 1795428389000000000; // 2026-11-23 18:46:29 UTC
constexpr const char *kSystemLogFormat = "threadtime,printable,uid";

// dumpstate's text: header, SYSTEM LOG, another section, SYSTEM LOG again
// (its -T copy, overlapping the first), LAST LOGCAT.
std::string bugReportText(const std::vector<kohost::LogLine> &lines, const char *date = "2026-11-23 18:46:29")
{
    const size_t half = lines.size() / 2;
    return std::string("========================================================\n== dumpstate: ") + date +
           "\n========================================================\n\nBuild: AP2A.240805.005\n"
           "Build fingerprint: 'korvan/kv1/kv1:15/AP2A.240805.005/12345:user/release-keys'\n"
           "Bootloader: kv1-1.0\n\n"
           "------ SYSTEM LOG (logcat -v threadtime -v printable -v uid -d *:v) ------\n"
           "--------- beginning of main\n" +
           render(lines, 0, half + 10, kSystemLogFormat) +
           "------ 0.532s was the duration of 'SYSTEM LOG' ------\n"
           "------ EVENT LOG (logcat -b events -v threadtime -v printable -v uid -d *:v) ------\n" +
           render(lines, 0, 3, kSystemLogFormat) +
           "------ 0.101s was the duration of 'EVENT LOG' ------\n"
           "------ SYSTEM LOG (logcat -v threadtime -v printable -v uid -T '11-23 18:46:30.000' -d *:v) ------\n"
           "--------- beginning of main\n" +
           render(lines, half - 10, lines.size(), kSystemLogFormat) +
           "------ 0.211s was the duration of 'SYSTEM LOG' ------\n"
           "------ LAST LOGCAT (logcat -L -b all -v threadtime -v printable -v uid -d *:v) ------\n"
           "--------- beginning of main\n"
           "------ 0.010s was the duration of 'LAST LOGCAT' ------\n";
}

struct ReportCase {
    const char *name;
};

class BugReports : public testing::TestWithParam<ReportCase> {};

TEST_P(BugReports, EachCaptureOnceWithTheDeviceAndTime)
{
    const std::string shape = GetParam().name;
    const std::vector<kohost::LogLine> lines = pluginLines(kNovember);
    std::string input = bugReportText(lines);
    if (shape == "textWithCrlf")
        input = std::regex_replace(input, std::regex("\n"), "\r\n");
    if (shape == "zip" || shape == "zipWithPersistentLogs") {
        std::vector<std::pair<std::string, std::string>> entries = {
            {"main_entry.txt", "bugreport-kv1-AP2A-2026-11-23-18-46-29.txt"},
            {"bugreport-kv1-AP2A-2026-11-23-18-46-29.txt", input},
            {"version.txt", "2.0"}};
        if (shape == "zipWithPersistentLogs") { // older, in usec, and overlapping the report
            entries.push_back(
                {"FS/data/misc/logd/logcat.001.gz", gzip(render(lines, 0, 40, "threadtime,usec,printable"))});
            entries.push_back({"FS/data/misc/logd/logcat", render(lines, 30, 80, "threadtime,usec,printable")});
        }
        input = zipOf(entries);
    }
    TempFile file(input);
    Outcome run = kotest::replay("explain " + file.path());
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(count(run.out, "-- capture fwkFrame 100: pid 1187 tid 1301"), 1u) << run.out;
    EXPECT_EQ(count(run.out, "-- capture fwkFrame 400: pid 1187 tid 1302"), 1u) << run.out;
    EXPECT_EQ(count(run.out, "-- "), 2u) << run.out;
    EXPECT_NE(run.out.find("bug report of korvan/kv1/kv1:15/AP2A.240805.005/12345:user/release-keys, taken "
                           "2026-11-23 18:46:29"),
              std::string::npos)
        << run.out;
    EXPECT_NE(run.out.find("frame 74"), std::string::npos); // the two-camera capture's refusal is there
}

// A report whose plug-in lines make no capture (the selector made, no call
// yet) still names its device and time: the session's own, not a capture's.
TEST(BugReportText, NamesTheDeviceAndTimeWithoutACapture)
{
    std::vector<kohost::LogLine> lines = pluginLines(kNovember);
    lines.erase(std::remove_if(lines.begin(), lines.end(),
                               [](const kohost::LogLine &line) { return line.function != "ZSLSelectorDefault"; }),
                lines.end());
    ASSERT_FALSE(lines.empty());
    TempFile file(bugReportText(lines));
    Outcome run = kotest::replay("explain " + file.path());
    EXPECT_EQ(count(run.out, "-- capture"), 0u) << run.out;
    EXPECT_NE(run.out.find("bug report of korvan/kv1/kv1:15/AP2A.240805.005/12345:user/release-keys, taken "
                           "2026-11-23 18:46:29"),
              std::string::npos)
        << run.out << run.err;
}

// A zip holds logd's files ahead of the report, whose header names the
// device: a capture complete before the header is read names it too.
TEST(BugReportZip, RowsOfLogdFilesNameTheReportsDevice)
{
    std::vector<kohost::LogLine> lines = pluginLines(kNovember);
    for (kohost::LogLine &line : lines)
        line.tid = 1301; // one thread: its first capture is complete when the second begins
    TempFile file(zipOf({{"main_entry.txt", "bugreport-kv1.txt"},
                         {"bugreport-kv1.txt", bugReportText({})},
                         {"FS/data/misc/logd/logcat", render(lines, 0, lines.size(), "threadtime")}}));
    Outcome table = kotest::replay("explain " + file.path() + " --table jsonl:-");
    EXPECT_EQ(table.status, 0) << table.err;
    std::istringstream rows(table.out);
    size_t n = 0;
    for (std::string line; std::getline(rows, line); ++n) {
        const nlohmann::json row = nlohmann::json::parse(line);
        EXPECT_EQ(row["fingerprint"], "korvan/kv1/kv1:15/AP2A.240805.005/12345:user/release-keys") << line;
        EXPECT_EQ(row["report_time"], "2026-11-23 18:46:29") << line;
    }
    EXPECT_EQ(n, 2u) << table.out;
}

INSTANTIATE_TEST_SUITE_P(Shapes, BugReports,
                         testing::Values(ReportCase{"text"}, ReportCase{"textWithCrlf"}, ReportCase{"zip"},
                                         ReportCase{"zipWithPersistentLogs"}),
                         [](const testing::TestParamInfo<ReportCase> &info) { return info.param.name; });

// A log without a year crosses the new year before the report is taken: the
// lines of December are the year before's, not out of order.
TEST(BugReportYear, ALogWithoutYearsCrossesTheNewYear)
{
    const int64_t newYear = 1798761600000000000; // 2027-01-01 00:00:00 UTC
    TempFile file(bugReportText(pluginLines(newYear - 20000000), "2027-01-01 00:05:00"));
    Outcome run = kotest::replay("explain " + file.path());
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(count(run.out, "-- capture fwkFrame"), 2u) << run.out;
}

// Damaged and overexpanding containers: one line, exit status 2.
TEST(BugReportBadContainers, OneLineAndExitStatusTwo)
{
    const std::string report = zipOf({{"bugreport-a.txt", bugReportText(pluginLines(kNovember))}});
    const std::string blank(80u << 20, '\n'); // text to any reader, a thousandfold compressed
    const std::string gz = gzip(render(pluginLines(kNovember), 0, 100, "threadtime"));
    const struct {
        std::string input;
        const char *errHas;
    } cases[] = {
        {report.substr(0, report.size() / 2), "not a readable zip"},
        {gzip(blank), "expands to more than 100 times its compressed size"},
        {zipOf({{"bugreport-a.txt", blank}}), "expands to more than 100 times its compressed size"},
        {gzip(std::string(100, '\0') + "KoAlgoEngine"), "not a log: binary data"},
        {gz.substr(0, gz.size() / 2), "the gzip data is cut short"},
        {gz.substr(0, 20) + std::string(200, 'x') + gz.substr(220), "damaged gzip data"},
        {zipOf({{"readme.txt", "hello"}}), "a zip without a bug report"},
    };
    for (const auto &c : cases) {
        TempFile file(c.input);
        Outcome run = kotest::replay("explain " + file.path());
        EXPECT_EQ(run.status, 2) << c.errHas;
        EXPECT_NE(run.err.find(c.errHas), std::string::npos) << run.err;
        EXPECT_EQ(count(run.err, "\n"), 1u) << run.err;
    }
}

} // namespace
