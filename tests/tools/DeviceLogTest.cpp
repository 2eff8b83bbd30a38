// From a replay to a device's logcat and back: what the log reader rebuilds
// equals what the replay knew, threads told apart, bad logs read as far as
// they can be. The log's formats are in DeviceLogFormatsTest, damaged logs
// in DamagedLogTest.

#include "ReplayCli.h"

#include "log/LineParser.h"
#include "output/LogcatWriter.h"
#include "log/LogImporter.h"
#include "output/Perfetto.h"
#include <PluginLoader.h>
#include "replay/Replayer.h"
#include "replay/TraceReader.h"
#include "output/TraceWriter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace zsl::outcome;
using namespace zsl::replay;
using namespace zsl::log;
using namespace zsl::output;
using kotest::Outcome;
using kotest::TempFile;
using nlohmann::json;

// A frame whose states pass every rule, and the request that matches it.
#define SETTLED R"({"android.control.aeExposureCompensation": 0, "android.control.afMode": 4, "android.control.afState": 2, "android.lens.state": 0, "android.control.aeState": 2})"
#define SCANNING R"({"android.control.aeExposureCompensation": 0, "android.control.afMode": 4, "android.control.afState": 3, "android.lens.state": 1, "android.control.aeState": 2})"
#define WANTS(n) R"({"android.control.enableZsl": 1, "android.control.aeExposureCompensation": 0)" n "}"

struct Case {
    const char *name;
    const char *trace; // nullptr: the file named by path
    const char *path = nullptr;
};

// The replay's session, its Android log as threadtime text, and that text read back.
struct RoundTrip {
    SessionOutcome replayed;
    std::string logcat;
};

RoundTrip replayToLogcat(TraceSpec trace, int tid = 0, int level = 3)
{
    trace.logLevel = level; // 3: the Android log open at debug level, 4: at info level
    RoundTrip trip{Replayer(kohost::defaultPluginPath()).run(trace), ""};
    for (kohost::LogLine line : trip.replayed.androidLog) {
        line.tid = tid ? tid : line.tid;
        trip.logcat += logcatLine(line) + "\n";
    }
    return trip;
}

kohost::LogLine withTid(kohost::LogLine line, int tid)
{
    line.tid = tid;
    return line;
}

SessionOutcome readLog(const std::string &text, std::vector<std::string> *warnings = nullptr)
{
    LogImporter importer("test.log");
    std::FILE *stream = fmemopen(const_cast<char *>(text.data()), text.size(), "r");
    EXPECT_NO_THROW(readDeviceLog(
        stream, [&](kohost::LogLine line, uint64_t number) { importer.add(std::move(line), number); },
        [&](const std::string &problem) { importer.problem(problem); }));
    std::fclose(stream);
    SessionOutcome session = importer.finish();
    if (warnings)
        *warnings = importer.warnings();
    return session;
}

// Every selection of the replay is found in the log with the same facts,
// and every check the plug-in logged with the same verdict and reason. At
// info level the debug lines are missing: what they would tell may only be
// said as unknown (a verdict, the frames taken) or as a bound (a selection
// "or fewer from the front"), never stated otherwise.
void expectRebuilt(const SessionOutcome &replayed, const SessionOutcome &read, bool infoLevel = false)
{
    std::vector<const StepOutcome *> selections;
    for (const StepOutcome &step : read.steps)
        if (step.selectRan)
            selections.push_back(&step);
    size_t next = 0;
    for (const StepOutcome &want : replayed.steps) {
        if (!want.selectRan)
            continue;
        ASSERT_LT(next, selections.size()) << "fwkFrame " << want.fwkFrame;
        const StepOutcome &got = *selections[next++];
        SCOPED_TRACE("fwkFrame " + std::to_string(want.fwkFrame));
        EXPECT_EQ(got.fwkFrame, want.fwkFrame);
        EXPECT_EQ(got.consumer, want.consumer);
        if (got.producerKnown) {
            EXPECT_EQ(got.producer, want.producer);
        }
        EXPECT_EQ(got.zsdTs, want.zsdTs);
        EXPECT_EQ(got.motionCapture, want.motionCapture);
        EXPECT_EQ(got.captureNs, want.captureNs);
        EXPECT_EQ(got.anchorFrame, want.anchorFrame);
        EXPECT_EQ(got.anchorOffset, want.anchorOffset);
        EXPECT_EQ(got.csbegin, want.csbegin);
        for (const auto &[frame, ns] : got.shutterNs)
            EXPECT_EQ(want.shutterNs.at(frame), ns) << "frame " << frame;
        for (const StepWarning &warning : got.warnings)
            EXPECT_TRUE(std::any_of(want.warnings.begin(), want.warnings.end(),
                                    [&](const StepWarning &known) { return known.text == warning.text; }))
                << warning.text;
        if (!infoLevel) {
            EXPECT_EQ(got.warnings.size(), want.warnings.size());
        }
        // The traces use no frame numbers: the whole selection is known
        // unless the producer list was not logged.
        const bool producerUnknown = std::any_of(got.notes.begin(), got.notes.end(), [](const std::string &note) {
            return note.find("producer list is not in the log") != std::string::npos;
        });
        if (!producerUnknown && got.selectionCaveat.empty()) {
            EXPECT_EQ(got.selectedFrames, want.selectedFrames);
        } else if (!producerUnknown) { // or fewer from the front
            ASSERT_LE(want.selectedFrames.size(), got.selectedFrames.size());
            EXPECT_TRUE(std::equal(want.selectedFrames.rbegin(), want.selectedFrames.rend(), got.selectedFrames.rbegin()));
        }
        EXPECT_EQ(got.selectionCaveat.empty(), !infoLevel || got.selectedFrames.empty());
        // Each check read is one the plug-in made, in order, with its verdict
        // and reason or an unknown verdict.
        std::vector<const CheckOutcome *> logged;
        for (const CheckOutcome &check : want.checks)
            if (!check.log.empty()) // a frame without a record and a null request leaves no line
                logged.push_back(&check);
        if (!infoLevel) {
            ASSERT_EQ(got.checks.size(), logged.size());
        }
        size_t at = 0;
        for (const CheckOutcome &check : got.checks) {
            while (at < logged.size() && logged[at]->frame != check.frame)
                ++at;
            ASSERT_LT(at, logged.size()) << "frame " << check.frame << " was not checked";
            // A sensor-mode check's first line alone tells "no sensor-mode
            // queue", unless the log ends there: then it is not known.
            const bool endsInside = check.unknown.find("the log ends inside it") != std::string::npos &&
                                    &check == &read.steps.back().checks.back();
            EXPECT_EQ(check.unknown.empty(), !infoLevel && !endsInside) << "frame " << check.frame << ": " << check.unknown;
            if (check.unknown.empty()) {
                EXPECT_EQ(check.verdict, logged[at]->verdict) << "frame " << check.frame;
                EXPECT_EQ(check.reason, logged[at]->reason) << "frame " << check.frame;
            }
            ++at;
        }
        if (got.requested > 0) {
            EXPECT_EQ(got.requested, want.requested);
            EXPECT_EQ(got.takenUnknown.empty(), !infoLevel && got.completeness == Completeness::Whole);
            if (got.takenUnknown.empty()) {
                EXPECT_EQ(got.taken, want.taken);
            }
        }
    }
}

class LogRoundTrip : public testing::TestWithParam<Case> {};

TEST_P(LogRoundTrip, ReadBackEqualsWhatTheReplayKnew)
{
    const Case &c = GetParam();
    TraceSpec trace = c.trace ? parseTrace(c.trace, c.name) : readTraceFile(std::string(ZSL_SOURCE_DIR "/") + c.path);
    for (int level : {3, 4}) { // debug, and info as phones in the field log
        SCOPED_TRACE(level == 3 ? "debug level" : "info level");
        RoundTrip trip = replayToLogcat(trace, 0, level);
        std::vector<std::string> warnings;
        expectRebuilt(trip.replayed, readLog(trip.logcat, &warnings), level == 4);
        EXPECT_TRUE(warnings.empty()) << warnings.front();
    }
}

INSTANTIATE_TEST_SUITE_P(
    Captures, LogRoundTrip,
    testing::Values(
        Case{"overview", nullptr, "examples/overview.json"},
        Case{"motionCapture", nullptr, "examples/motion-capture.json"},
        Case{"superResolutionSensorMode", nullptr, "examples/super-resolution-sensor-mode.json"},
        Case{"twoCameraFocus", nullptr, "examples/two-camera-focus.json"},
        Case{"removedFramesAndQueueLackingBegin", nullptr, "tests/tools/traces/taken-missing-and-why.json"},
        Case{"pendingAndSingleSteps", nullptr, "tests/tools/traces/pending-and-single-steps.json"},
        Case{"anchorInProducerList", R"({"queues": [{"id": 0, "type": "meta", "consumer": [1, 2], "producer": [3, 4],
            "frames": {"1": {"shutter": "-500ms"}, "2": {"shutter": "-400ms"},
                       "3": {"shutter": "-50ms", "metadata": )" SETTLED R"(}, "4": {"shutter": "-20ms", "metadata": )" SETTLED R"(}}}],
            "steps": [{"capture": {"fwkFrame": 7, "requests": [)" WANTS("") R"(]}}]})"},
        Case{"mfnrRefusedForSensorMode", R"({"queues": [{"id": 0, "type": "meta", "consumer": [1, 2],
            "frames": {"1": {"shutter": "-60ms", "metadata": )" SETTLED R"(}, "2": {"shutter": "-30ms", "metadata": )" SETTLED R"(}}},
            {"id": 1, "type": "sensorMode", "frames": {"1": {"sensorMode": 1}, "2": {"sensorMode": 2}}}],
            "steps": [{"capture": {"fwkFrame": 8, "requests": [)" WANTS(R"(, "korvan.mfnr.enabled": 1, "com.korvan.ext.control.policy.sensorMode": 2)") R"(]}}]})"},
        Case{"threeCamerasFirstAndThirdFail", R"({"queues": [{"id": 0, "type": "meta", "consumer": [1, 2, 3],
            "frames": {"1": {"shutter": "-90ms", "physical": {"0": )" SCANNING R"(, "1": )" SETTLED R"(, "5": )" SCANNING R"(}},
                       "2": {"shutter": "-60ms", "physical": {"0": )" SETTLED R"(, "1": )" SCANNING R"(, "5": )" SETTLED R"(}},
                       "3": {"shutter": "-30ms", "physical": {"0": )" SETTLED R"(, "1": )" SETTLED R"(, "5": )" SETTLED R"(}}}}],
            "properties": {"ro.vendor.camera3.zsl.default": 100},
            "steps": [{"capture": {"fwkFrame": 9, "requests": [)" WANTS("") R"(, {}, {}]}}]})"},
        Case{"superResolutionWithoutSensorModeQueue", R"({"queues": [{"id": 0, "type": "meta", "consumer": [1, 2],
            "frames": {"1": {"shutter": "-60ms", "metadata": )" SETTLED R"(}, "2": {"shutter": "-30ms", "metadata": )" SETTLED R"(}}}],
            "steps": [{"capture": {"fwkFrame": 5, "requests": [)" WANTS(R"(, "korvan.superResolution.enabled": 1)") R"(]}}]})"},
        Case{"afModeAndAfStateMissing", R"({"queues": [{"id": 0, "type": "meta", "consumer": [1, 2],
            "frames": {"1": {"shutter": "-60ms", "metadata": {"android.control.aeExposureCompensation": 0, "android.control.afState": 2, "android.lens.state": 0}},
                       "2": {"shutter": "-30ms", "metadata": {"android.control.aeExposureCompensation": 0, "android.control.afMode": 4, "android.lens.state": 0}}}}],
            "properties": {"ro.vendor.camera3.zsl.default": 100},
            "steps": [{"capture": {"fwkFrame": 4, "requests": [)" WANTS("") R"(, {}]}}]})"},
        Case{"nullRequestAndNoMetadataQueue", R"({"queues": [{"id": 0, "type": "meta", "consumer": [1],
            "frames": {"1": {"shutter": "-30ms", "metadata": )" SETTLED R"(}}}],
            "steps": [{"capture": {"fwkFrame": 3, "requests": [null]}}, {"check": {"frame": 1, "request": null}}]})"}),
    [](const testing::TestParamInfo<Case> &info) { return info.param.name; });

// A capture read from a log, written as a trace and replayed, is judged as
// on the phone: the same frames checked with the same verdicts and taken.
TEST(LogToTrace, ReplaysWithTheVerdictsOfTheLog)
{
    for (const char *example : {"overview", "motion-capture", "super-resolution-sensor-mode", "two-camera-focus"}) {
        SCOPED_TRACE(example);
        const SessionOutcome read =
            readLog(replayToLogcat(readTraceFile(std::string(ZSL_SOURCE_DIR "/examples/") + example + ".json")).logcat);
        const StepOutcome &logged = read.steps.at(0);
        const TraceSpec trace = parseTrace(traceFromLog(read, logged).dump(), "from-log.json");
        const StepOutcome replayed = Replayer(kohost::defaultPluginPath()).run(trace).steps.at(0);
        ASSERT_EQ(replayed.checks.size(), logged.checks.size());
        for (size_t i = 0; i < logged.checks.size(); ++i) {
            EXPECT_EQ(replayed.checks[i].frame, logged.checks[i].frame);
            EXPECT_EQ(replayed.checks[i].verdict, logged.checks[i].verdict);
        }
        EXPECT_EQ(replayed.taken, logged.taken);
    }
}

// Two cameras' selectors log at once, or one after the other: with thread
// ids their lines are told apart by thread; without (brief), by fwkFrame,
// and captures whose lines interleave are said to be possibly mixed.
struct ThreadsCase {
    const char *name;
    const char *format;
    bool interleaved;
    const char *second = "two-camera-focus"; // the other thread's capture
};

class LogRoundTripThreads : public testing::TestWithParam<ThreadsCase> {};

TEST_P(LogRoundTripThreads, ToldApartOrSaidToBeMixed)
{
    const ThreadsCase &c = GetParam();
    const std::string dir = ZSL_SOURCE_DIR "/examples/";
    RoundTrip a = replayToLogcat(readTraceFile(dir + "overview.json"), 101);
    RoundTrip b = replayToLogcat(readTraceFile(dir + c.second + ".json"), 202);
    std::vector<std::string> linesA, linesB;
    for (const kohost::LogLine &line : a.replayed.androidLog)
        linesA.push_back(logcatLine(withTid(line, 101), c.format));
    for (const kohost::LogLine &line : b.replayed.androidLog)
        linesB.push_back(logcatLine(withTid(line, 202), c.format));
    std::string log;
    for (size_t i = 0; i < std::max(linesA.size(), linesB.size()); ++i) {
        if (c.interleaved && i < linesA.size())
            log += linesA[i] + "\n";
        if (c.interleaved && i < linesB.size())
            log += linesB[i] + "\n";
    }
    if (!c.interleaved)
        for (const auto *lines : {&linesA, &linesB})
            for (const std::string &line : *lines)
                log += line + "\n";
    std::vector<std::string> warnings;
    const SessionOutcome read = readLog(log, &warnings);
    const bool threadIds = std::string(c.format) == "threadtime";
    const bool mixed = c.interleaved && !threadIds;
    EXPECT_EQ(warnings.empty(), !mixed) << (warnings.empty() ? "" : warnings.front());
    for (const StepOutcome &step : read.steps) {
        const bool saysMixed = !step.notes.empty() && step.notes.front().rfind("mixed threads: ", 0) == 0;
        EXPECT_EQ(saysMixed, mixed && step.kind != StepKind::Needed) << "fwkFrame " << step.fwkFrame;
    }
    if (mixed)
        return; // said, not stated as fact
    // By thread where the log shows it, else in the order read.
    const auto selections = [](const SessionOutcome &session) {
        return std::count_if(session.steps.begin(), session.steps.end(), [](const StepOutcome &step) { return step.selectRan; });
    };
    SessionOutcome first, second;
    for (const StepOutcome &step : read.steps) {
        const bool ofA = threadIds ? step.label.find("tid 101") != std::string::npos
                                   : selections(first) < selections(a.replayed);
        if (step.selectRan)
            (ofA ? first : second).steps.push_back(step);
    }
    expectRebuilt(a.replayed, first);
    expectRebuilt(b.replayed, second);
}

INSTANTIATE_TEST_SUITE_P(Formats, LogRoundTripThreads,
                         testing::Values(ThreadsCase{"threadtimeInterleaved", "threadtime", true},
                                         ThreadsCase{"briefInterleaved", "brief", true},
                                         // Both threads' captures are fwkFrame 100.
                                         ThreadsCase{"timeInterleavedSameFwkFrame", "time", true, "overview"},
                                         ThreadsCase{"briefOneAfterTheOther", "brief", false},
                                         ThreadsCase{"rawOneAfterTheOther", "raw", false}),
                         [](const testing::TestParamInfo<ThreadsCase> &info) { return info.param.name; });

struct BadLog {
    const char *name; // also what is done to the overview capture's log
    int status;
    const char *errHas;
    const char *outHas;
    long errLines = 1;
};

class DeviceLogBadInput : public testing::TestWithParam<BadLog> {};

TEST_P(DeviceLogBadInput, ResultForWhatCanBeReadAndOneLinePerProblem)
{
    const BadLog &c = GetParam();
    const std::string log =
        replayToLogcat(readTraceFile(ZSL_SOURCE_DIR "/examples/overview.json")).logcat;
    std::string text = log;
    const std::string edit = c.name;
    if (edit == "noPluginLine")
        text = "11-23 18:46:29.123  1234  1240 I CameraService: open\n";
    else if (edit == "cutInTheMiddle")
        text = log.substr(0, log.find("ZSLAnchor") + 12);
    else if (edit == "startsInsideTheSelection")
        text = log.substr(log.find("\n", log.find("zsdTs:")) + 1);
    else if (edit == "outOfOrder")
        text = "02-01 00:00:00.000     1     1 D KoAlgoEngine: ZSL f.cpp:1 f()hf OK\n"
               "01-01 00:00:00.000     1     1 D KoAlgoEngine: ZSL f.cpp:1 f()hf OK\n";
    else if (edit == "unknownFormat")
        text = log.substr(0, log.find('\n') + 1) + "<KoAlgoEngine> 18:46 something\n" + log.substr(log.find('\n') + 1);
    else if (edit == "unknownText")
        text = log + "01-01 00:01:40.000  1  1 D KoAlgoEngine: ZSL f.cpp:1 f()something new\n";
    TempFile file(text);
    Outcome run = kotest::replay("explain " + file.path());
    EXPECT_EQ(run.status, c.status) << run.err;
    EXPECT_NE(run.err.find(c.errHas), std::string::npos) << run.err;
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), c.errLines) << run.err;
    EXPECT_NE(run.out.find(c.outHas), std::string::npos) << run.out;
}

INSTANTIATE_TEST_SUITE_P(
    Logs, DeviceLogBadInput,
    testing::Values(
        BadLog{"noPluginLine", 2, "no line of the plug-in (tag KoAlgoEngine) in this log", ""},
        BadLog{"cutInTheMiddle", 0, "the log ends in the middle of line 10, which is left out",
               "selected: not known (the selection's end (the anchor offset line) is not in the log)", 2},
        BadLog{"startsInsideTheSelection", 0, "line 1: the log starts inside a selection: fwkFrame 100",
               "the selection starts at list position 3"},
        BadLog{"outOfOrder", 0, "line 1: frame checks whose capture and frames are not in the log, passed over",
               "read from a device log: 2 lines", 2},
        BadLog{"unknownText", 0, "does not know, passed over: \"something new\"", "took 1 of 1"},
        BadLog{"unknownFormat", 0, "1 line names the tag KoAlgoEngine in a format this reader does not know (the first is line 2)",
               "took 1 of 1"}),
    [](const testing::TestParamInfo<BadLog> &info) { return info.param.name; });

} // namespace
