// The subcommands' outputs where no other test reads them: the traces
// written from a log (named apart, never over a file), the logcat written
// in another format (read back whole), the machine's clock when asked for,
// and what the summary's picture shows.

#include "ReplayCli.h"

#include "output/FleetSummary.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <time.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <string>
#include <vector>

namespace {

using kotest::count;
using kotest::Outcome;
using kotest::TempFile;
namespace fs = std::filesystem;

const std::string kSample = ZSL_SOURCE_DIR "/examples/device.log";

class TempDir {
public:
    TempDir()
    {
        char path[] = "/tmp/zsl-commands-XXXXXX";
        mPath = mkdtemp(path);
    }
    ~TempDir() { fs::remove_all(mPath); }
    const std::string &path() const { return mPath; }
    std::set<std::string> names() const
    {
        std::set<std::string> names;
        for (const auto &entry : fs::directory_iterator(mPath))
            names.insert(entry.path().filename().string());
        return names;
    }

private:
    std::string mPath;
};

std::string fileText(const std::string &path)
{
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

// --json is written as it goes: each trace's steps before what only the
// whole input tells, the traces before the plug-in's name and the summary.
TEST(JsonDocument, CapturesFirstThenWhatTheWholeInputTells)
{
    struct Case {
        std::string command;
        bool namesPlugin, summarises;
        size_t traces;
    };
    for (const Case &c :
         {Case{"replay --json", true, false, 4}, Case{"explain --json " + kSample + " " + kSample, false, true, 2}}) {
        const Outcome run = kotest::replay(c.command);
        ASSERT_EQ(run.status, 0) << c.command << "\n" << run.err;
        const nlohmann::json document = nlohmann::json::parse(run.out);
        ASSERT_EQ(document["traces"].size(), c.traces) << c.command;
        // Written piece by piece, it is byte for byte the document the
        // library prints with an indent of 2, in the order written.
        EXPECT_EQ(run.out, nlohmann::ordered_json::parse(run.out).dump(2) + "\n") << c.command;
        EXPECT_EQ(document.contains("plugin"), c.namesPlugin) << c.command;
        if (c.namesPlugin) {
            EXPECT_EQ(document["plugin"], "com.korvan.zsl.default.so");
        }
        EXPECT_EQ(document.contains("summary"), c.summarises) << c.command;
        // The traces first; the plug-in's name or the summary after them.
        const size_t traces = run.out.find("\"traces\"");
        EXPECT_LT(traces, std::min(run.out.find("\n  \"plugin\""), run.out.find("\n  \"summary\""))) << c.command;
        // Each trace: its steps, then its configuration lines.
        for (size_t at = run.out.find("\n    {"), n = 0; at != std::string::npos; at = run.out.find("\n    {", at + 1), ++n) {
            const size_t steps = run.out.find("\"steps\"", at), setup = run.out.find("\"setupLog\"", at);
            EXPECT_LT(steps, setup) << c.command << ", trace " << n;
        }
    }
}

TEST(ExplainWriteTraces, EachCaptureOnceNamedApartAndNeverOverAFile)
{
    TempDir dir;
    // The sample twice: each fwkFrame is read twice, and the second file takes "-2".
    Outcome first = kotest::replay("explain " + kSample + " " + kSample + " --write-traces=" + dir.path());
    ASSERT_EQ(first.status, 0) << first.err;
    const std::set<std::string> expected = {"fwkFrame-100.json", "fwkFrame-100-2.json", "fwkFrame-200.json",
                                            "fwkFrame-200-2.json", "fwkFrame-300.json", "fwkFrame-300-2.json",
                                            "fwkFrame-400.json", "fwkFrame-400-2.json"};
    EXPECT_EQ(dir.names(), expected);
    // A written trace replays as the capture it was read from.
    Outcome replayed = kotest::replay(dir.path() + "/fwkFrame-300.json");
    EXPECT_EQ(replayed.status, 0) << replayed.err;
    EXPECT_NE(replayed.out.find("fwkFrame 300"), std::string::npos) << replayed.out;

    std::ofstream(dir.path() + "/fwkFrame-100.json") << "mine";
    Outcome again = kotest::replay("explain " + kSample + " --write-traces " + dir.path());
    EXPECT_EQ(again.status, 2);
    EXPECT_EQ(count(again.err, "(not overwritten)"), 4u) << again.err;
    EXPECT_EQ(fileText(dir.path() + "/fwkFrame-100.json"), "mine");
    EXPECT_EQ(dir.names(), expected);
    EXPECT_NE(again.out.find("-- capture fwkFrame 400"), std::string::npos); // the report is still written
}

TEST(ReplayWriteLogcat, EveryFormatReadsBackAsTheSameCaptures)
{
    const Outcome report = kotest::replay("");
    ASSERT_EQ(report.status, 0) << report.err;
    const size_t captures = count(report.out, "-- capture fwkFrame ");
    ASSERT_GT(captures, 0u);
    for (const char *format : {"long", "brief", "threadtime,year,usec", "process"}) {
        SCOPED_TRACE(format);
        TempFile logcat;
        Outcome written = kotest::replay(std::string("--logcat-format=") + format + " --write-logcat " + logcat.path());
        ASSERT_EQ(written.status, 0) << written.err;
        const std::string text = logcat.text();
        // Each format's own shape: long's header, brief's "L/TAG(", the year, process's "(TAG)".
        const std::string shape = std::string(format) == "long"    ? "I/KoAlgoEngine ]"
                                  : std::string(format) == "brief" ? "I/KoAlgoEngine("
                                  : std::string(format) == "process" ? "  (KoAlgoEngine)"
                                                                     : "1970-01-01 00:01:40.000000 ";
        EXPECT_NE(text.find(shape), std::string::npos) << text.substr(0, 300);
        Outcome read = kotest::replay("explain " + logcat.path());
        EXPECT_EQ(read.status, 0) << read.err;
        EXPECT_EQ(count(read.out, "-- capture fwkFrame "), captures) << read.out;
    }
}

int64_t bootTimeNs()
{
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return int64_t(now.tv_sec) * 1000000000 + now.tv_nsec;
}

TEST(ReplayRealClock, ThePluginReadsTheMachinesBootTimeClock)
{
    const std::regex curTime("\"curTime\": (\\d+)");
    std::smatch match;
    const Outcome pinned = kotest::replay("--json " ZSL_SOURCE_DIR "/examples/overview.json");
    ASSERT_TRUE(std::regex_search(pinned.out, match, curTime)) << pinned.out;
    EXPECT_EQ(std::stoll(match[1]), 100'000'000'000);

    const int64_t before = bootTimeNs();
    const Outcome real = kotest::replay("--json --real-clock " ZSL_SOURCE_DIR "/examples/overview.json");
    const int64_t after = bootTimeNs();
    ASSERT_TRUE(std::regex_search(real.out, match, curTime)) << real.out;
    EXPECT_GE(std::stoll(match[1]), before);
    EXPECT_LE(std::stoll(match[1]), after);
}

zsl::output::CaptureRow row(const char *device, size_t requested, size_t taken, std::vector<double> lags,
                            size_t lagUnknown = 0)
{
    zsl::output::CaptureRow row;
    row.input = device + std::string(".txt");
    row.device = device;
    row.build = "B1";
    row.selected = requested;
    row.requested = requested;
    row.taken = taken;
    row.takenLagsMs = std::move(lags);
    row.takenLagUnknown = lagUnknown;
    return row;
}

TEST(FriendlyMistakes, AMistypedSubcommandOrAnotherSubcommandsInputIsSaidInOneLine)
{
    struct Case {
        std::string args;
        std::string said; // in the one line on standard error
    };
    const std::string source = ZSL_SOURCE_DIR;
    const Case cases[] = {
        {"explian " + kSample, "explian is neither a subcommand nor a file: did you mean `zsl-replay explain`?"},
        {"sumarize rows.csv", "did you mean `zsl-replay summarize`?"},
        {"compair", "did you mean `zsl-replay compare`?"},
        {"frobnicate", "(the subcommands: replay, explain, whatif, summarize, compare, tags)"},
        {kSample, kSample + " is a device log: zsl-replay explain " + kSample + " reads it"},
        {"replay " + source + "/fuzz/log-seeds/bugreport.txt", "is a bug report: zsl-replay explain"},
        {"replay " + source + "/fuzz/log-seeds/bugreport.zip", "is a zip, as adb bugreport writes: zsl-replay explain"},
        {"replay " + source + "/fuzz/log-seeds/persistent.log.gz", "is gzip-compressed"},
        {"replay " + source + "/fuzz/perfetto-seeds/first-capture.pftrace", "is a Perfetto trace: zsl-replay explain"},
    };
    for (const Case &c : cases) {
        const Outcome run = kotest::replay(c.args);
        EXPECT_EQ(run.status, 2) << c.args;
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << c.args << "\n" << run.err;
        EXPECT_NE(run.err.find(c.said), std::string::npos) << c.args << "\n" << run.err;
    }
    // A trace is still a trace, and a file named like a subcommand's typo still a file.
    EXPECT_EQ(kotest::replay(source + "/examples/overview.json").status, 0);
    TempDir dir;
    const std::string typo = dir.path() + "/explian";
    fs::copy_file(source + "/examples/overview.json", typo);
    const Outcome named = kotest::replay("explian", "cd " + dir.path() + " &&");
    EXPECT_EQ(named.status, 0) << named.err;
}

TEST(SummarySvg, ShowsTheCountsOfTheRows)
{
    zsl::output::FleetSummary summary;
    summary.add(row("kv1", 1, 1, {10.0}));
    summary.add(row("kv1", 3, 2, {20.0, 30.0}, 1));
    zsl::output::CaptureRow refused = row("kv2", 2, 2, {100.0, 100.0});
    refused.checks = 5;
    refused.refusedFrames = 3;
    refused.refused = {{"af", 2}, {"ev", 1}};
    summary.add(refused);
    const std::string svg = summary.svg();

    EXPECT_NE(svg.find(">3 captures from 2 inputs</text>"), std::string::npos) << svg;
    // Per device and build: captures that took every frame they wanted.
    EXPECT_NE(svg.find(">2 (50% in full)</text>"), std::string::npos) << svg;
    EXPECT_NE(svg.find(">1 (100% in full)</text>"), std::string::npos) << svg;
    EXPECT_NE(svg.find("<title>1 took fewer frames than wanted</title>"), std::string::npos) << svg;
    // Refusals by reason class, of the frames checked.
    EXPECT_NE(svg.find("(3 of 5 checked)"), std::string::npos) << svg;
    EXPECT_NE(svg.find("<title>2 frames refused: af</title>"), std::string::npos) << svg;
    EXPECT_NE(svg.find("<title>1 frames refused: ev</title>"), std::string::npos) << svg;
    // The lag histogram holds every known lag once, and counts the unknown apart.
    EXPECT_NE(svg.find("(ms; 5 frames, 1 not in the log)"), std::string::npos) << svg;
    const std::regex bin("<title>(\\d+) frames, [0-9.]+ to [0-9.]+ ms</title>");
    size_t binned = 0;
    for (auto it = std::sregex_iterator(svg.begin(), svg.end(), bin); it != std::sregex_iterator(); ++it)
        binned += std::stoul((*it)[1]);
    EXPECT_EQ(binned, 5u);
    EXPECT_EQ(svg.substr(svg.size() - 7), "</svg>\n");
}

} // namespace

namespace {

// The sample log with its times moved to int64's ends, as a damaged or
// hand-made log may state them.
std::string withTimes(const std::vector<std::pair<std::string, std::string>> &edits)
{
    std::ifstream in(kSample);
    std::string text{std::istreambuf_iterator<char>(in), {}};
    for (const auto &[pattern, replacement] : edits)
        text = std::regex_replace(text, std::regex(pattern), replacement);
    return text;
}

} // namespace

// Every output, and what-if, of times at the ends of the range: nothing
// overflows (the sanitizers' build stops at an overflow), and a capture
// whose moment cannot be replayed (before the clock's 0) is said to be so,
// not lost silently.
TEST(ExtremeTimes, EveryOutputTakesTimesAtTheEndsOfTheRange)
{
    const std::string kMax = "9223372036854775807", kMin = "-9223372036854775807";
    const struct {
        const char *what;
        std::vector<std::pair<std::string, std::string>> edits;
        int replayStatus; // of a written trace, and of what-if: a capture moment before 0 is not replayed
    } cases[] = {
        {"shutter times at both ends",
         {{"shutter time:10721707279658", "shutter time:" + kMin}, {"shutter time:10721740279658", "shutter time:" + kMax}},
         0},
        {"zsdTs at the start, curTime at the end", {{"zsdTs:[0-9]+", "zsdTs:" + kMin}, {"curTime:[0-9]+", "curTime:" + kMax}}, 0},
        {"curTime at the start", {{"curTime:[0-9]+", "curTime:" + kMin}}, 2},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        const TempFile log(withTimes(c.edits), ".log");
        ASSERT_NE(log.text().find(c.edits.front().second), std::string::npos);
        TempDir dir;
        for (const std::string &output : std::vector<std::string>{"", "--json", "--table " + dir.path() + "/t.csv", "--html " + dir.path() + "/p.html",
                                         "--svg " + dir.path() + "/p.svg", "--perfetto " + dir.path() + "/p.pftrace",
                                         "--perfetto " + dir.path() + "/p.json", "--write-traces " + dir.path()}) {
            const Outcome run = kotest::replay("explain " + log.path() + " " + output);
            EXPECT_EQ(run.status, 0) << output << "\n" << run.err;
        }
        for (const char *trace : {"fwkFrame-100.json", "fwkFrame-300.json"}) {
            const Outcome replayed = kotest::replay(dir.path() + "/" + std::string(trace));
            EXPECT_EQ(replayed.status, c.replayStatus) << trace << "\n" << replayed.err;
        }
        const Outcome whatIf = kotest::replay("whatif " + log.path() + " --set window=150");
        EXPECT_EQ(whatIf.status, c.replayStatus) << whatIf.err;
        if (c.replayStatus != 0) {
            EXPECT_NE(whatIf.err.find("fwkFrame 100: "), std::string::npos) << whatIf.err;
        }
    }
}
