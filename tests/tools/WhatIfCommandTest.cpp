// zsl-replay whatif on the command line: bad input in one line and exit
// status 2, JSON sides that are replay steps with what is not known named,
// and a table with both sides (a sweep: a row per value).
// The comparison of two sides and the summary of many: anchor moves and
// changes told only where known, the unknown counted apart, shares and lags
// over the same captures.

#include "whatif/PropertyChange.h"
#include "whatif/WhatIfReport.h"
#include "whatif/Sweep.h"
#include "whatif/WhatIfSummary.h"

#include "ReplayCli.h"

#include <PluginLoader.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include <algorithm>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace zsl::outcome;
using namespace zsl::whatif;

using kotest::TempFile;

TEST(WhatIfCommand, BadInputIsOneLineAndStatusTwo)
{
    const TempFile log("not a log of the plug-in\n", ".log");
    const std::string cases[] = {
        "--set ro.vendor.camera3.zsl.defualt=100",
        "--set window=abc",
        "--set window=1 --set window=2",
        "--set window=1 --set vendor.debug.camera3.zsl.timestamp=2",
        "--sweep window=0:10:0",
        "--sweep window=10:0:5",
        "--sweep window=0:2000:1",
        "--sweep-svg /tmp/never.svg --set window=1",
        "--set window=1 --table out.txt",
        "--set window=1 --table csv:" + log.path() + " " + log.path(),
        "",
        "--set window=1 /nonexistent/device.log",
        "--set window=1 " + log.path(),
        "--set window=1 - <" + log.path(), // standard input takes a trace
    };
    for (const std::string &args : cases) {
        SCOPED_TRACE(args);
        const kotest::Outcome run = kotest::replay("whatif " + args);
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
    }
    EXPECT_EQ(log.text(), "not a log of the plug-in\n"); // never written over
    const kotest::Outcome fromStdin =
        kotest::replay("whatif --set window=150 - <" ZSL_SOURCE_DIR "/examples/overview.json");
    EXPECT_EQ(fromStdin.status, 0) << fromStdin.err;
    EXPECT_NE(fromStdin.out.find("capture fwkFrame 100 (<stdin>)"), std::string::npos) << fromStdin.out;
}

TEST(WhatIfCommand, JsonSidesAreReplayStepsWithWhatIsNotKnownNamed)
{
    const kotest::Outcome traces = kotest::replay("whatif --set window=150 --json");
    ASSERT_EQ(traces.status, 0) << traces.err;
    const nlohmann::json document = nlohmann::json::parse(traces.out);
    ASSERT_EQ(document["captures"].size(), 4u);
    EXPECT_EQ(document["change"], "window=150 ms");
    for (const nlohmann::json &capture : document["captures"]) {
        for (const char *side : {"before", "after"})
            for (const char *key : {"anchorFrame", "csbegin", "selection", "checks", "taken", "zsdTs"})
                EXPECT_TRUE(capture[side].contains(key)) << side << " " << key;
        EXPECT_FALSE(capture["after"].contains("unknown"));
    }
    EXPECT_EQ(document["captures"][0]["after"]["anchorFrame"], 42); // 149 ms before the capture: inside 150
    EXPECT_EQ(document["summary"]["anchors"]["earlier"], 3);

    // From a log at 100 ms, a narrower window's anchor lies past the frames the scan logged.
    TempFile log("", ".log");
    ASSERT_EQ(kotest::replay("replay --write-logcat " + log.path()).status, 0);
    const kotest::Outcome fromLog = kotest::replay("whatif --set window=50 --json " + log.path());
    ASSERT_EQ(fromLog.status, 0) << fromLog.err;
    const nlohmann::json after = nlohmann::json::parse(fromLog.out)["captures"][0]["after"];
    EXPECT_TRUE(after["anchorFrame"].is_null());
    EXPECT_NE(after["unknown"]["anchorFrame"].get<std::string>().find("stopped before frame 45"), std::string::npos);
    EXPECT_EQ(after["bounds"]["anchorFrame"]["atOrAfter"], 45);
    EXPECT_EQ(nlohmann::json::parse(fromLog.out)["captures"][0]["anchorMoved"], "later");
    // A wider one's: the frames before the old begin are open in two ways.
    const nlohmann::json wider =
        nlohmann::json::parse(kotest::replay("whatif --set window=150 --json " + log.path()).out)["captures"][0]["after"];
    EXPECT_EQ(wider["anchorFrame"], 42);
    EXPECT_EQ(wider["unknown"]["selectedFrames"],
              "whether every queue held frames 42 43 is not in the log; the last used frame number is not in the log "
              "(it is below 44)");
    EXPECT_NE(wider["unknown"]["taken"].get<std::string>().find("the log shows no check of frames 42 43"),
              std::string::npos);
}

// A log's name is any bytes Linux allows: one that is not UTF-8 goes into
// the trace rebuilt from each capture as U+FFFD (what-if aborted on it).
TEST(WhatIfCommand, ALogWhoseNameIsNotUtf8)
{
    std::ifstream sample(ZSL_SOURCE_DIR "/examples/device.log");
    const TempFile log(std::string(std::istreambuf_iterator<char>(sample), {}), "-\x8c\xff.log");
    const kotest::Outcome run = kotest::replay("whatif '" + log.path() + "' --set window=150");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("-- capture fwkFrame 100"), std::string::npos) << run.out;
}

TEST(WhatIfCommand, TableHasBothSidesAndSweepOneRowPerValue)
{
    TempFile table("", ".csv"), svg("", ".svg");
    const kotest::Outcome run = kotest::replay("whatif --set window=150 --table " + table.path());
    ASSERT_EQ(run.status, 0) << run.err;
    const std::string csv = table.text();
    EXPECT_EQ(std::count(csv.begin(), csv.end(), '\n'), 5); // a header and four captures
    for (const char *column : {"schema,", "before_anchor_frame", "after_anchor_frame", "after_taken_lag_ms"})
        EXPECT_NE(csv.find(column), std::string::npos) << column;

    TempFile page("", ".html");
    ASSERT_EQ(kotest::replay("whatif --set window=150 --html " + page.path()).status, 0);
    const std::string html = page.text();
    EXPECT_EQ(html.rfind("<!DOCTYPE html>", 0), 0u);
    // One table: a row per capture, each with the header's columns.
    auto count = [](const std::string &text, const std::string &what, size_t from = 0, size_t to = std::string::npos) {
        size_t n = 0;
        for (size_t at = from; (at = text.find(what, at)) != std::string::npos && at < to; ++at)
            ++n;
        return n;
    };
    const size_t body = html.find("<tbody>");
    ASSERT_NE(body, std::string::npos);
    EXPECT_EQ(count(html, "<table"), 1u);
    EXPECT_EQ(count(html, "<tr>", body), 4u);
    EXPECT_EQ(count(html, "<td", body), 4 * count(html, "<th>", html.find("<thead>"), body));
    EXPECT_EQ(count(html, "<td class=\"changed\">changed", body), 3u); // the three that changed
    EXPECT_EQ(html.find("<script"), std::string::npos);
    // A log's facts not known are said in plain words, and the input is named.
    const std::string log = ZSL_SOURCE_DIR "/examples/device.log";
    ASSERT_EQ(kotest::replay("whatif --set window=150 --html " + page.path() + " " + log).status, 0);
    const std::string fromLog = page.text();
    EXPECT_NE(fromLog.find("Input: " + log), std::string::npos);
    EXPECT_NE(fromLog.find("not known: the frames selected"), std::string::npos);
    for (const char *key : {"selectedFrames", "anchorFrame", "anchorOffset", "csbegin", "zsdTs:"})
        EXPECT_EQ(fromLog.find(key), std::string::npos) << key;
    EXPECT_EQ(kotest::replay("whatif --sweep window=0:10:5 --html " + page.path()).status, 2);

    const kotest::Outcome sweep = kotest::replay("whatif --sweep window=0:300:50 --sweep-svg " + svg.path());
    ASSERT_EQ(sweep.status, 0) << sweep.err;
    EXPECT_EQ(std::count(sweep.out.begin(), sweep.out.end(), '\n'), 1 + 7 + 1); // head, values, legend
    EXPECT_EQ(svg.text().rfind("<svg", 0), 0u);
    const nlohmann::json json = nlohmann::json::parse(kotest::replay("whatif --sweep window=0:300:50 --json").out);
    ASSERT_EQ(json["values"].size(), 7u);
    EXPECT_EQ(json["values"][2]["value"], 100);
    EXPECT_EQ(json["values"][2]["summary"]["unchanged"], 4); // the built-in captures' own window
}

} // namespace

namespace {

// A side whose anchor is the frame at `position` of consumer 10..13 (none past them), taking `taken`.
Side sideAt(std::optional<size_t> position, std::vector<uint32_t> taken, bool anchorKnown = true)
{
    StepOutcome step;
    step.kind = StepKind::Capture;
    step.selectRan = true;
    step.consumer = {10, 11, 12, 13};
    step.requested = 1;
    if (position && *position < 4)
        step.anchorFrame = step.consumer[*position];
    step.taken = std::move(taken);
    Side side = exactSide(step);
    if (!anchorKnown) {
        side.leaveOpen(fact::kAnchor, "not in the log");
        side.anchorFrom = position;
    }
    return side;
}

TEST(WhatIfComparison, AnchorMovesAndChangesAreToldOnlyWhereKnown)
{
    struct Case {
        const char *name;
        Side before, after;
        AnchorMove move;
        std::optional<bool> changed;
    };
    const Case cases[] = {
        {"same anchor, same frame", sideAt(2, {12}), sideAt(2, {12}), AnchorMove::Same, false},
        {"earlier", sideAt(2, {12}), sideAt(0, {10}), AnchorMove::Earlier, true},
        {"later", sideAt(1, {11}), sideAt(3, {13}), AnchorMove::Later, true},
        {"none after: later", sideAt(1, {11}), sideAt(4, {}), AnchorMove::Later, true},
        {"open, at or past a later frame", sideAt(1, {11}), sideAt(2, {}, false), AnchorMove::Later, true},
        {"open, may be the same", sideAt(1, {11}), sideAt(1, {}, false), AnchorMove::Unknown, std::nullopt},
        {"same anchor, other frame taken", sideAt(2, {12}), sideAt(2, {13}), AnchorMove::Same, true},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Comparison comparison{"in", "", false, c.before, c.after};
        if (!c.after.states(fact::kAnchor))
            comparison.after.leaveOpen(fact::kTaken, "not in the log");
        EXPECT_EQ(comparison.anchorMove(), c.move);
        EXPECT_EQ(comparison.changed(), c.changed);
    }
}

TEST(WhatIfComparison, SummaryCountsWhatIsNotKnownApart)
{
    WhatIfSummary summary;
    summary.add({"a", "", false, sideAt(2, {12}), sideAt(0, {10})});
    summary.add({"b", "", false, sideAt(2, {12}), sideAt(2, {12})});
    Comparison open{"c", "", true, sideAt(1, {11}), sideAt(1, {}, false)};
    open.after.leaveOpen(fact::kTaken, "not in the log");
    summary.add(open);
    const nlohmann::ordered_json json = summary.toJson();
    EXPECT_EQ(json["changed"], 1);
    EXPECT_EQ(json["unchanged"], 1);
    EXPECT_EQ(json["changeUnknown"], 1);
    EXPECT_EQ(json["anchors"]["earlier"], 1);
    EXPECT_EQ(json["anchors"]["unknown"], 1);
    EXPECT_EQ(json["takenInFull"]["after"], 2);
    EXPECT_EQ(json["takenInFullUnknown"]["after"], 1);
    EXPECT_EQ(json["lagAfterMs"]["capturesTakenUnknown"], 1);
    EXPECT_EQ(summary.unknownFacts(), 2u); // the anchor and the frames taken
}

// A capture that takes `frame`, shot `frame` ms before the capture moment
// where `lagKnown`.
Side sideTaking(uint32_t frame, bool lagKnown = true)
{
    StepOutcome step;
    step.kind = StepKind::Capture;
    step.selectRan = true;
    step.consumer = {frame};
    step.requested = 1;
    step.captureNs = 1'000'000'000;
    if (lagKnown)
        step.shutterNs[frame] = step.captureNs - int64_t(frame) * 1'000'000;
    step.taken = {frame};
    Side side = exactSide(step);
    side.takenInFull = true;
    return side;
}

// Like with like: a lag or a share at each value of a sweep, and on both
// sides of a change, is over the same captures.
TEST(WhatIfSummary, SharesAndLagsAreOverTheSameCaptures)
{
    // Capture A's lag is known at both values (10, then 12 ms); B's (50 ms) only at the first.
    std::vector<SweepRow> rows(2);
    rows[0].summary.add({"a", "", false, sideTaking(10), sideTaking(10)});
    rows[0].summary.add({"b", "", false, sideTaking(50), sideTaking(50)});
    rows[1].summary.add({"a", "", false, sideTaking(10), sideTaking(12)});
    Comparison unknown{"b", "", false, sideTaking(50), sideTaking(50, false)};
    unknown.after.takenInFull.reset();
    rows[1].summary.add(unknown);
    EXPECT_EQ(lagsAtEveryValue(rows), (std::vector<bool>{true, false}));
    EXPECT_EQ(inFullAtEveryValue(rows), (std::vector<bool>{true, false}));
    const std::vector<bool> every = lagsAtEveryValue(rows);
    EXPECT_EQ(rows[0].summary.lagMsAmong(every, 1, 50), 10.0);
    EXPECT_EQ(rows[1].summary.lagMsAmong(every, 1, 50), 12.0);
    EXPECT_EQ(rows[0].summary.lagAfterMs(90), 50.0); // all known at that value: not like with like
    std::ostringstream text;
    writeSweepText(text, "window", rows);
    EXPECT_EQ(text.str().find("50.000"), std::string::npos) << text.str();
    EXPECT_NE(text.str().find("1/1"), std::string::npos) << text.str();
    const nlohmann::ordered_json json = sweepJson("window", rows);
    EXPECT_EQ(json["atEveryValue"]["lagCaptures"], 1);
    EXPECT_EQ(json["values"][1]["atEveryValue"]["lagMedianMs"], 12.0);
    // Both sides of one change: B's lag after is not known, so neither side counts it.
    const nlohmann::ordered_json both = rows[1].summary.bothSidesJson();
    EXPECT_EQ(both["lagMs"]["captures"], 1);
    EXPECT_EQ(both["lagMs"]["medianBefore"], 10.0);
    EXPECT_EQ(both["lagMs"]["medianAfter"], 12.0);
    EXPECT_EQ(both["takenInFull"]["captures"], 1);
}

} // namespace
