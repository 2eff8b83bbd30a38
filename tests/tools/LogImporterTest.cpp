// The importer's rules that a plain round trip does not reach: a check
// whose selection is not in the log, the first camera of two refused, the
// note that numbers unnamed accepted frames, pending support's producer
// part, a selection cut short or out of order, and why a frame was refused.

#include "log/LineParser.h"
#include "log/LogImporter.h"
#include "log/LogcatFormats.h"
#include "outcome/FrameText.h"
#include "outcome/PluginLines.h"
#include "messages/PluginEvent.h"
#include "output/LogcatWriter.h"
#include "replay/Replayer.h"
#include "replay/TraceReader.h"

#include <PluginLoader.h>

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace zsl::outcome;
using zsl::messages::MessageKind;
using zsl::messages::PluginEvent;

std::string fileText(const std::string &path)
{
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

// The trace's Android-log lines at debug level, those `keep` keeps.
std::vector<kohost::LogLine> replayed(const std::string &traceText,
                                      const std::function<bool(const PluginEvent &)> &keep = nullptr)
{
    zsl::replay::TraceSpec trace = zsl::replay::parseTrace(traceText, "test.json");
    trace.logLevel = 3;
    std::vector<kohost::LogLine> lines;
    for (kohost::LogLine &line : zsl::replay::Replayer(kohost::defaultPluginPath()).run(trace).androidLog) {
        const std::optional<PluginEvent> event = PluginEvent::decode(line.text);
        if (event && (!keep || keep(*event)))
            lines.push_back(std::move(line));
    }
    return lines;
}

// A log's text read into `importer`, as a device log is read.
void readInto(zsl::log::LogImporter &importer, std::string log)
{
    std::FILE *stream = fmemopen(log.data(), log.size(), "r");
    zsl::log::readDeviceLog(
        stream, [&](kohost::LogLine line, uint64_t number) { importer.add(std::move(line), number); },
        [](const std::string &) {});
    std::fclose(stream);
}

SessionOutcome importedText(const std::string &log)
{
    zsl::log::LogImporter importer("test.log");
    readInto(importer, log);
    return importer.finish();
}

SessionOutcome imported(const std::vector<kohost::LogLine> &lines)
{
    std::string log;
    for (const kohost::LogLine &line : lines)
        log += zsl::output::logcatLine(line) + "\n";
    return importedText(log);
}

const std::string kExamples = ZSL_SOURCE_DIR "/examples/";

TEST(LogImporterRules, ACheckWithoutItsSelectionIsAStepOfItsFwkFrame)
{
    const auto checksOnly = [](const PluginEvent &event) {
        return event.kind() != MessageKind::Config && event.kind() != MessageKind::Needed &&
               event.kind() != MessageKind::SelectStart && event.kind() != MessageKind::Select;
    };
    const std::string trace = fileText(kExamples + "two-camera-focus.json");
    const SessionOutcome whole = imported(replayed(trace));
    ASSERT_FALSE(whole.steps.empty());
    const uint32_t fwkFrame = whole.steps.front().fwkFrame;
    ASSERT_NE(fwkFrame, 0u);
    const SessionOutcome read = imported(replayed(trace, checksOnly));
    ASSERT_FALSE(read.steps.empty());
    // A check whose lines name its fwkFrame (a refusal does) is of that
    // fwkFrame; an accepted frame's lines name none.
    size_t named = 0;
    for (const StepOutcome &step : read.steps) {
        EXPECT_EQ(step.kind, StepKind::Check);
        EXPECT_TRUE(step.fwkFrame == fwkFrame || step.fwkFrame == 0) << step.fwkFrame;
        named += step.fwkFrame == fwkFrame;
    }
    EXPECT_GT(named, 0u);
}

TEST(LogImporterRules, TheFirstOfTwoCamerasRefusedIsNamed)
{
    // The two-camera example with the cameras' states swapped: camera 0,
    // the first in the record, still scans focus.
    std::string trace = fileText(kExamples + "two-camera-focus.json");
    for (size_t at; (at = trace.find("\"0\": {")) != std::string::npos;)
        trace.replace(at, 6, "\"X\": {");
    for (size_t at; (at = trace.find("\"2\": {")) != std::string::npos;)
        trace.replace(at, 6, "\"0\": {");
    for (size_t at; (at = trace.find("\"X\": {")) != std::string::npos;)
        trace.replace(at, 6, "\"2\": {");
    const SessionOutcome read = imported(replayed(trace));
    bool refusedByCamera0 = false;
    for (const StepOutcome &step : read.steps)
        for (const CheckOutcome &check : step.checks)
            refusedByCamera0 = refusedByCamera0 || check.explanation.rfind("camera 0: AF", 0) == 0;
    EXPECT_TRUE(refusedByCamera0);
    for (const StepOutcome &step : read.steps)
        if (!step.states.empty()) {
            EXPECT_TRUE(step.states.count(StatesSource::camera(0))) << statesSourceText(step.states.begin()->first);
            EXPECT_FALSE(step.states.count(StatesSource::unknownCamera(1)));
        }
}

TEST(LogImporterRules, UnnamedAcceptedFramesAreNumberedAndSaidSo)
{
    const SessionOutcome read = imported(replayed(fileText(kExamples + "overview.json")));
    const std::string note = "accepted frames without super resolution have no line naming them";
    size_t said = 0, inferred = 0;
    for (const StepOutcome &step : read.steps) {
        bool saidHere = false;
        for (const std::string &text : step.notes)
            saidHere = saidHere || text.rfind(note, 0) == 0;
        said += saidHere;
        // Marked on each check so numbered: what-if takes no verdict from it
        // unless every selected frame was checked.
        for (const CheckOutcome &check : step.checks) {
            inferred += check.frameInferred;
            EXPECT_TRUE(!check.frameInferred || saidHere) << "frame " << check.frame;
        }
    }
    EXPECT_EQ(said, 1u);
    EXPECT_GT(inferred, 0u);
}

TEST(LogImporterRules, WithPendingSupportNoProducerPartIsAssumed)
{
    // The end-to-end capture with pending support switched on, and a window
    // of 30 ms: the last consumer frame anchors (anchor offset -1), where
    // without pending the producer part would follow.
    std::string trace = fileText(kExamples + "overview.json");
    const std::string window = "\"ro.vendor.camera3.zsl.default\": 100";
    ASSERT_NE(trace.find(window), std::string::npos);
    trace.replace(trace.find(window), window.size(),
                  "\"ro.vendor.camera3.zsl.default\": 30, \"persist.vendor.kohal.selector.pending.mask\": true");
    const SessionOutcome read = imported(replayed(trace));
    ASSERT_TRUE(read.config);
    EXPECT_TRUE(read.config->pending);
    bool selected = false;
    for (const StepOutcome &step : read.steps) {
        selected = selected || (step.selectRan && step.anchorOffset == -1);
        for (const std::string &note : step.notes)
            EXPECT_EQ(note.find("producer frames may follow"), std::string::npos) << note;
    }
    EXPECT_TRUE(selected);
}

TEST(LogImporterRules, AnInfoLevelSelectionCutShortIsNotSaidToHaveFinishedEarly)
{
    // Pending support on, the log at info level, and the selection's last
    // line (its anchor offset) missing: the log cannot tell why it ends.
    std::string trace = fileText(kExamples + "overview.json");
    const std::string window = "\"ro.vendor.camera3.zsl.default\": 100";
    trace.replace(trace.find(window), window.size(),
                  window + ", \"persist.vendor.kohal.selector.pending.mask\": true");
    std::vector<kohost::LogLine> lines =
        replayed(trace, [](const PluginEvent &event) { return event.level() == 'I' && !event.is(zsl::messages::MessageId::Anchor); });
    const SessionOutcome read = imported(lines);
    ASSERT_FALSE(read.steps.empty());
    for (const StepOutcome &step : read.steps)
        for (const std::string &note : step.notes)
            EXPECT_EQ(note.find("the selection finished early"), std::string::npos) << note;
}

TEST(LogImporterRules, ASelectionThatFinishedEarlyAtTheLogsEndEnded)
{
    // A window of 0 with pending support: every frame is too old, and the
    // selection says so and finishes. The log ends on that line: the
    // selection ended (whether pending frames were checked after it is
    // another matter, which the log cannot tell).
    std::string trace = fileText(kExamples + "overview.json");
    const std::string window = "\"ro.vendor.camera3.zsl.default\": 100";
    trace.replace(trace.find(window), window.size(),
                  "\"ro.vendor.camera3.zsl.default\": 0, \"persist.vendor.kohal.selector.pending.mask\": true");
    bool finished = false;
    std::string log;
    for (const kohost::LogLine &line : replayed(trace, [&](const PluginEvent &event) {
             const bool keep = !finished;
             finished = finished || event.is(zsl::messages::MessageId::ConsumerTooOld);
             return keep;
         }))
        log += zsl::output::logcatLine(line) + "\n";
    ASSERT_TRUE(finished);
    zsl::log::LogImporter importer("test.log");
    readInto(importer, log);
    const SessionOutcome read = importer.finish();
    ASSERT_FALSE(read.steps.empty());
    EXPECT_TRUE(read.steps.back().selectRan);
    EXPECT_EQ(read.steps.back().completenessWhy.find("selection"), std::string::npos)
        << read.steps.back().completenessWhy;
    for (const std::string &warning : importer.warnings())
        EXPECT_EQ(warning.find("ends inside a selection"), std::string::npos) << warning;
}

// The sample log's info-level lines but those `drop` tells.
SessionOutcome sampleAtInfoLevel(const std::function<bool(const std::string &)> &drop)
{
    std::istringstream sample(fileText(kExamples + "device.log"));
    std::string log, line;
    while (std::getline(sample, line))
        if (line.find(" I KoAlgoEngine: ") != std::string::npos && !drop(line))
            log += line + "\n";
    return importedText(log);
}

TEST(LogImporterRules, ASelectionLineThatGoesBackInTheOrderIsTheNextCalls)
{
    // At info level a thread's selections may follow one another with no
    // line between; when the second's first line is lost, its lines are not
    // more of the first (which ended), but a call whose first lines are lost.
    // The second call (fwkFrame 300) loses its first line, or every line
    // before its last (its anchor offset line: the stage the first ended at).
    const auto secondCalls = [](const std::string &line) { return line.find("fwkFrame:300 ") != std::string::npos; };
    const struct {
        const char *what;
        std::function<bool(const std::string &)> drop;
    } cases[] = {
        {"its first line", [&](const std::string &line) {
             return secondCalls(line) && line.find("Current Consumer list") != std::string::npos;
         }},
        {"all but its anchor offset line", [&, picks = 0](const std::string &line) mutable {
             const bool pick = line.find("<mc anchor pick>") != std::string::npos && ++picks == 2;
             return pick || (secondCalls(line) && line.find("ZSLAnchor") == std::string::npos);
         }},
    };
    const SessionOutcome whole = sampleAtInfoLevel([](const std::string &) { return false; });
    ASSERT_EQ(whole.steps[0].fwkFrame, 100u);
    ASSERT_EQ(whole.steps[1].fwkFrame, 300u);
    ASSERT_TRUE(whole.steps[0].anchorFrame);
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        const SessionOutcome read = sampleAtInfoLevel(c.drop);
        ASSERT_EQ(read.steps.size(), whole.steps.size());
        const StepOutcome &first = read.steps[0], &second = read.steps[1];
        EXPECT_EQ(first.anchorFrame, whole.steps[0].anchorFrame);
        EXPECT_EQ(first.completenessWhy, whole.steps[0].completenessWhy);
        EXPECT_EQ(second.fwkFrame, 300u);
        EXPECT_NE(second.completenessWhy.find("first lines are not in the log"), std::string::npos)
            << second.completenessWhy;
        EXPECT_FALSE(second.anchorFrame);
    }
}

TEST(LogImporterRules, ASelectionMissingALineItAlwaysPrintsIsNotWhole)
{
    // The anchor pick and the window line follow the consumer list in every
    // call: without one of them, the selection's facts are not stated.
    for (const char *lost : {"<mc anchor pick>", "fwkFrame:100 zsdTs:"}) {
        SCOPED_TRACE(lost);
        const SessionOutcome read =
            sampleAtInfoLevel([&](const std::string &line) { return line.find(lost) != std::string::npos; });
        ASSERT_FALSE(read.steps.empty());
        EXPECT_EQ(read.steps[0].fwkFrame, 100u);
        EXPECT_NE(read.steps[0].completenessWhy.find("a line it prints is not in the log"), std::string::npos)
            << read.steps[0].completenessWhy;
        EXPECT_FALSE(read.steps[0].anchorFrame);
    }
}

TEST(LogImporterRules, AMotionCapturesAnchorIsInTheRequest)
{
    const SessionOutcome read = imported(replayed(fileText(kExamples + "motion-capture.json")));
    ASSERT_FALSE(read.steps.empty());
    const RequestSeen &request = read.steps.front().request;
    EXPECT_EQ(request.anchorTs, 99'880'000'000);
    EXPECT_EQ(request.motionCapType, 0x10001u);
}

// Why a frame was refused: the plug-in's own line, and the engineer's words.
TEST(Refusals, ThePluginsWordsAndTheEngineers)
{
    const auto lines = [](std::initializer_list<const char *> texts) {
        std::vector<kohost::LogLine> log;
        for (const char *text : texts) {
            kohost::LogLine line;
            line.text = text;
            log.push_back(line);
        }
        return log;
    };
    const char *refused = "[ZSLSelector] fwkFrame:8, No zslFrame: 41invalid";
    const struct {
        std::vector<kohost::LogLine> log;
        const char *reason, *explanation;
    } cases[] = {
        {lines({"AF fail: afMode=4 afState=3 lensState=1", refused}), "AF fail: afMode=4 afState=3 lensState=1",
         "AF: mode 4 CONTINUOUS_PICTURE, state 3 ACTIVE_SCAN, lens 1 MOVING"},
        {lines({"isRequiredEV fail: EV(History)=2, EV(Target)=0", refused}),
         "isRequiredEV fail: EV(History)=2, EV(Target)=0", "EV: frame 2, request 0"},
        {lines({"[isAEStable] tag(0x1001f) val=1 target=2,3,4 bc=0", "AE X", refused}),
         "aeState 1 not settled (accepted 2,3,4)",
         "AE: state 1 SEARCHING, not 2 CONVERGED, 3 LOCKED or 4 FLASH_REQUIRED"},
        {lines({"android.control.afMode tag not found! ", refused}), "android.control.afMode tag not found!",
         "AF: android.control.afMode missing"},
        {lines({"Metadata is nullptr", "[ZSLSelector] fwkFrame:8, No zslFrame: 41 ,camid:2 invalid"}),
         "camera 2: Metadata is nullptr", "camera 2: no metadata"},
        {lines({"[ZSLSelector] fwkFrame:8 zslFrame: 41 zslFrame perframeSensorMode:2",
                "[ZSLSelector] fwkFrame:8 zslFrame: 41 reqestFrame reqDesiredSensorMode:3",
                "[ZSLSelector] checkDesiredSensorMode fail!  fwkFrame:8 zslFrame: 41"}),
         "sensor mode 2, request wants 3", "sensor mode: frame 2, request 3"},
        {lines({}), "refused (no reason in the system log)", "not in the log: the system log was closed"},
    };
    for (const auto &c : cases) {
        const Refusal why = refusal(c.log);
        EXPECT_EQ(why.reason, c.reason);
        EXPECT_EQ(why.explanation, c.explanation);
    }
}

} // namespace
