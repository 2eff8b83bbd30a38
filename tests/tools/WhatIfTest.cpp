// What-ifs: on traces, both sides equal plain replays of the changed trace;
// from a log written by the real plug-in at one window, every fact stated
// at another window equals the plug-in run there, and every fact left open
// holds the truth within its bounds; bad changes are refused.

#include "log/LineParser.h"
#include "log/LogImporter.h"
#include "output/LogcatWriter.h"
#include "output/Report.h"
#include "replay/BuiltinTraces.h"
#include "replay/Replayer.h"
#include "replay/TraceReader.h"
#include "whatif/PropertyChange.h"
#include "whatif/Subject.h"
#include "whatif/WhatIfReport.h"
#include "whatif/WhatIfSummary.h"

#include "ReplayCli.h"

#include <PluginLoader.h>

#include <gtest/gtest.h>

#include <filesystem>

#include <algorithm>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace zsl::outcome;
using namespace zsl::whatif;
using zsl::replay::Replayer;
using zsl::replay::TraceSpec;

// Frames every 33 ms; a second queue lacks frame 12; frame 10 is used; two
// frames wanted; producer frames after the consumer list.
const char kQueuesTrace[] = R"({
  "name": "two queues", "properties": {"ro.vendor.camera3.zsl.default": 100},
  "queues": [
    {"id": 0, "type": "meta", "name": "ZSLMetaQ", "consumer": [10, 11, 12, 13, 14, 15], "producer": [16, 17],
     "frames": {"10": {"shutter": "-198ms"}, "11": {"shutter": "-165ms"}, "12": {"shutter": "-132ms"},
                "13": {"shutter": "-99ms", "metadata": {"android.control.afState": 3, "android.control.afMode": 4, "android.lens.state": 1}},
                "14": {"shutter": "-66ms"}, "15": {"shutter": "-33ms"}, "16": {"shutter": "-10ms"}, "17": {"shutter": "+5ms"}}},
    {"id": 3, "type": 2, "name": "ImgQ", "frames": {"10": {"sensorMode": 0}, "11": {"sensorMode": 0}, "13": {"sensorMode": 0},
                                                          "14": {"sensorMode": 0}, "15": {"sensorMode": 0},
                                                          "16": {"sensorMode": 0}, "17": {"sensorMode": 0}}}
  ],
  "steps": [{"capture": {"fwkFrame": 7, "used": [10], "requests": [{"android.control.enableZsl": 1}, {"android.control.enableZsl": 1}]}}]
})";

// No frame new enough at the log's window: the anchor scan runs into the
// producer list, where frame 213 has no record, and the begin lies past the
// consumer list.
const char kProducerAnchorTrace[] = R"({
  "name": "anchor in the producer list", "properties": {"ro.vendor.camera3.zsl.default": 100},
  "queues": [
    {"id": 0, "type": "meta", "name": "ZSLMetaQ", "consumer": [210, 211, 212], "producer": [213, 214, 215],
     "frames": {"210": {"shutter": "-300ms"}, "211": {"shutter": "-267ms"}, "212": {"shutter": "-234ms"},
                "214": {"shutter": "-201ms"}, "215": {"shutter": "-168ms", "metadata": {"android.control.afState": 2, "android.control.afMode": 4, "android.lens.state": 0}}}}
  ],
  "steps": [{"capture": {"fwkFrame": 2003, "requests": [{"android.control.enableZsl": 1}]}}]
})";

std::vector<TraceSpec> scenarios()
{
    std::vector<TraceSpec> traces;
    for (const zsl::replay::BuiltinTrace &builtin : zsl::replay::builtinTraces())
        traces.push_back(zsl::replay::parseTrace(builtin.text, builtin.name));
    traces.push_back(zsl::replay::parseTrace(kQueuesTrace, "two-queues.json"));
    traces.push_back(zsl::replay::parseTrace(kProducerAnchorTrace, "producer-anchor.json"));
    return traces;
}

// The trace with only these properties: the window as the default part, the pending switch.
TraceSpec configured(TraceSpec trace, int64_t windowMs, bool pending)
{
    trace.properties = {{kDefaultProperty, std::to_string(windowMs)}, {kPendingProperty, pending ? "1" : "0"}};
    return trace;
}

Changes change(int64_t windowMs, std::optional<bool> pending)
{
    std::vector<PropertyChange> list{{kWindow, windowMs}};
    if (pending)
        list.push_back({kPendingProperty, *pending ? 1 : 0});
    return Changes(list);
}

nlohmann::json stepJson(const StepOutcome &step)
{
    return zsl::output::stepJson(SessionOutcome{}, step);
}

const Replayer &replayer()
{
    static const Replayer instance(kohost::defaultPluginPath());
    return instance;
}

TEST(WhatIfOnTraces, BothSidesAreReplaysOfTheChangedTrace)
{
    // Windows from one that takes no frame (zsdTs after the capture) to one
    // older than every frame, through 0 reached by a negative user offset.
    const int64_t windows[] = {-1000, -5, 0, 17, 50, 100, 150, 1000};
    for (const TraceSpec &trace : scenarios())
        for (int64_t window : windows)
            for (bool pending : {false, true}) {
                SCOPED_TRACE(trace.file + " window " + std::to_string(window) + (pending ? " pending" : ""));
                const std::vector<Comparison> compared =
                    Subject::ofTrace(replayer(), trace).compare(change(window, pending));
                const SessionOutcome plain = replayer().run(trace);
                const SessionOutcome truth = replayer().run(configured(trace, window, pending));
                ASSERT_EQ(compared.size(), truth.steps.size());
                for (size_t s = 0; s < compared.size(); ++s) {
                    EXPECT_EQ(stepJson(compared[s].before.step), stepJson(plain.steps[s]));
                    EXPECT_EQ(stepJson(compared[s].after.step), stepJson(truth.steps[s]));
                    EXPECT_TRUE(compared[s].after.unknown.empty());
                    EXPECT_EQ(compared[s].unknownFacts(), 0u);
                }
            }
}

TEST(WhatIfOnTraces, WindowSetsTheUserOffsetAgainstTheStatedParts)
{
    TraceSpec trace = scenarios().front();
    trace.properties = {{kDefaultProperty, "300"}, {kProjectProperty, "0x20"}}; // read as hex by the plug-in
    const Comparison compared = Subject::ofTrace(replayer(), trace).compare(change(0, std::nullopt)).front();
    ASSERT_TRUE(compared.after.step.zsdTs);
    EXPECT_EQ(*compared.after.step.zsdTs, compared.after.step.captureNs); // a window of 0
    EXPECT_EQ(Changes({{kWindow, 150}}).applied(trace.properties, {false, 300, 32, 0}).back(),
              (std::pair<std::string, std::string>(kUserProperty, "-182")));
}

// The i-th step with a selection of a session.
std::vector<const StepOutcome *> selections(const SessionOutcome &session)
{
    std::vector<const StepOutcome *> steps;
    for (const StepOutcome &step : session.steps)
        if (step.selectRan)
            steps.push_back(&step);
    return steps;
}

SessionOutcome logOf(const TraceSpec &trace, int level)
{
    TraceSpec logged = trace;
    logged.logLevel = level;
    std::string text;
    for (const kohost::LogLine &line : replayer().run(logged).androidLog)
        text += zsl::output::logcatLine(line) + "\n";
    zsl::log::LogImporter importer("device.log");
    std::FILE *stream = fmemopen(text.data(), text.size(), "r");
    zsl::log::readDeviceLog(
        stream, [&](kohost::LogLine line, uint64_t number) { importer.add(std::move(line), number); },
        [](const std::string &) {});
    std::fclose(stream);
    return importer.finish();
}

size_t positionOf(const StepOutcome &step, std::optional<uint32_t> frame)
{
    StepOutcome anchored = step;
    anchored.anchorFrame = frame;
    return anchorPosition(anchored);
}

// Every fact a side states equals the truth; every other one holds it within its bounds.
size_t expectTrue(const Side &side, const StepOutcome &truth)
{
    size_t stated = 0;
    auto check = [&](const char *fact, auto field) {
        if (side.states(fact)) {
            EXPECT_EQ(side.step.*field, truth.*field) << fact;
            ++stated;
        }
    };
    check(fact::kZsdTs, &StepOutcome::zsdTs);
    check(fact::kAnchor, &StepOutcome::anchorFrame);
    check(fact::kAnchorOffset, &StepOutcome::anchorOffset);
    check(fact::kBegin, &StepOutcome::csbegin);
    check(fact::kSelected, &StepOutcome::selectedFrames);
    check(fact::kTaken, &StepOutcome::taken);
    check(fact::kRequested, &StepOutcome::requested);
    if (side.takenInFull && truth.kind == StepKind::Capture) {
        EXPECT_EQ(*side.takenInFull, truth.taken.size() >= truth.requested);
    }
    for (const CheckOutcome &check : side.step.checks) {
        auto real = std::find_if(truth.checks.begin(), truth.checks.end(),
                                 [&](const CheckOutcome &c) { return c.frame == check.frame; });
        if (check.unknown.empty() && real != truth.checks.end()) {
            EXPECT_EQ(check.verdict, real->verdict) << "frame " << check.frame;
        }
    }
    for (const std::optional<double> &lag : side.takenLagsMs())
        EXPECT_TRUE(!lag || *lag >= 0 || truth.zsdTs > truth.captureNs);
    // Bounds.
    if (!side.states(fact::kAnchor) && side.anchorFrom) {
        EXPECT_GE(positionOf(truth, truth.anchorFrame), *side.anchorFrom);
    }
    if (const auto open = side.unknown.find(fact::kBegin);
        open != side.unknown.end() && open->second.boundJson.is_object() && truth.csbegin) {
        EXPECT_GE(*truth.csbegin, open->second.boundJson.at("atLeast").get<int>());
        EXPECT_LE(*truth.csbegin, open->second.boundJson.at("atMost").get<int>());
    }
    if (const auto open = side.unknown.find(fact::kSelected);
        open != side.unknown.end() && open->second.boundJson.is_object()) {
        const nlohmann::json &bound = open->second.boundJson;
        for (uint32_t frame : bound.value("atLeast", std::vector<uint32_t>()))
            EXPECT_TRUE(std::count(truth.selectedFrames.begin(), truth.selectedFrames.end(), frame)) << frame;
        if (bound.contains("atMost")) {
            const auto most = bound["atMost"].get<std::vector<uint32_t>>();
            for (uint32_t frame : truth.selectedFrames)
                EXPECT_TRUE(std::count(most.begin(), most.end(), frame)) << frame;
        }
    }
    return stated;
}

struct RoundTripCase {
    int level;                  // the Android log's level: 3 debug, 4 info
    std::optional<bool> pending; // the change's pending switch, if it sets one
};

class WhatIfFromLog : public testing::TestWithParam<RoundTripCase> {};

TEST_P(WhatIfFromLog, StatesOnlyWhatThePlugInDoesAtTheOtherWindow)
{
    const int64_t windows[] = {0, 30, 100, 150, 400};
    size_t stated = 0, sameWindowOpen = 0, earlyStated = 0;
    for (const TraceSpec &scenario : scenarios())
        for (int64_t from : windows)
            // At a window of 0 every frame is too old: with pending support on, the
            // selection finishes early (at info level, without its end line).
            for (bool logPending : from == 0 ? std::vector<bool>{false, true} : std::vector<bool>{false})
                for (int64_t to : windows) {
                    SCOPED_TRACE(scenario.file + ": from " + std::to_string(from) + " to " + std::to_string(to) +
                                 (logPending ? ", pending on" : ""));
                    const SessionOutcome log = logOf(configured(scenario, from, logPending), GetParam().level);
                    const SessionOutcome before = replayer().run(configured(scenario, from, logPending));
                    const SessionOutcome after =
                        replayer().run(configured(scenario, to, GetParam().pending.value_or(logPending)));
                    const auto logged = selections(log);
                    const auto was = selections(before), truth = selections(after);
                    ASSERT_EQ(logged.size(), was.size());
                    for (size_t i = 0; i < logged.size(); ++i) {
                        const Comparison compared =
                            Subject::ofLog(replayer(), log, *logged[i]).compare(change(to, GetParam().pending)).front();
                        if (truth[i]->selectRan) {
                            const size_t facts = expectTrue(compared.after, *truth[i]);
                            stated += facts;
                            earlyStated += logPending && logged[i]->finishedEarly ? facts : 0;
                            if (from == to && !GetParam().pending && !logPending && GetParam().level == 3)
                                sameWindowOpen += compared.after.unknown.count(fact::kAnchor) +
                                                  compared.after.unknown.count(fact::kBegin);
                        }
                        expectTrue(compared.before, *was[i]);
                    }
                }
    EXPECT_GT(stated, 100u); // not every fact left open
    EXPECT_EQ(sameWindowOpen, 0u); // at the log's own window, the scan is the log's
    if (GetParam().level == 4) {
        EXPECT_GT(earlyStated, 0u); // a selection that finished early grounds the other windows too
    }
}

TEST(WhatIfKeptLoaded, EveryCaptureComparesAsWithAFreshLoadPerTrace)
{
    // The plug-in kept loaded, a fresh selector per trace, against a load per
    // trace of a copy of it (another file: a library of its own, whose
    // load-time switch is read again each time), on every capture of logs
    // at both levels, at every window, with the pending switch kept, set and
    // cleared (a reload), in an order that switches back and forth.
    // The logs first: made by a load per trace of the plug-in itself, which
    // must not share the kept library.
    struct Case {
        SessionOutcome log;
        int64_t window;
        std::optional<bool> pending;
    };
    std::vector<Case> cases;
    const std::optional<bool> pendings[] = {std::nullopt, true, std::nullopt, false, true};
    for (const TraceSpec &scenario : scenarios())
        for (int level : {3, 4})
            for (int64_t window : {0, 100, 400})
                for (const std::optional<bool> pending : pendings)
                    cases.push_back({logOf(configured(scenario, 100, pending.value_or(false)), level), window, pending});
    const std::string copy = testing::TempDir() + "/zsl-plugin-copy.so";
    std::filesystem::copy_file(kohost::defaultPluginPath(), copy, std::filesystem::copy_options::overwrite_existing);
    const Replayer kept(kohost::defaultPluginPath(), false, Replayer::Loading::KeptLoaded);
    const Replayer fresh(copy);
    size_t compared = 0;
    for (const Case &c : cases)
        for (const StepOutcome *step : selections(c.log)) {
            const Comparison a = Subject::ofLog(kept, c.log, *step).compare(change(c.window, c.pending)).front();
            const Comparison b = Subject::ofLog(fresh, c.log, *step).compare(change(c.window, c.pending)).front();
            ASSERT_EQ(zsl::whatif::comparisonJson(a).dump(), zsl::whatif::comparisonJson(b).dump())
                << c.log.steps.size() << " steps, window " << c.window;
            ++compared;
        }
    EXPECT_GT(compared, 100u);
    // Traces too: every step of every scenario, both sides.
    for (const TraceSpec &scenario : scenarios())
        for (const std::optional<bool> pending : pendings) {
            const auto a = Subject::ofTrace(kept, scenario).compare(change(150, pending));
            const auto b = Subject::ofTrace(fresh, scenario).compare(change(150, pending));
            ASSERT_EQ(a.size(), b.size());
            for (size_t i = 0; i < a.size(); ++i)
                ASSERT_EQ(zsl::whatif::comparisonJson(a[i]).dump(), zsl::whatif::comparisonJson(b[i]).dump()) << scenario.file;
        }
    std::filesystem::remove(copy);
}

INSTANTIATE_TEST_SUITE_P(Levels, WhatIfFromLog,
                         testing::Values(RoundTripCase{3, std::nullopt}, RoundTripCase{4, std::nullopt},
                                         RoundTripCase{3, true}, RoundTripCase{3, false}),
                         [](const testing::TestParamInfo<RoundTripCase> &info) {
                             return std::string(info.param.level == 3 ? "Debug" : "Info") +
                                    (!info.param.pending ? "" : *info.param.pending ? "PendingOn" : "PendingOff");
                         });

TEST(WhatIfFromLogAlone, WithoutAMetadataQueueNoPropertyMatters)
{
    const TraceSpec trace = zsl::replay::parseTrace(R"({"name": "no metadata queue",
        "queues": [{"id": 2, "type": 2, "frames": {"5": {"sensorMode": 0}}}],
        "steps": [{"capture": {"fwkFrame": 3, "requests": [{"android.control.enableZsl": 1}]}}]})",
                                                    "no-meta.json");
    const SessionOutcome log = logOf(trace, 3);
    const auto logged = selections(log);
    ASSERT_EQ(logged.size(), 1u);
    const Comparison compared = Subject::ofLog(replayer(), log, *logged[0]).compare(change(150, true)).front();
    ASSERT_EQ(compared.after.unknown.size(), 1u);
    EXPECT_EQ(compared.after.unknown.begin()->first, fact::kRequested);
    EXPECT_EQ(compared.changed(), false);
    expectTrue(compared.after, *selections(replayer().run(configured(trace, 150, true))).front());
}

TEST(WhatIfChanges, BadChangesAreRefusedInOneLine)
{
    struct Bad {
        const char *set, *sweep, *expected;
    };
    const Bad cases[] = {
        {"ro.vendor.camera3.zsl.defualt=100", nullptr, "is not a property the selector reads"},
        {"window=1e3", nullptr, "is not a whole number"},
        {"window=", nullptr, "is not a whole number"},
        {"window=99999999999999999999", nullptr, "of 64 bits"},
        {"persist.vendor.kohal.selector.pending.mask=2", nullptr, "takes 0 (off) or 1 (on)"},
        {"window", nullptr, "is not NAME=VALUE"},
        {nullptr, "window=0:100:0", "the step must be non-zero"},
        {nullptr, "window=100:0:10", "the step must be non-zero and lead from 100 to 0"},
        {nullptr, "window=0:100:-10", "lead from 0 to 100"},
        {nullptr, "window=0:1000:1", "1001 values; at most 1000"},
        {nullptr, "window=-9223372036854775808:9223372036854775807:1", "values; at most 1000"},
        {nullptr, "window=0:100", "give NAME=FROM:TO:STEP"},
    };
    for (const Bad &bad : cases) {
        SCOPED_TRACE(bad.set ? bad.set : bad.sweep);
        try {
            bad.set ? (void)Changes::parse(bad.set) : (void)Changes::sweep(bad.sweep);
            ADD_FAILURE() << "accepted";
        } catch (const zsl::outcome::Error &error) {
            EXPECT_NE(std::string(error.what()).find(bad.expected), std::string::npos) << error.what();
            EXPECT_EQ(std::string(error.what()).find('\n'), std::string::npos);
        }
    }
    EXPECT_THROW(Changes({{kWindow, 1}, {kUserProperty, 2}}), zsl::outcome::Error);
    EXPECT_THROW(Changes({{kDefaultProperty, 1}, {kDefaultProperty, 2}}), zsl::outcome::Error);
}

TEST(WhatIfChanges, SweepValuesRunFromFirstToLastByStep)
{
    auto values = [](const char *text) {
        std::vector<int64_t> out;
        for (const PropertyChange &value : Changes::sweep(text))
            out.push_back(value.value);
        return out;
    };
    EXPECT_EQ(values("window=0:100:25"), (std::vector<int64_t>{0, 25, 50, 75, 100}));
    EXPECT_EQ(values("window=100:0:-40"), (std::vector<int64_t>{100, 60, 20}));
    EXPECT_EQ(values("window=7:7:3"), (std::vector<int64_t>{7}));
    EXPECT_EQ(values("window=0:999:1").size(), 1000u);
}

} // namespace
