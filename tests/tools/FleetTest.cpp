// Many bug reports at once, as a field trial sends them: a folder of texts
// and zips from several devices and builds, read on one and on two threads
// into the same bytes; the capture table and the summary counted against
// what the replayed captures' own expectations say (a live log is in
// FleetLiveTest).
// What needs no folder stands in files of its own (FleetPartsTest.cpp,
// RepeatedCapturesTest.cpp).

#include "Containers.h"
#include "ExampleLogs.h"
#include "ReplayCli.h"

#include "output/CaptureTable.h"
#include "output/CaptureTime.h"
#include "log/LineParser.h"
#include "output/LogcatWriter.h"
#include "output/FleetSummary.h"
#include "output/Outputs.h"
#include "output/TableReader.h"
#include "outcome/PluginLines.h"
#include <PluginLoader.h>
#include "replay/Replayer.h"
#include "replay/TraceReader.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <poll.h>
#include <signal.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace zsl::outcome;
using namespace zsl::replay;
using namespace zsl::log;
using namespace zsl::output;
using kotest::Outcome;
using nlohmann::json;
using kotest::exampleLines;
using kotest::logText;

std::string bugReport(const std::string &fingerprint, const std::string &log)
{
    return "== dumpstate: 2026-11-23 18:46:29\n\nBuild fingerprint: '" + fingerprint +
           "'\n\n------ SYSTEM LOG (logcat -v threadtime -v printable -v uid -d *:v) ------\n" + log +
           "------ 0.532s was the duration of 'SYSTEM LOG' ------\n";
}

constexpr int64_t kNovember = 1795428389000000000; // 2026-11-23 18:46:29 UTC
const std::string kKv1Old = "korvan/kv1/kv1:15/AP2A.240805.005/12345:user/release-keys";
const std::string kKv1New = "korvan/kv1/kv1:15/AP2A.241105.001/13000:user/release-keys";
const std::string kKv2 = "korvan/kv2/kv2:15/AP2A.240805.005/12345:userdebug/dev-keys";

// What the captures' expectations (reviewed when they were written) say:
// captures, frames taken, and frames refused per reason class.
struct Known {
    size_t captures = 0, taken = 0, refused = 0;
    std::map<std::string, size_t> refusedByClass;
};

void addExpected(Known &known, const std::string &example)
{
    std::ifstream file(std::string(ZSL_SOURCE_DIR "/examples/") + example + ".json");
    const json trace = json::parse(file);
    for (const json &step : trace.at("steps"))
        for (const auto &[kind, body] : step.items()) {
            const json &expect = body.at("expect");
            ++known.captures;
            known.taken += expect.at("taken").size();
            for (const auto &[frame, check] : expect.at("checks").items()) {
                if (check.at("verdict")[0] == true)
                    continue;
                ++known.refused;
                const std::string reason = check.at("reason");
                ++known.refusedByClass[reason.find("AF fail") != std::string::npos      ? "af"
                                       : reason.find("sensor mode") != std::string::npos ? "sensor_mode"
                                                                                          : "other"];
            }
        }
}

// A folder of reports: kv1 on two builds at debug level (one with two
// threads), kv2 as a zip at info level, a file of notes, a damaged zip.
class FleetFolder : public testing::Test {
protected:
    void SetUp() override
    {
        char path[] = "/tmp/zsl-fleet-XXXXXX";
        mDir = mkdtemp(path);
        std::filesystem::create_directories(mDir + "/kv1/old");
        std::filesystem::create_directories(mDir + "/kv1/new");
        write("kv1/old/bugreport-kv1-1.txt", bugReport(kKv1Old, logText(exampleLines("overview", 1187, 1301, kNovember))));
        write("kv1/new/bugreport-kv1-2.txt",
              bugReport(kKv1New, logText(exampleLines("two-camera-focus", 1187, 1301, kNovember)) +
                                     logText(exampleLines("super-resolution-sensor-mode", 1187, 1302, kNovember + 1000000000))));
        write("kv2.zip", kotest::zipOf({{"bugreport-kv2.txt",
                                          bugReport(kKv2, logText(exampleLines("motion-capture", 950, 977, kNovember, 4)))}}));
        write("kv1/notes.txt", "the shutter felt slow\n");
        write("kv1/damaged.zip", std::string("PK\x03\x04", 4) + "not a zip at all");
        for (const char *example : {"overview", "two-camera-focus", "super-resolution-sensor-mode"})
            addExpected(mDebugKnown, example);
    }
    void TearDown() override { std::filesystem::remove_all(mDir); }
    void write(const std::string &name, const std::string &bytes) { std::ofstream(mDir + "/" + name) << bytes; }

    std::string mDir;
    Known mDebugKnown; // the captures logged at debug level
};

TEST_F(FleetFolder, TableAndSummaryCountWhatTheCapturesExpect)
{
    kotest::TempFile table;
    const std::string jsonl = table.path() + ".jsonl";
    Outcome run = kotest::replay("explain --json -j 2 " + mDir + " --table " + jsonl);
    EXPECT_EQ(run.status, 2) << run.err; // the damaged zip
    EXPECT_NE(run.err.find(mDir + "/kv1/damaged.zip: not a readable zip"), std::string::npos) << run.err;
    EXPECT_NE(run.err.find("1 file in the folders given holds no line of the plug-in"), std::string::npos) << run.err;

    const json summary = json::parse(run.out).at("summary");
    EXPECT_EQ(summary.at("captures"), mDebugKnown.captures + 1);
    EXPECT_EQ(summary.at("framesRefused"), mDebugKnown.refused);
    for (const char *kind : kRefusalClasses)
        EXPECT_EQ(summary.at("refusedByClass").at(kind), mDebugKnown.refusedByClass[kind]) << kind;
    // Per device and build; kv2 logged at info level, so its frames taken are not known.
    std::map<std::string, std::vector<size_t>> groups;
    for (const json &group : summary.at("groups"))
        groups[group.at("device").get<std::string>() + " " + group.at("build").get<std::string>()] = {
            group.at("captures"), group.at("takenKnown"), group.at("takenInFull")};
    EXPECT_EQ(groups, (std::map<std::string, std::vector<size_t>>{
                          {"kv1 15/AP2A.240805.005/12345:user/release-keys", {1, 1, 1}},
                          {"kv1 15/AP2A.241105.001/13000:user/release-keys", {2, 2, 2}},
                          {"kv2 15/AP2A.240805.005/12345:userdebug/dev-keys", {1, 0, 0}}}));

    std::ifstream rows(jsonl);
    size_t count = 0, taken = 0;
    for (std::string line; std::getline(rows, line); ++count) {
        const json row = json::parse(line);
        EXPECT_EQ(row.at("schema"), kCaptureTableSchema);
        taken += row.at("taken").is_null() ? 0 : row.at("taken").get<size_t>();
        // threadtime prints no year and no zone: the report's year, no offset.
        std::string iso = "2026-" + row.at("log_time").get<std::string>();
        iso[10] = 'T';
        EXPECT_EQ(row.at("capture_time"), iso) << line;
        if (row.at("device") == "kv2") {
            EXPECT_TRUE(row.at("taken").is_null()) << line;
            EXPECT_NE(row.at("unknown").get<std::string>().find("debug level"), std::string::npos) << line;
        }
    }
    std::filesystem::remove(jsonl);
    EXPECT_EQ(count, mDebugKnown.captures + 1);
    EXPECT_EQ(taken, mDebugKnown.taken);
}

TEST_F(FleetFolder, OneThreadAndTwoPrintTheSameBytes)
{
    for (const char *output : {"", "--json", "--table csv:-"}) {
        Outcome one = kotest::replay("explain " + std::string(output) + " -j 1 " + mDir);
        Outcome two = kotest::replay("explain " + std::string(output) + " --jobs=2 " + mDir);
        EXPECT_EQ(one.status, 2);
        EXPECT_EQ(one.out, two.out) << output;
        EXPECT_EQ(one.err, two.err) << output;
        EXPECT_NE(one.out.find("AP2A.241105.001"), std::string::npos) << output;
    }
    // The text report ends with the summary, devices in name order; the
    // summary's plots name them too.
    kotest::TempFile svg;
    Outcome text = kotest::replay("explain " + mDir + " --summary-svg " + svg.path());
    EXPECT_NE(svg.text().find(">kv2  15/AP2A.240805.005/12345:userdebug/dev-keys</title>"), std::string::npos) << svg.text();
    EXPECT_EQ(svg.text().substr(svg.text().size() - 7), "</svg>\n");
    const auto summary = text.out.find("Summary: 4 captures from 3 inputs");
    ASSERT_NE(summary, std::string::npos) << text.out;
    EXPECT_LT(text.out.find("kv1 ", summary), text.out.find("kv2 ", summary)) << text.out;
}

// The summary of the tables, split in two and in either format, is the
// report's own; a table that is not one is named, and the others counted.
TEST_F(FleetFolder, SummarizeOfTheTablesIsExplainsSummary)
{
    std::filesystem::rename(mDir + "/kv2.zip", mDir + "/kv2, \"night\".zip"); // quoted in CSV
    const Outcome report = kotest::replay("explain --json " + mDir);
    const json expected = json::parse(report.out).at("summary");
    const Outcome text = kotest::replay("explain " + mDir);
    const std::string expectedText = text.out.substr(text.out.find("Summary: "));
    const std::string jsonl = kotest::replay("explain --table jsonl:- " + mDir).out;
    const std::string csv = kotest::replay("explain --table csv:- " + mDir).out;
    const size_t half = jsonl.find('\n', jsonl.size() / 2) + 1;
    kotest::TempFile first(jsonl.substr(0, half)), second(jsonl.substr(half)), table(csv, ".csv");
    for (const std::string &tables : {first.path() + " " + second.path(), table.path(), "- <" + table.path()}) {
        SCOPED_TRACE(tables);
        const Outcome summarized = kotest::replay("summarize --json " + tables);
        EXPECT_EQ(summarized.status, 0) << summarized.err;
        EXPECT_EQ(json::parse(summarized.out), expected);
        EXPECT_EQ(kotest::replay("summarize " + tables).out, expectedText);
    }

    // The same run saved twice, as CSV and as JSON Lines: each capture counted
    // once, the table that repeats it named; a table that fails half-way
    // leaves nothing seen.
    const size_t firstRows = static_cast<size_t>(std::count(jsonl.begin(), jsonl.begin() + half, '\n'));
    const Outcome twice = kotest::replay("summarize --json " + table.path() + " " + first.path() + " " + second.path());
    EXPECT_EQ(twice.status, 0) << twice.err;
    json withRepeats = expected;
    withRepeats["repeated"] = std::count(jsonl.begin(), jsonl.end(), '\n'); // every row of the two halves
    EXPECT_EQ(json::parse(twice.out), withRepeats);
    EXPECT_NE(twice.err.find(first.path() + ": " + std::to_string(firstRows) + " captures were read before"),
              std::string::npos)
        << twice.err;
    kotest::TempFile cutFirst(csv.substr(0, csv.size() / 2) + "\"unclosed");
    const Outcome afterCut = kotest::replay("summarize --json " + cutFirst.path() + " " + table.path());
    EXPECT_EQ(afterCut.status, 2);
    EXPECT_EQ(json::parse(afterCut.out), expected);
    EXPECT_EQ(afterCut.err.find("read before"), std::string::npos) << afterCut.err;

    // Each row read back is the row written, every column, from either format.
    for (const std::string *table : {&jsonl, &csv}) {
        std::istringstream in(*table);
        std::string again;
        readCaptureTable(in, "table", [&](const CaptureRow &row) { again += jsonText(toJson(row)) + "\n"; });
        EXPECT_EQ(again, jsonl);
    }

    // A table of version 1 (no capture_time) is read as well.
    std::string older;
    std::istringstream rows(jsonl);
    for (std::string line; std::getline(rows, line);) {
        json row = json::parse(line, nullptr, true, false);
        row.erase("capture_time");
        row["schema"] = "zsl-capture-table/1";
        older += row.dump() + "\n";
    }
    kotest::TempFile version1(older);
    const Outcome fromOlder = kotest::replay("summarize --json " + version1.path());
    EXPECT_EQ(fromOlder.status, 0) << fromOlder.err;
    EXPECT_EQ(json::parse(fromOlder.out), expected);

    // A bad row after a field that spans lines is named by its own first line.
    const size_t rowStart = csv.find('\n') + 1, pathEnd = csv.find(',', csv.find(',', rowStart) + 1);
    const std::string spanning = csv.substr(0, csv.find(',', rowStart) + 1) + "\"two\nlines\"" +
                                 csv.substr(pathEnd, csv.find('\n', rowStart) + 1 - pathEnd) + "a,b\n";
    std::istringstream spanningIn(spanning);
    try {
        readCaptureTable(spanningIn, "spanning.csv", [](const CaptureRow &) {});
        ADD_FAILURE() << "the row of two fields was read";
    } catch (const Error &error) {
        EXPECT_EQ(std::string(error.what()).rfind("spanning.csv: line 4: a row of 2 fields", 0), 0u) << error.what();
    }

    kotest::TempFile other(std::string("{\"schema\": \"zsl-capture-table/0\"}\n")), cut(csv.substr(0, csv.size() / 2));
    const Outcome bad = kotest::replay("summarize --json " + other.path() + " " + table.path() + " " + cut.path() +
                                       " /nonexistent.csv");
    EXPECT_EQ(bad.status, 2);
    EXPECT_EQ(json::parse(bad.out), expected); // the good table alone
    EXPECT_EQ(std::count(bad.err.begin(), bad.err.end(), '\n'), 3) << bad.err;
    EXPECT_NE(bad.err.find(other.path() + ": line 1: a row of schema \"zsl-capture-table/0\""), std::string::npos)
        << bad.err;
    EXPECT_NE(bad.err.find("cannot read /nonexistent.csv"), std::string::npos) << bad.err;
}

// Files of a folder without a line of the plug-in are counted, each without
// a warning of its own (a README ending mid-line, a text naming the tag in
// no logcat format); named alone, the same file says why.
TEST_F(FleetFolder, FilesPassedOverAreCountedWithoutTheirWarnings)
{
    std::filesystem::remove(mDir + "/kv1/damaged.zip");
    write("kv1/README", "notes about the trial\nno line end at the end");
    write("kv1/pasted.txt", "a ticket quoting KoAlgoEngine: selectZSLFrames in no logcat format\n");
    const Outcome run = kotest::replay("explain " + mDir);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "zsl-replay: 3 files in the folders given hold no line of the plug-in (passed over)\n");
    const Outcome alone = kotest::replay("explain " + mDir + "/kv1/README");
    EXPECT_EQ(alone.status, 2);
    EXPECT_NE(alone.err.find("README: warning: "), std::string::npos) << alone.err;

    // A program running explain reads the counts by name, not from a message.
    write("kv1/damaged.zip", std::string("PK\x03\x04", 4) + "not a zip at all");
    kotest::TempFile stats("", ".json");
    const Outcome counted = kotest::replay("explain " + mDir + " --stats " + stats.path());
    EXPECT_EQ(counted.status, 2); // the damaged zip
    EXPECT_EQ(json::parse(stats.text()), json::parse(R"({"schema": "zsl-explain-stats/1", "files_read": 6,
        "files_passed_over": 3, "files_failed": 1})"));
    EXPECT_EQ(counted.err.find("passed over"), std::string::npos) << counted.err;
    EXPECT_EQ(kotest::replay("explain " + mDir + " --stats " + mDir + "/kv1/stats.json").status, 2); // among the inputs
}

// What a fleet's worker runs: a folder's file alone, or an object piped in
// under its name, gives the rows explain gives reading the folder.
TEST_F(FleetFolder, AFileAloneOrPipedInUnderItsNameGivesTheFoldersRows)
{
    std::filesystem::remove(mDir + "/kv1/damaged.zip");
    const Outcome whole = kotest::replay("explain --table jsonl:- " + mDir);
    ASSERT_EQ(whole.status, 0) << whole.err;
    std::string rows;
    for (const char *name : {"kv1/new/bugreport-kv1-2.txt", "kv1/notes.txt", "kv1/old/bugreport-kv1-1.txt", "kv2.zip"}) {
        const std::string path = mDir + "/" + name;
        const Outcome alone = kotest::replay("explain --in-folder --table jsonl:- " + path);
        const Outcome piped = kotest::replay("explain --in-folder --table jsonl:- - --stdin-name '" + path + "' <" + path);
        EXPECT_EQ(alone.status, 0) << alone.err;
        EXPECT_EQ(piped.out, alone.out) << name; // the zip too, kept in a file first
        EXPECT_EQ(piped.err, alone.err) << name;
        rows += alone.out;
    }
    EXPECT_EQ(rows, whole.out);

    // The notes hold no plug-in line: passed over as in the folder, an error when named alone.
    const Outcome notes = kotest::replay("explain --in-folder " + mDir + "/kv1/notes.txt");
    EXPECT_NE(notes.err.find("1 file in the folders given holds no line of the plug-in (passed over)"), std::string::npos)
        << notes.err;
    EXPECT_EQ(kotest::replay("explain " + mDir + "/kv1/notes.txt").status, 2);

    kotest::TempFile cut(std::string("PK\x03\x04", 4) + "cut short");
    const Outcome broken = kotest::replay("explain - --stdin-name s3://trial/8.zip < " + cut.path());
    EXPECT_EQ(broken.status, 2);
    EXPECT_EQ(broken.err.rfind("zsl-replay: s3://trial/8.zip: not a readable zip", 0), 0u) << broken.err;
    const Outcome followed = kotest::replay("explain --follow --table jsonl:- - --stdin-name s3://trial/9.log <" + mDir +
                                            "/kv1/old/bugreport-kv1-1.txt");
    EXPECT_EQ(followed.status, 0) << followed.err;
    EXPECT_NE(followed.out.find("\"input\":\"s3://trial/9.log\""), std::string::npos) << followed.out;
    const Outcome unnamed = kotest::replay("explain --stdin-name x " + mDir);
    EXPECT_EQ(unnamed.status, 2);
    EXPECT_NE(unnamed.err.find("--stdin-name names standard input"), std::string::npos) << unnamed.err;
}

// CSV and JSON Lines hold the same rows; a path with a comma and quotes
// survives CSV's quoting.
TEST_F(FleetFolder, CsvHoldsTheRowsOfJsonLines)
{
    std::filesystem::remove(mDir + "/kv1/damaged.zip");
    std::filesystem::rename(mDir + "/kv2.zip", mDir + "/kv2, \"night\".zip");
    Outcome csv = kotest::replay("explain --table csv:- " + mDir);
    Outcome lines = kotest::replay("explain --table=jsonl:- " + mDir);
    ASSERT_EQ(csv.status, 0) << csv.err;
    // RFC 4180: fields split at commas outside quotes, "" inside quotes is one quote.
    std::vector<std::vector<std::string>> cells(1);
    std::string field;
    bool quoted = false;
    for (size_t i = 0; i < csv.out.size(); ++i) {
        const char c = csv.out[i];
        if (quoted && c == '"' && i + 1 < csv.out.size() && csv.out[i + 1] == '"')
            field += '"', ++i;
        else if (c == '"')
            quoted = !quoted;
        else if (!quoted && (c == ',' || c == '\n')) {
            cells.back().push_back(field);
            field.clear();
            if (c == '\n')
                cells.emplace_back();
        } else
            field += c;
    }
    cells.pop_back();
    std::istringstream jsonLines(lines.out);
    std::vector<json> rows;
    for (std::string line; std::getline(jsonLines, line);)
        rows.push_back(json::parse(line));
    ASSERT_EQ(cells.size(), rows.size() + 1);
    bool sawQuotedPath = false;
    for (size_t r = 0; r < rows.size(); ++r) {
        ASSERT_EQ(cells[r + 1].size(), cells[0].size());
        for (size_t c = 0; c < cells[0].size(); ++c) {
            const json &value = rows[r].at(cells[0][c]);
            EXPECT_EQ(cells[r + 1][c], value.is_null() ? "" : value.is_string() ? value.get<std::string>() : value.dump())
                << cells[0][c];
        }
        sawQuotedPath = sawQuotedPath || rows[r].at("input") == mDir + "/kv2, \"night\".zip";
    }
    EXPECT_TRUE(sawQuotedPath) << csv.out;
}

} // namespace
