// `zsl-replay compare` as a CI job runs it: tables of two sides in CSV and
// JSON Lines with planted changes, the verdicts of --json, the exit status
// of --fail-on, the sides as the values of one column, logs explained
// first, and every bad input as one line and exit status 2.

#include "PlantedCaptures.h"
#include "ReplayCli.h"

#include "output/CaptureTable.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

namespace {

using kotest::Planted;
using kotest::TempFile;
using zsl::output::CaptureRow;
using zsl::output::CaptureTableWriter;
using Json = nlohmann::json;

const std::string kSample = ZSL_SOURCE_DIR "/examples/device.log";

// A table of `captures` rows drawn from `planted`, each side's with its build.
std::string table(CaptureTableWriter::Format format, uint64_t seed, size_t captures, const Planted &planted,
                  const std::string &build = "", const std::string &device = "ab7")
{
    std::ostringstream out;
    CaptureTableWriter writer(out, format);
    writer.writeHeader();
    std::mt19937_64 rng(seed);
    for (size_t i = 0; i < captures; ++i) {
        CaptureRow row = kotest::drawCapture(rng, planted, device);
        row.build = build;
        row.input = "trial-" + build;
        writer.write(row);
    }
    return out.str();
}

constexpr auto kCsv = CaptureTableWriter::Format::Csv;
constexpr auto kJsonLines = CaptureTableWriter::Format::JsonLines;

// The verdict of a measure of the --json output, for a candidate and device.
std::string verdict(const Json &report, const std::string &name, const std::string &side = "candidate",
                    const std::string &device = "ab7")
{
    for (const Json &measure : report.at("measures"))
        if (measure.at("name") == name && measure.at("side") == side && measure.at("device") == device)
            return measure.at("verdict");
    return "(no such measure)";
}

TEST(CompareCommand, VerdictsOfPlantedChangesInCsvAgainstJsonLines)
{
    const TempFile base(table(kCsv, 1, 2000, Planted{}), ".csv");
    const TempFile later(table(kJsonLines, 2, 2000, Planted{.lagShiftMs = 10}), ".jsonl");
    const TempFile fewer(table(kJsonLines, 3, 2000, Planted{.hit = 0.85}), ".jsonl");
    const TempFile alike(table(kJsonLines, 4, 2000, Planted{}), ".jsonl");
    struct Case {
        const TempFile &candidate;
        std::vector<std::pair<const char *, const char *>> verdicts;
    };
    const Case cases[] = {
        {later, {{"lag_p50_ms", "worse"}, {"lag_p90_ms", "worse"}, {"hit_rate", "no change detected"}}},
        {fewer, {{"hit_rate", "worse"}, {"missing_rate", "worse"}, {"lag_p50_ms", "no change detected"}}},
        {alike, {}},
    };
    for (const Case &c : cases) {
        const kotest::Outcome run = kotest::replay("compare --base " + base.path() + " --candidate " + c.candidate.path() + " --json");
        ASSERT_EQ(run.status, 0) << run.err;
        const Json report = Json::parse(run.out);
        EXPECT_EQ(report.at("schema"), "zsl-compare/1");
        EXPECT_EQ(report.at("base").at("captures"), 2000);
        for (const auto &[name, expected] : c.verdicts)
            EXPECT_EQ(verdict(report, name), expected) << name;
        if (c.verdicts.empty()) {
            for (const Json &measure : report.at("measures"))
                EXPECT_EQ(measure.at("verdict"), "no change detected") << measure.at("name");
        }
        for (const Json &measure : report.at("measures")) {
            EXPECT_EQ(measure.at("captures"), Json::array({2000, 2000}));
            EXPECT_LE(measure.at("ci")[0].get<double>(), measure.at("difference").get<double>());
            EXPECT_GE(measure.at("ci")[1].get<double>(), measure.at("difference").get<double>());
        }
    }
}

TEST(CompareCommand, FailOnExitsThreeExactlyWhereAGateTrips)
{
    const TempFile base(table(kCsv, 1, 2000, Planted{}), ".csv");
    const TempFile later(table(kCsv, 2, 2000, Planted{.lagShiftMs = 10}), ".csv");
    struct Case {
        std::string gates;
        int status;
    };
    const Case cases[] = {
        {"--fail-on lag_p90_ms:+5", 3},
        {"--fail-on lag_p90_ms:+50", 0},
        {"--fail-on hit_rate:-0.01", 0},
        {"--fail-on hit_rate:-0.01 --fail-on lag_p50_ms:+2", 3},
        {"", 0},
    };
    for (const Case &c : cases) {
        const kotest::Outcome run =
            kotest::replay("compare --base " + base.path() + " --candidate " + later.path() + " " + c.gates);
        EXPECT_EQ(run.status, c.status) << c.gates << "\n" << run.err;
        EXPECT_EQ(run.err.empty(), c.status == 0) << c.gates << ": " << run.err;
        EXPECT_NE(run.out.find("lag_p90_ms"), std::string::npos); // the report is written either way
    }
    // The other way round the lag got better: no gate on it trips.
    const kotest::Outcome better =
        kotest::replay("compare --base " + later.path() + " --candidate " + base.path() + " --fail-on lag_p90_ms:+1");
    EXPECT_EQ(better.status, 0) << better.err;
}

TEST(CompareCommand, EachSidesFiguresAreSummarizesOfTheSameTable)
{
    // Two programs, one table: the lag percentiles (summarize's own code)
    // and the share of captures taken in full agree.
    const TempFile base(table(kCsv, 5, 700, Planted{}), ".csv");
    const TempFile candidate(table(kJsonLines, 6, 900, Planted{.hit = 0.7, .lagShiftMs = 3}), ".jsonl");
    const kotest::Outcome run = kotest::replay("compare --json --base " + base.path() + " --candidate " + candidate.path());
    ASSERT_EQ(run.status, 0) << run.err;
    const Json report = Json::parse(run.out);
    const std::pair<const char *, const TempFile *> sides[] = {{"base", &base}, {"candidate", &candidate}};
    for (const auto &entry : sides) {
        const char *side = entry.first;
        const kotest::Outcome summary = kotest::replay("summarize --json " + entry.second->path());
        ASSERT_EQ(summary.status, 0) << summary.err;
        const Json expected = Json::parse(summary.out);
        auto measured = [&](const std::string &name) {
            for (const Json &measure : report.at("measures"))
                if (measure.at("name") == name)
                    return measure.at(side).get<double>();
            return -1.0;
        };
        SCOPED_TRACE(side);
        for (const char *p : {"p50", "p90", "p99"})
            EXPECT_DOUBLE_EQ(measured(std::string("lag_") + p + "_ms"), expected.at("takenLagMs").at(p).get<double>()) << p;
        const Json &group = expected.at("groups")[0];
        // (--json rounds to the ninth decimal)
        EXPECT_NEAR(measured("hit_rate"), group.at("takenInFull").get<double>() / group.at("takenKnown").get<double>(),
                    1e-9);
    }
}

TEST(CompareCommand, SidesAsTheValuesOfAColumn)
{
    // One field trial of three builds: AP2A's frames later, AP3A alike; and
    // plain logs without a build, a side of their own but not the base.
    const TempFile trial(table(kJsonLines, 7, 300, Planted{}, "") + table(kJsonLines, 1, 1500, Planted{}, "AP1A") +
                             table(kJsonLines, 2, 1500, Planted{.lagShiftMs = 10}, "AP2A") +
                             table(kJsonLines, 3, 1500, Planted{}, "AP3A"),
                         ".jsonl");
    const kotest::Outcome run = kotest::replay("compare " + trial.path() + " --by build --json");
    ASSERT_EQ(run.status, 0) << run.err;
    const Json report = Json::parse(run.out);
    EXPECT_EQ(report.at("base").at("name"), "AP1A"); // the first in sort order with a build
    ASSERT_EQ(report.at("candidates").size(), 3u);
    EXPECT_EQ(report.at("candidates")[0].at("name"), "(no build)");
    EXPECT_EQ(report.at("candidates")[0].at("captures"), 300);
    EXPECT_EQ(verdict(report, "lag_p50_ms", "AP2A"), "worse");
    EXPECT_EQ(verdict(report, "lag_p50_ms", "AP3A"), "no change detected");

    const kotest::Outcome fromLater = kotest::replay("compare " + trial.path() + " --by build --base-value AP2A --json");
    ASSERT_EQ(fromLater.status, 0) << fromLater.err;
    const Json other = Json::parse(fromLater.out);
    EXPECT_EQ(other.at("base").at("name"), "AP2A");
    EXPECT_EQ(verdict(other, "lag_p50_ms", "AP1A"), "better");
    EXPECT_EQ(verdict(other, "lag_p50_ms", "AP3A"), "better");
}

TEST(CompareCommand, TheTextReportHasABlockPerCandidateAndDeviceWithJsonsVerdicts)
{
    std::string rows;
    for (const char *device : {"ab7", "zx1"}) {
        rows += table(kJsonLines, 11, 800, Planted{}, "AP1A", device);
        rows += table(kJsonLines, 12, 800, Planted{.lagShiftMs = 10}, "AP2A", device);
        rows += table(kJsonLines, 13, 800, Planted{.hit = 0.8}, "AP3A", device);
    }
    const TempFile trial(rows, ".jsonl");
    const kotest::Outcome text = kotest::replay("compare " + trial.path() + " --by build");
    const kotest::Outcome json = kotest::replay("compare " + trial.path() + " --by build --json");
    ASSERT_EQ(text.status, 0) << text.err;
    ASSERT_EQ(json.status, 0) << json.err;
    const Json report = Json::parse(json.out);
    // Blocks: a "Device" line, the column heads, then one line per measure, in --json's order.
    std::vector<std::vector<std::string>> blocks;
    std::istringstream lines(text.out);
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("Device ", 0) == 0)
            blocks.push_back({line});
        else if (line.empty())
            blocks.emplace_back();
        else if (!blocks.empty() && !blocks.back().empty())
            blocks.back().push_back(line);
    }
    blocks.erase(std::remove_if(blocks.begin(), blocks.end(), [](const auto &block) { return block.empty(); }),
                 blocks.end());
    const size_t measures = report.at("measures").size() / 4;
    ASSERT_EQ(blocks.size(), 4u); // two candidates, two devices
    size_t at = 0;
    for (const auto &block : blocks) {
        ASSERT_EQ(block.size(), measures + 2) << block[0];
        const Json &first = report.at("measures")[at];
        EXPECT_EQ(block[0], "Device " + first.at("device").get<std::string>() + ": \"" + first.at("side").get<std::string>() +
                                "\" against \"AP1A\" (800 against 800 captures)");
        EXPECT_EQ(block[1].find("measure"), 3u) << block[1];
        for (size_t i = 0; i < measures; ++i, ++at) {
            const Json &measure = report.at("measures")[at];
            const std::string &line = block[i + 2];
            EXPECT_EQ(line.find(measure.at("name").get<std::string>() + " "), 3u) << line;
            EXPECT_NE(line.find("  " + measure.at("verdict").get<std::string>()), std::string::npos) << line;
        }
    }
}

TEST(CompareCommand, ADeviceOnOneSideIsSaidAndPoolingComparesAcross)
{
    const TempFile base(table(kCsv, 1, 500, Planted{}, "", "ab7") + table(kCsv, 2, 500, Planted{}, "", "old").substr(table(kCsv, 2, 0, Planted{}).size()), ".csv");
    const TempFile candidate(table(kCsv, 3, 500, Planted{}, "", "ab7"), ".csv");
    const kotest::Outcome run = kotest::replay("compare --base " + base.path() + " --candidate " + candidate.path());
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("Device old: only on the base side (500 captures): not compared"), std::string::npos) << run.out;
    const TempFile elsewhere(table(kCsv, 4, 100, Planted{}, "", "zx1"), ".csv");
    const kotest::Outcome apart = kotest::replay("compare --base " + candidate.path() + " --candidate " + elsewhere.path());
    EXPECT_EQ(apart.status, 2) << apart.out;
    EXPECT_NE(apart.err.find("no device has captures on both sides"), std::string::npos) << apart.err;
    const kotest::Outcome pooled = kotest::replay("compare --pool --json --base " + base.path() + " --candidate " + candidate.path());
    ASSERT_EQ(pooled.status, 0) << pooled.err;
    const Json report = Json::parse(pooled.out);
    EXPECT_TRUE(report.at("one_sided").empty());
    EXPECT_EQ(report.at("measures")[0].at("device"), "all devices");
    EXPECT_EQ(report.at("measures")[0].at("captures"), Json::array({1000, 500}));
}

TEST(CompareCommand, LogsAreExplainedFirst)
{
    // A log against its own capture table: the same captures, nothing changed.
    const TempFile rows("", ".csv");
    unlink(rows.path().c_str());
    ASSERT_EQ(kotest::replay("explain " + kSample + " --table " + rows.path()).status, 0);
    const kotest::Outcome run = kotest::replay("compare --json --base " + kSample + " --candidate " + rows.path());
    ASSERT_EQ(run.status, 0) << run.err;
    const Json report = Json::parse(run.out);
    EXPECT_GT(report.at("base").at("captures").get<int>(), 0);
    EXPECT_EQ(report.at("base").at("captures"), report.at("candidates")[0].at("captures"));
    for (const Json &measure : report.at("measures")) {
        if (!measure.at("difference").is_null()) {
            EXPECT_EQ(measure.at("difference"), 0) << measure.at("name");
        }
    }

    // The log and its table on one side are the same captures read twice: counted once, and said so.
    const kotest::Outcome twice =
        kotest::replay("compare --json --base " + kSample + " --candidate " + rows.path() + " " + kSample);
    ASSERT_EQ(twice.status, 0) << twice.err;
    EXPECT_EQ(Json::parse(twice.out), report);
    EXPECT_EQ(twice.err, "zsl-replay: --candidate: " + report.at("base").at("captures").dump() +
                             " captures were read before (the same input and line of its log): counted once\n");
}

TEST(CompareCommand, BadInputIsOneLineAndStatusTwo)
{
    const TempFile good(table(kCsv, 1, 50, Planted{}), ".csv");
    const TempFile empty(table(kCsv, 1, 0, Planted{}), ".csv");
    std::string other = table(kJsonLines, 1, 3, Planted{});
    for (size_t at; (at = other.find(zsl::output::kCaptureTableSchema)) != std::string::npos;)
        other.replace(at, 19, "zsl-capture-table/9");
    const TempFile otherSchema(other, ".jsonl");
    const std::string g = good.path();
    const std::string cases[] = {
        "compare --base " + g + " --candidate " + empty.path(),
        "compare --base " + g + " --candidate " + otherSchema.path(),
        "compare --base " + g + " --candidate /nonexistent/table.csv",
        "compare --base " + g,
        "compare " + g,
        "compare " + g + " --by nonsense",
        "compare " + g + " --by build",
        "compare " + g + " --by device --base-value nowhere",
        "compare --base " + g + " --candidate " + g + " --by build",
        "compare --base " + g + " --candidate " + g + " --fail-on lag_p90_ms:-5",
        "compare --base " + g + " --candidate " + g + " --fail-on speed:+5",
        "compare --base " + g + " --candidate " + g + " --html " + g,
    };
    const std::string before = good.text();
    for (const std::string &args : cases) {
        const kotest::Outcome run = kotest::replay(args);
        EXPECT_EQ(run.status, 2) << args;
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << args << "\n" << run.err;
        EXPECT_TRUE(run.out.empty()) << args << "\n" << run.out;
    }
    EXPECT_EQ(good.text(), before); // --html at an input wrote nothing over it
}

} // namespace
